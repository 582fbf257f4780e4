"""The pages: one a family of the library, one about all of them, one a family of commands."""

import re

from blocks import Literal, Page, Paragraph, Rows, Section, Synopsis, blocks_of, sentences

LIBRARY, EVERYTHING, PROGRAM = 3, 7, 1
OVERVIEW = ("libostdrv", EVERYTHING)

# What a family says about the results of all its functions.
OF_ALL = re.compile(r"(All|All four|Each|Each function|Each of the|Every) .*\breturns?\b")


def _constant_rows(declaration):
    return Rows([(f"{name} ({value})", [Paragraph(said)] if said else [])
                 for name, value, said in declaration.constants])


def _entry_rows(entry):
    """One row for what the entry declares, with the comment and what types and constants are made of."""
    names = [each.name for each in entry.declarations if each.name]
    blocks = blocks_of(entry.comment)
    for each in entry.declarations:
        if each.kind == "constants":
            blocks.append(Literal(each.text))
        elif each.kind == "type":
            blocks.append(Literal(_layout(each)))
            if each.members:
                blocks.append(Rows([(name, [Paragraph(said)]) for name, said in each.members]))
    remarks = [(each.name, [Paragraph(each.remark)]) for each in entry.declarations if each.remark]
    return Rows([(", ".join(names), blocks + ([Rows(remarks)] if remarks else []))], spaced=True)


def _layout(declaration):
    """A type without its comments, a line a member."""
    text = re.sub(r"\s*/\*.*?\*/", "", declaration.text, flags=re.S)
    return "\n".join(re.sub(r", (?=const char \*const \*)", ",\n                  ", line) for line in text.split("\n"))


def _statuses(header, family):
    """Of the codes that have a meaning of their own, those of other pages that the family speaks of."""
    text = "\n".join(entry.comment for entry in family.entries)
    rows = []
    for each in header.families:
        for declaration in each.declarations("constants"):
            constants = [constant for constant in declaration.constants if constant[2]]
            stem = re.match(r"(\w+?_)(OK|ERR)", constants[0][0]).group(1) if constants else None
            if each is family or not stem or not re.search(rf"\b{stem}", text):
                continue
            # With the good one.
            names = set(re.findall(rf"\b{stem}\w+", text)) | {stem + "OK"}
            whole = re.search(rf"\b{stem} code", text)
            rows += [(f"{name} ({value})", [Paragraph(said)] if said else []) for name, value, said in
                     (declaration.constants if whole else constants) if whole or name in names]
    return rows


def _told_of_all(block):
    """What a paragraph says of all results, which it then does not say any more."""
    if not isinstance(block, Paragraph):
        return []
    said = [each for each in sentences(block.text) if OF_ALL.match(each)]
    block.text = " ".join(each for each in sentences(block.text) if each not in said)
    return said


def family_page(header, family):
    description, returns, codes = [], [], []
    for entry in family.entries:
        if any(each.name for each in entry.declarations):
            description.append(_entry_rows(entry))
            continue
        blocks = blocks_of(entry.comment)
        told = [each for block in blocks for each in _told_of_all(block)]
        description += [block for block in blocks if not isinstance(block, Paragraph) or block.text]
        constants = [_constant_rows(each) for each in entry.declarations]
        returns += told
        if told:
            codes += constants
        else:
            description += constants
    what = "What else each function returns" if returns else "What each function returns"
    results = [Paragraph(" ".join(returns + [f"{what}, and when, is said with it."]))] + codes
    statuses = _statuses(header, family)
    if statuses:
        results += [Paragraph("The codes that this page speaks of:"), Rows(statuses)]
    has_results = any(each.signature[0] != "void" for each in family.declarations("function"))
    neighbours = [(other.page, LIBRARY) for other in header.families
                  if other is not family and other.title.split(":")[0] == family.title.split(":")[0]]
    exported = family.declarations("function", "data")
    return Page(
        name=family.page, volume=LIBRARY, summary=_lowered(family.title), documented=[each.name for each in exported],
        sections=[
            Section("SYNOPSIS", [Synopsis("ostdrv.h", exported)]),
            Section("DESCRIPTION", description),
        ] + ([Section("RETURN VALUES", results)] if has_results else []),
        see_also=neighbours + [OVERVIEW])


