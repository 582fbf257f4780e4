"""Running text as spans: what in it is a name, an option, a path, and of which page."""

import re

WORD = re.compile(
    r"(?P<option>(?<![\w-])--?[a-z][\w-]*(?![\w]))"
    r"|(?P<path>(?<![\w/<])/[a-z][\w./*-]*\w)"
    r"|(?P<argument>(?<!\w)\*[a-z]\w*)"
    r"|(?P<name>[A-Za-z_]\w*)")


class Prose:
    """The names are known by kind and page, the environment's variables by name."""

    def __init__(self, places, variables):
        self._places = places
        self._variables = variables

    def spans(self, text, arguments=()):
        """Pairs of kind and text; the kind of plain text is empty. An argument is one with a star or underscore."""
        spans = []
        end = 0
        for match in WORD.finditer(text):
            kind = self._kind(match, arguments)
            if not kind:
                continue
            if match.start() > end:
                spans.append(("", text[end:match.start()]))
            spans.append((kind, match.group()))
            end = match.end()
        if end < len(text):
            spans.append(("", text[end:]))
        return spans

    def page_of(self, name):
        """None of what is no name of the library's."""
        return self._places.get(name, (None, None))[1]

    def _kind(self, match, arguments):
        word = match.group()
        if match.lastgroup == "argument":
            return "argument" if word[1:] in arguments else ""
        if match.lastgroup != "name":
            return match.lastgroup
        if word in self._places:
            return self._places[word][0]
        if word in self._variables:
            return "variable"
        return "argument" if word in arguments and "_" in word else ""
