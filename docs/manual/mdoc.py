"""A page in mdoc, the macros of manual pages."""

import re
import textwrap

from blocks import Bullets, Literal, Paragraph, Rows, sentences

WIDTH = 78
MACROS = {"function": "Fn", "data": "Va", "type": "Vt", "constants": "Dv", "option": "Fl", "path": "Pa",
          "argument": "Fa", "variable": "Ev"}


def escape(text):
    """Of running text: hyphens that are minus signs, and what has a meaning at a line's start."""
    text = text.replace("\\", "\\e")
    return re.sub(r"(?<![A-Za-z0-9])-|-(?=-)", r"\\-", text)


def _guard(line):
    return "\\&" + line if line.startswith((".", "'")) else line


def _argument(text):
    """As one argument of a macro."""
    text = escape(text).replace('"', "\\(dq")
    # A word that is a macro's name would be called.
    text = "\\&" + text if re.fullmatch(r"[A-Z][a-z]|[.,:;()\[\]?!|]", text) else text
    return f'"{text}"' if " " in text or not text else text


class Renderer:
    def __init__(self, prose, date):
        self._prose = prose
        self._date = date

    def render(self, page):
        self._page = page
        lines = [f".Dd {self._date}", f".Dt {page.name.upper()} {page.volume}", ".Os", ".Sh NAME"]
        names = list(dict.fromkeys([page.name] + page.documented))
        lines += [f".Nm {name} ," for name in names[:-1]] + [f".Nm {names[-1]}", f".Nd {escape(page.summary)}"]
        for section in page.sections:
            lines.append(f".Sh {section.title}")
            lines += self._blocks(section.blocks, True)
        references = [f".Xr {name} {volume}" for name, volume in sorted(page.see_also, key=lambda each: each[::-1])]
        lines += [".Sh SEE ALSO"] + [line + " ," for line in references[:-1]] + references[-1:] if references else []
        return "\n".join(lines) + "\n"

    def _blocks(self, blocks, at_start):
        """A paragraph's macro stands between two blocks, not in front of the first or of a list."""
        lines = []
        before = None
        for block in blocks:
            if isinstance(block, Paragraph):
                lines += ([] if at_start else [".Pp"]) + self._text(block.text)
            elif isinstance(block, Literal):
                lines += [".Bd -literal" + (" -compact" if at_start else "")]
                lines += [_guard(escape(line)) for line in block.text.split("\n")] + [".Ed"]
            elif isinstance(block, Bullets):
                lines.append(".Bl -bullet")
                for item in block.items:
                    lines += [".It"] + self._text(item)
                lines.append(".El")
            elif isinstance(block, Rows):
                lines += [".Pp"] if isinstance(before, Literal) and self._is_compact(block) else []
                lines.append(".Bl -tag -width Ds" + (" -compact" if self._is_compact(block) else ""))
                for term, inner in block.rows:
                    lines += [".It " + self._term(term)] + self._blocks(inner, True)
                lines.append(".El")
            else:
                lines += self._synopsis(block)
            at_start = False
            before = block
        return lines

    @staticmethod
    def _is_compact(rows):
        return not rows.spaced and all(len(inner) <= 1 and sum(len(block.text) for block in inner) < 160
                   for _, inner in rows.rows)

    def _term(self, term):
        """The words of a term, each with its macro."""
        reference = re.fullmatch(r"([\w-]+)\((\d)\)", term)
        if reference:
            return f"Xr {reference.group(1)} {reference.group(2)}"
        parts = []
        for kind, text in self._prose.spans(term):
            if kind:
                text = text.lstrip("-") if kind == "option" and not text.startswith("--") else text
                text = text[1:] if kind == "option" and text.startswith("--") else text
                parts.append(f"{MACROS[kind]} {_argument(text)}")
                continue
            for word in re.findall(r"\.\.\.|[^\s,()]+|[,()]", text):
                if word in (",", ")"):
                    parts.append(word if parts and word == "," else "No " + word)
                elif word == "(":
                    parts.append("No (")
                else:
                    form = re.fullmatch(r"[A-Z][A-Z0-9]*\b.*", word)
                    parts.append(("Ar " if form else "No ") + _argument(word))
        text = " ".join(parts)
        return re.sub(r"No \( No (\S+) No \)", r"Pq \1", text) or "Ns"

    def _text(self, text):
        lines = []
        for sentence in sentences(text):
            lines += self._sentence(sentence)
        return lines

    def _sentence(self, sentence):
        """A line of text or more; a name stands on a line of its own, behind its macro, with the marks around it."""
        lines = []
        plain = ""
        spans = self._prose.spans(sentence, self._arguments)
        for at, (kind, text) in enumerate(spans):
            behind = spans[at + 1][1] if at + 1 < len(spans) else ""
            marks = re.match(r"[.,:;)?!]*(?=\s|$)", behind)
            opened = plain[-1:] == "("
            apart = (plain[:-1] if opened else plain)[-1:] in ("", " ")
            if not kind or not marks or not apart or (at + 1 < len(spans) and spans[at + 1][0]):
                # Within a word no macro can stand.
                plain += text
                continue
            lines += self._plain(plain[:-1] if opened else plain)
            plain = ""
            if behind:
                spans[at + 1] = ("", behind[marks.end():])
            macro = self._macro(kind, text, "(" if opened else "")
            lines.append(" ".join(["." + macro] + list(marks.group())))
        return lines + self._plain(plain)

    @staticmethod
    def _plain(text):
        lines = textwrap.wrap(escape(" ".join(text.split())), WIDTH, break_long_words=False, break_on_hyphens=False)
        return [_guard(line) for line in lines]

    def _macro(self, kind, text, opening):
        if kind in ("function", "data") and self._prose.page_of(text) != self._page.name:
            return " ".join(["Xr", opening, text, "3"]) if opening else f"Xr {text} 3"
        if kind == "option":
            text = text[1:]
        return " ".join(part for part in [MACROS[kind], opening, _argument(text)] if part)

    @staticmethod
    def _marked(kind, text):
        """Where a macro cannot stand, inside a word."""
        return text

    @property
    def _arguments(self):
        names = set()
        for section in self._page.sections:
            for block in section.blocks:
                for declaration in getattr(block, "declarations", []):
                    if declaration.kind == "function":
                        names.update(re.findall(r"(\w+)(?:\[\w*\])?$", part)[0]
                                     for part in declaration.signature[1] if re.search(r"\w$", part))
        return names

    def _synopsis(self, synopsis):
        lines = [f".In {synopsis.header}"] if synopsis.header else []
        for declaration in synopsis.declarations:
            if declaration.kind == "data":
                lines.append(f".Vt {_argument(declaration.code)} ;")
                continue
            result, parameters = declaration.signature
            lines += [f".Ft {_argument(result)}", f".Fo {declaration.name}"]
            lines += [f".Fa {_argument(parameter)}" for parameter in parameters] + [".Fc"]
        for line in synopsis.command_lines:
            lines += self._command_line(line)
        return lines

    def _command_line(self, line):
        lines = []
        for part in line:
            if part[0] == "name":
                lines.append(f".Nm {_argument(part[1])}")
            else:
                _, brackets, members = part
                shown = " | ".join(self._member(*member) for member in members)
                lines.append({"[]": ".Op ", "{}": ".Brq ", "": "."}[brackets] + shown)
        return lines

    @staticmethod
    def _member(name, form, repeatable):
        parts = [f"Fl {escape(name[1:])}"] if name else []
        parts += [f"Ar {_argument(form)}"] if form else []
        return " ".join(parts) + (" Ar ..." if repeatable else "")