def _lowered(title):
    """As it stands amid a sentence."""
    return title if title[:2].isupper() else title[0].lower() + title[1:]


def overview_page(header, environment, programs):
    families = Rows([(f"{family.page}(3)", [
        Paragraph(f"{family.title}."),
        Paragraph(", ".join(each.name for each in family.declarations("function", "data"))),
    ]) for family in header.families], spaced=True)
    statuses = [block for family in header.families for entry in family.entries for each in entry.declarations
                if any(said for _, _, said in each.constants)
                for block in [Paragraph(entry.comment.split("\n\n")[-1].replace("\n", " ")), _constant_rows(each)]]
    title, rules = header.introduction[0].text, header.introduction[1:]
    sections = [
        Section("SYNOPSIS", [Synopsis("ostdrv.h"), Literal("cc program.c $(pkg-config --cflags --libs ostdrv)")]),
        Section("DESCRIPTION", _part(rules, "Rules")),
        Section("FUNCTIONS", [Paragraph("Each family has a page of its own:"), families]),
        Section("STATUSES", statuses),
        Section("COMPILING", blocks_of(header.compiling)),
        Section("ENVIRONMENT", [Rows(environment)]),
        Section("FILES", _part(rules, "Files")),
        Section("COMMANDS", _part(rules, "Commands")),
    ]
    return Page(name="libostdrv", volume=EVERYTHING, summary=title.split(": ")[1].rstrip("."), documented=["libostdrv"],
                sections=[section for section in sections if section.blocks],
                see_also=[(program.name, PROGRAM) for program in programs])


def _part(introduction, word):
    """Of the introduction, what a paragraph that begins with this word begins."""
    begins = next(at for at, block in enumerate(introduction) if isinstance(block, Paragraph)
                  and block.text.startswith(word))
    ends = next((at for at, block in enumerate(introduction) if at > begins and isinstance(block, Paragraph)),
                len(introduction))
    return introduction[begins:ends]


def _option_rows(options):
    rows = []
    for option in options:
        forms = option.form + (" ..." if option.repeatable else "")
        text = option.description
        if option.is_argument:
            rows.append((forms, [Paragraph(text + ".")]))
            continue
        text += f". Only together with {' and '.join(option.needs)}" if option.needs else ""
        text += f". Not together with {' or '.join(option.excludes)}" if option.excludes else ""
        rows.append((", ".join(option.names) + (" " + forms if forms else ""), [Paragraph(text + ".")]))
    return rows


# The options that every command has are told once.
def _own(options):
    return [option for option in options if option.names[:1] not in (["-h"], ["-v"])]


def _command_blocks(command):
    blocks = blocks_of(command.description + ".")
    rows = _option_rows(command.arguments + _own(command.switches))
    return blocks + ([Rows(rows)] if rows else []) + blocks_of(command.remarks)


def _sentence(text):
    return text[0].upper() + text[1:] + "."


def _exit_status(text):
    """Numbers and what they mean, where it says nothing else."""
    items = [item.split(" ", 1) for item in text.split(", ")]
    if all(number.isdigit() for number, _ in items):
        return Rows([(number, [Paragraph(_sentence(meaning))]) for number, meaning in items])
    return Paragraph(_sentence(text))


def page_name(command):
    """A family has its own page, what is below it a part of that."""
    return "-".join(command.path[:2])


