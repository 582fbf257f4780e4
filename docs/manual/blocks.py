"""What a page is made of, and the reading of comments and help texts into it."""

import re
from dataclasses import dataclass, field


@dataclass
class Paragraph:
    text: str


@dataclass
class Bullets:
    items: list  # of texts


@dataclass
class Rows:
    """Terms, and what is said of each: blocks. Spaced ones are what a page is about."""
    rows: list  # of (term, blocks)
    spaced: bool = False


@dataclass
class Literal:
    text: str


@dataclass
class Section:
    title: str
    blocks: list
    subsection: bool = False


@dataclass
class Synopsis:
    """Declarations of C, or command lines as lists of parts."""
    header: str = ""
    declarations: list = field(default_factory=list)
    command_lines: list = field(default_factory=list)


@dataclass
class Page:
    name: str
    volume: int
    summary: str
    sections: list
    documented: list = field(default_factory=list)  # the names that it explains
    see_also: list = field(default_factory=list)  # of (name, volume)


ROW = re.compile(r"^( *)(\S.*?)(\s{2,})(\S.*)$")


def blocks_of(text):
    """Paragraphs stand at the left edge, lists begin with "- ", tables are indented: a term, blanks, what it means."""
    blocks = []
    for chunk in re.split(r"\n\s*\n", text.strip("\n")) if text else []:
        lines = chunk.split("\n")
        head = []
        while lines and not lines[0].startswith((" ", "- ")):
            head.append(lines.pop(0))
        if head:
            blocks.append(Paragraph(" ".join(head)))
        if not lines:
            continue
        if lines[0].startswith("- "):
            items = re.split(r"\n- ", "\n" + "\n".join(lines))[1:]
            blocks.append(Bullets([" ".join(item.split()) for item in items]))
        elif any(ROW.match(line) for line in lines):
            rows = _rows(lines)
            # A blank line amid a table does not end it.
            if blocks and isinstance(blocks[-1], Rows):
                blocks[-1].rows += rows
            else:
                blocks.append(Rows(rows))
        elif len(lines) == 1 or head:
            blocks.append(Literal("\n".join(line.strip() for line in lines)))
        else:
            blocks.append(Paragraph(" ".join(line.strip() for line in lines)))
    return blocks


def _rows(lines):
    column = max(len("".join(match.group(1, 2, 3))) for match in map(ROW.match, lines) if match)
    rows = []
    for line in lines:
        match = ROW.match(line)
        if match and len("".join(match.group(1, 2, 3))) == column:
            rows.append((match.group(2), [Paragraph(match.group(4))]))
        elif rows and len(line) - len(line.lstrip()) >= column:
            rows[-1][1][0].text += " " + line.strip()
        else:
            rows.append((line.strip(), []))
    return rows


def sentences(text):
    """An abbreviation is no end, nor is a point within a name."""
    return re.split(r"(?<=[.!?])\s+(?=[A-Z*\"\-0-9(])", text)


def table_below(markdown, heading):
    """The rows of the table that follows a heading, as lists of cells without their code marks."""
    part = re.search(r"^#+ " + re.escape(heading) + r"\n(.*?)(?=^#|\Z)", markdown, re.S | re.M)
    if not part or "\n|" not in part.group(1):
        raise ValueError(f"there is no table below a heading \"{heading}\"")
    rows = [line for line in part.group(1).split("\n") if line.startswith("|")][2:]
    return [[cell.strip().replace("`", "") for cell in row.strip("|").split("|")] for row in rows]
