"""The public header as families of declarations, each with its comment."""

import re
from dataclasses import dataclass, field

from blocks import blocks_of

SECTION = re.compile(r"^/\* -{4} (.*?) -+ \*/$")
ENUMERATOR = re.compile(r"(\w+) = (-?\w+),?(?:\s*/\*(.*?)\*/)?", re.S)


@dataclass
class Declaration:
    text: str  # as it stands in the header
    kind: str  # function, data, type, constants
    name: str

    @property
    def code(self):
        """Without comments, attributes and line ends."""
        code = re.sub(r"/\*.*?\*/", "", self.text, flags=re.S)
        code = re.sub(r"\s*OSTDRV_PRINTF\(.*?\)", "", code)
        return " ".join(code.split()).rstrip(";")

    @property
    def remark(self):
        """What stands behind it on its line."""
        match = re.search(r";\s*/\*(.*)\*/$", self.text)
        return match.group(1).strip() if match else ""

    @property
    def signature(self):
        """A function's type and its parameters."""
        match = re.match(r"(.*?)(\w+)\((.*)\)$", self.code)
        return match.group(1).strip(), [part.strip() for part in match.group(3).split(",")]

    @property
    def constants(self):
        """Names, values and what is said of each."""
        if self.text.startswith("#define"):
            _, name, value = self.text.split(None, 2)
            return [(name, value, "")]
        if not self.text.startswith("enum"):
            return []
        return [(name, value, " ".join(said.split())) for name, value, said in ENUMERATOR.findall(self.text)]

    @property
    def members(self):
        """Of a structure: names, and what is said of each."""
        found = re.findall(r"^\s+[^/]*?(\w+)(?:\[\w+\])*;\s*/\*(.*?)\*/", self.text, re.S | re.M)
        return [(name, " ".join(said.split())) for name, said in found]


@dataclass
class Entry:
    """A comment and the declarations that it is of: none when it is of those that follow."""
    comment: str
    declarations: list = field(default_factory=list)


@dataclass
class Family:
    title: str
    entries: list = field(default_factory=list)

    @property
    def page(self):
        """Its page's name: the title as far as it can be one."""
        title = re.split(r",| and | on ", self.title)[0]
        return "ostdrv_" + re.sub(r"[^a-z0-9]+", "_", title.lower()).strip("_")

    def declarations(self, *kinds):
        return [each for entry in self.entries for each in entry.declarations if each.kind in kinds]


@dataclass
class Header:
    introduction: list
    compiling: str
    families: list

    def places(self):
        """Where each name is explained: kind and page."""
        places = {}
        for family in self.families:
            for each in family.declarations("function", "data", "type", "constants"):
                for name in [name for name, _, _ in each.constants] or [each.name]:
                    places[name] = (each.kind, family.page)
        return places


def _comment_text(lines):
    text = "\n".join(lines)
    text = re.sub(r"^/\*+ ?|\s*\*/$", "", text)
    return re.sub(r"^ \* ?", "", text, flags=re.M).strip("\n")


def _declaration(text):
    if text.startswith("#define"):
        return Declaration(text, "constants", text.split()[1])
    if text.startswith("enum"):
        return Declaration(text, "constants", "")
    if text.startswith("typedef"):
        return Declaration(text, "type", re.search(r"(\w+);$", text).group(1))
    if text.startswith("extern"):
        return Declaration(text, "data", re.search(r"(\w+)(?:\[\w+\])?;", text).group(1))
    return Declaration(text, "function", re.search(r"(\w+)\(", text).group(1))


def _pieces(lines):
    """Comments, declarations and blank lines, in their order."""
    pieces = []
    at = 0
    while at < len(lines):
        line = lines[at]
        begin = at
        if line.startswith("/*"):
            while not lines[at].rstrip().endswith("*/"):
                at += 1
            pieces.append(("comment", lines[begin:at + 1]))
        elif re.match(r"#define X_", line):
            pieces.append(("declaration", line))
        elif not line.strip():
            pieces.append(("blank", ""))
        elif not line.startswith("#") and re.match(r"\w", line) and 'extern "C"' not in line:
            while not re.search(r";\s*(/\*.*\*/)?$", "\n".join(lines[begin:at + 1])) or \
                    "\n".join(lines[begin:at + 1]).count("{") != "\n".join(lines[begin:at + 1]).count("}"):
                at += 1
            pieces.append(("declaration", "\n".join(lines[begin:at + 1])))
        at += 1
    return pieces


def read(path):
    with open(path, encoding="utf-8") as file:
        lines = file.read().split("\n")
    starts = [(at, SECTION.match(line).group(1)) for at, line in enumerate(lines) if SECTION.match(line)]
    comments = [_comment_text(piece) for kind, piece in _pieces(lines[:starts[0][0]]) if kind == "comment"]
    header = Header(blocks_of(comments[0]), comments[1], [])
    for (start, title), (end, _) in zip(starts, starts[1:] + [(len(lines), "")]):
        family = Family(title)
        entry = None
        for kind, piece in _pieces(lines[start + 1:end]):
            if kind == "blank":
                entry = None
                continue
            if kind == "comment":
                entry = Entry(_comment_text(piece))
            elif entry is None:
                entry = Entry("")
            if kind == "declaration":
                entry.declarations.append(_declaration(piece))
            if entry not in family.entries:
                family.entries.append(entry)
        header.families.append(family)
    return header