def program_page(program, environment, split):
    """The program's own page: of one that is split into families, with references to theirs."""
    common = [option for option in program.switches if option not in _own(program.switches)]
    if split:
        commands_rows = Rows([(f"{page_name(command)}(1)", [Paragraph(_sentence(command.description))])
                              for command in program.commands])
        options = [Paragraph("Every command has these too:"), Rows(_option_rows(common))]
    else:
        commands_rows = Rows([(command.name, _command_blocks(command)) for command in program.commands], spaced=True)
        options = [Rows(_option_rows(_own(program.switches) + common))]
    examples = [each.examples for each in program.all() if each.examples and (each is program or not split)]
    sections = [
        Section("SYNOPSIS", [Synopsis(command_lines=_command_lines(program, split))]),
        Section("DESCRIPTION", blocks_of(program.description) + blocks_of(program.remarks)),
        Section("OPTIONS", options),
        Section("COMMANDS", [commands_rows]),
        Section("ENVIRONMENT", [Rows(environment)] if environment else []),
        Section("EXIT STATUS", [_exit_status(program.exit_status)]),
        Section("EXAMPLES", [_examples(examples)] if examples else []),
    ]
    return Page(name=program.name, volume=PROGRAM, summary=_summary(program), documented=[program.name],
                sections=[section for section in sections if section.blocks],
                see_also=[(page_name(command), PROGRAM) for command in program.commands] if split else [OVERVIEW])


def _examples(texts):
    """None twice."""
    return Literal("\n".join(dict.fromkeys("\n".join(texts).split("\n"))))


def _summary(command):
    text = re.split(r"[.:]\s|\n", command.description)[0].rstrip(".")
    return text[0].lower() + text[1:] if not text[:2].isupper() else text


def _command_lines(command, split=False):
    """Each a list of parts: the name, then choices: brackets, and of each alternative name, form, and whether it may
    come several times."""
    if split:
        return [[("name", command.name), ("choice", "", [("", "COMMAND", True)])]]
    lines = []
    for each in command.all():
        usages = re.findall(r"^  (\S.*?)(?: {2,}.*)?$", each.description, re.M)
        lines += [_usage_line(each, usage) for usage in usages]
        lines += [_command_line(each)] if each.acts and not usages else []
    return lines


def _usage_line(command, usage):
    """One that the description gives itself."""
    line = [("name", command.name)]
    for word in usage.split()[1:]:
        if word == "...":
            continue
        several = word.endswith("...") or usage.endswith(word + " ...")
        form = word.strip("[].")
        line.append(("choice", "[]" if word.startswith("[") else "",
                     [(word, "", False) if word.startswith("-") else ("", form, several)]))
    return line


def _command_line(command):
    line = [("name", " ".join(command.path))]
    either = {name: pair for pair in command.alternatives for name in pair}
    seen = set()
    for option in _own(command.switches) + command.arguments:
        if option.name in seen:
            continue
        members = [option]
        if option.name in either:
            pair = either[option.name]
            members = [each for each in command.options if each.name in pair]
            seen.update(pair)
        brackets = "{}" if len(members) > 1 else "" if option.required else "[]"
        line.append(("choice", brackets, [
            (each.names[-1] if each.names else "", each.form, each.repeatable) for each in members]))
    return line


def commands_page(program, family):
    commands = [each for each in family.all() if each.acts]
    blocks = _command_blocks(family) if family.acts else [Paragraph(family.description + ".")]
    below = [each for each in commands if each is not family]
    if below:
        blocks.append(Rows([(" ".join(each.path[2:]), _command_blocks(each)) for each in below], spaced=True))
    examples = [each.examples for each in commands if each.examples]
    return Page(
        name=page_name(family), volume=PROGRAM, summary=_summary(family), documented=[page_name(family)],
        sections=[
            Section("SYNOPSIS", [Synopsis(command_lines=_command_lines(family))]),
            Section("DESCRIPTION", blocks),
            Section("EXIT STATUS", [_exit_status(program.exit_status)]),
        ] + ([Section("EXAMPLES", [_examples(examples)])] if examples else []),
        see_also=[(program.name, PROGRAM), OVERVIEW])
