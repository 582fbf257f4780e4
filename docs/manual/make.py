#!/usr/bin/env python3
"""Makes the manual of the library's header and of the programs' descriptions of themselves.

    make.py WHAT DIRECTORY --source SOURCE --version VERSION [--programs COMMANDS.json...]

manual      pages below man1, man3 and man7; the first program has one a family of commands
reference   the same pages for a browser, with an index
completions for the shells, below bash and zsh
"""

import argparse
import datetime
import os
import re
import sys

import commands
import completion
import header
import mdoc
import pages
import webpage
from blocks import Paragraph, table_below
from prose import Prose


class Source:
    """What stands in the tree and in the programs."""

    def __init__(self, directory, version, programs):
        self.version = version
        readme = self._read(directory, "README.md")
        self.header = header.read(os.path.join(directory, "include", "ostdrv.h"))
        self.programs = [commands.read(path) for path in programs]
        self.environment = table_below(readme, "Environment")
        self.date = self._release_date(self._read(directory, "CHANGELOG.md"))

    @staticmethod
    def _read(directory, name):
        with open(os.path.join(directory, name), encoding="utf-8") as file:
            return file.read()

    @staticmethod
    def _release_date(changelog):
        """Of the newest release."""
        match = re.search(r"^## .*?(\d{4}-\d{2}-\d{2})", changelog, re.M)
        date = datetime.date.fromisoformat(match.group(1)) if match else datetime.date.today()
        return f"{date:%B} {date.day}, {date.year}"

    def prose(self):
        return Prose(self.header.places(), {name for name, _, _ in self.environment})

    def environment_of(self, reader):
        return [(name, [Paragraph(meaning + ".")]) for name, by, meaning in self.environment if by == reader]

    def pages(self):
        """All of them; the first program has one a family."""
        made = [pages.family_page(self.header, family) for family in self.header.families]
        library = self.environment_of("the library")
        made.append(pages.overview_page(self.header, library, self.programs))
        for program in self.programs:
            split = program is self.programs[0]
            environment = [] if split else self.environment_of("the simulated board")
            made.append(pages.program_page(program, environment, split))
            if split:
                made += [pages.commands_page(program, family) for family in program.commands]
        return made


def write(directory, name, text):
    path = os.path.join(directory, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def link(directory, name, target):
    path = os.path.join(directory, name)
    if os.path.lexists(path):
        os.remove(path)
    os.symlink(target, path)


def write_manual(source, directory):
    renderer = mdoc.Renderer(source.prose(), source.date)
    for page in source.pages():
        volume = f"man{page.volume}"
        write(directory, f"{volume}/{page.name}.{page.volume}", renderer.render(page))
        for name in page.documented:
            if name != page.name:
                link(directory, f"{volume}/{name}.{page.volume}", f"{page.name}.{page.volume}")


def write_reference(source, directory):
    made = source.pages()
    renderer = webpage.Renderer(source.prose(), made, source.version)
    for page in made:
        write(directory, f"{page.name}.html", renderer.render(page))
    overview = next(page for page in made if page.volume == pages.EVERYTHING)
    write(directory, "index.html", renderer.index(overview.summary))


def write_completions(source, directory):
    for program in source.programs:
        write(directory, f"bash/{program.name}", completion.bash(program))
        write(directory, f"zsh/_{program.name}", completion.zsh(program))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    makers = {"manual": write_manual, "reference": write_reference, "completions": write_completions}
    parser.add_argument("what", choices=makers)
    parser.add_argument("directory")
    parser.add_argument("--source", required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("--programs", nargs="*", default=[], metavar="COMMANDS.json")
    options = parser.parse_args()
    try:
        makers[options.what](Source(options.source, options.version, options.programs), options.directory)
    except (OSError, ValueError) as error:
        sys.exit(f"{parser.prog}: {error}")


if __name__ == "__main__":
    sys.exit(main())
