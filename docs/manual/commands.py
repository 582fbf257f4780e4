"""The commands of a program, as the program itself describes them."""

import json
import re
from dataclasses import dataclass


@dataclass
class Option:
    names: list  # "-o", "--out"; none of an argument
    form: str  # what stands for the value; empty for a flag
    words: list  # what the value is one of
    required: bool
    repeatable: bool
    needs: list
    excludes: list
    description: str

    @property
    def is_argument(self):
        return not self.names

    @property
    def name(self):
        """As others name it: the long one."""
        return self.form if self.is_argument else self.names[-1]


@dataclass
class Command:
    path: list  # "ostdrv", "gpio", "get"
    description: str
    footer: str
    acts: bool
    options: list
    alternatives: list  # pairs of names of which one is given
    commands: list

    @property
    def name(self):
        return self.path[-1]

    @property
    def arguments(self):
        return [option for option in self.options if option.is_argument]

    @property
    def switches(self):
        return [option for option in self.options if not option.is_argument]

    @property
    def examples(self):
        match = re.search(r"Examples:\n((?:  .*\n?)+)", self.footer)
        return re.sub(r"^  ", "", match.group(1), flags=re.M).rstrip() if match else ""

    @property
    def exit_status(self):
        """What the footer says of it, as pairs of number and meaning, or text before them."""
        match = re.search(r"Exit status: (.*)\.", self.footer)
        return match.group(1) if match else ""

    @property
    def remarks(self):
        """The rest of the footer."""
        text = re.sub(r"Examples:\n(?:  .*\n?)+|Exit status: .*\n?", "", self.footer)
        return text.strip()

    def all(self):
        """This one and those below."""
        found = [self]
        for command in self.commands:
            found += command.all()
        return found


def _option(entry):
    return Option(entry["names"].split(), entry["form"], entry.get("words", "").split(), entry["required"],
                  entry.get("repeatable", False), entry["needs"].split(), entry["excludes"].split(),
                  entry["description"])


def _command(entry, above):
    path = above + [entry["name"]]
    return Command(path, entry["description"], entry["footer"], entry["acts"],
                   [_option(option) for option in entry["options"]],
                   [(pair["one"], pair["other"]) for pair in entry["alternatives"]],
                   [_command(command, path) for command in entry["commands"]])


def read(path):
    with open(path, encoding="utf-8") as file:
        return _command(json.load(file), [])
