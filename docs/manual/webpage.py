"""The pages for a browser: one file each, with links between them, and an index. They need nothing beside them."""

import re
from html import escape

from blocks import Bullets, Literal, Paragraph, Rows, Synopsis

STYLE = """
:root { color-scheme: light dark; --ink: #1d2329; --soft: #5b6670; --line: #d9dee3; --paper: #fff; --shade: #f4f6f8;
        --link: #0a5a9c; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #dfe4e8; --soft: #98a3ad; --line: #363d44; --paper: #16191c; --shade: #1f2429; --link: #7ab8ec; }
}
* { box-sizing: border-box; }
body { margin: 0; color: var(--ink); background: var(--paper); font: 16px/1.55 system-ui, sans-serif; }
header, main { max-width: 60rem; margin: 0 auto; padding: 0 1.25rem; }
header { padding-top: 1rem; color: var(--soft); font-size: .9rem; }
h1 { margin: .5rem 0 0; font-size: 1.9rem; line-height: 1.2; }
h1 + p { margin-top: .25rem; color: var(--soft); }
h2 { margin: 2.25rem 0 .75rem; padding-bottom: .25rem; border-bottom: 1px solid var(--line); font-size: 1.2rem; }
a { color: var(--link); text-decoration: none; }
a:hover { text-decoration: underline; }
code, pre, .entry h3 { font-family: ui-monospace, "DejaVu Sans Mono", monospace; font-size: .875rem; }
pre { margin: .75rem 0; padding: .75rem 1rem; overflow-x: auto; background: var(--shade); border-radius: 6px; }
.entry { margin: 1.5rem 0; }
.entry h3 { margin: 0; padding: .5rem 1rem; background: var(--shade); border-left: 3px solid var(--link);
            font-weight: 600; white-space: pre-wrap; overflow-wrap: anywhere; scroll-margin-top: 1rem; }
.entry > div { padding-left: 1.2rem; }
dl { display: grid; grid-template-columns: minmax(5rem, max-content) 1fr; gap: .3rem 1.25rem; margin: .75rem 0; }
dt { font-family: ui-monospace, "DejaVu Sans Mono", monospace; font-size: .875rem; padding-top: .1rem; }
dd { margin: 0; }
dd > p { margin: .2rem 0; }
dd > p:first-child, dd > dl:first-child { margin-top: 0; }
.names { columns: 18rem; padding-left: 0; list-style: none; }
@media (max-width: 40rem) { dl { display: block; } dd { margin: 0 0 .5rem 1.2rem; } }
"""


def _title(text):
    """As a heading."""
    return text[0].upper() + text[1:]


def _code(text):
    return f"<code>{text}</code>"


class Renderer:
    def __init__(self, prose, pages, version):
        self._prose = prose
        self._files = {(page.name, page.volume): f"{page.name}.html" for page in pages}
        self._pages = pages
        self._version = version

    def render(self, page):
        self._page = page
        self._declarations = {each.name: each for section in page.sections for block in section.blocks
                              if isinstance(block, Synopsis) for each in block.declarations}
        body = [f"<h1>{escape(_title(page.summary))}</h1>", f"<p><code>{page.name}({page.volume})</code></p>"]
        for section in page.sections:
            body += [f"<h2>{section.title.capitalize()}</h2>"] + self._blocks(section.blocks)
        references = ", ".join(self._link(name, volume) for name, volume in page.see_also)
        body += ["<h2>See also</h2>", f"<p>{references}</p>"] if references else []
        return self._whole(page.summary, body)

    def index(self, title):
        """All pages with what each explains, and all names in their order."""
        body = ["<h1>libostdrv</h1>", f"<p>{escape(_title(title))}, version {escape(self._version)}</p>"]
        for volume, heading in ((7, "Overview"), (3, "Library"), (1, "Programs")):
            pages = [page for page in self._pages if page.volume == volume]
            if not pages:
                continue
            body += [f"<h2>{heading}</h2>", "<dl>"]
            for page in pages:
                names = [self._name(name, page.name) for name in page.documented if name != page.name]
                body.append(f"<dt>{self._link(page.name, volume)}</dt><dd><p>{escape(_title(page.summary))}</p>"
                            + (f"<p>{', '.join(names)}</p>" if names else "") + "</dd>")
            body.append("</dl>")
        names = sorted((name.lstrip("_"), name, page.name) for page in self._pages if page.volume == 3
                       for name in page.documented)
        body += ["<h2>All names</h2>", '<ul class="names">']
        body += [f"<li>{self._name(name, page)}</li>" for _, name, page in names] + ["</ul>"]
        return self._whole(title, body)

    def _whole(self, title, body):
        return "\n".join([
            "<!DOCTYPE html>", '<html lang="en">', "<head>", '<meta charset="utf-8">',
            '<meta name="viewport" content="width=device-width, initial-scale=1">',
            f"<title>{escape(_title(title))}</title>", f"<style>{STYLE}</style>", "</head>", "<body>",
            f'<header><a href="index.html">libostdrv {escape(self._version)}</a></header>',
            "<main>"] + body + ["</main>", "</body>", "</html>"]) + "\n"

    def _link(self, name, volume):
        return f'<a href="{self._files[name, volume]}">{_code(f"{name}({volume})")}</a>'

    @staticmethod
    def _name(name, page):
        return f'<a href="{page}.html#{name}">{_code(name)}</a>'

    def _blocks(self, blocks):
        parts = []
        for block in blocks:
            if isinstance(block, Paragraph):
                parts.append(f"<p>{self._text(block.text)}</p>")
            elif isinstance(block, Literal):
                parts.append(f"<pre>{escape(block.text)}</pre>")
            elif isinstance(block, Bullets):
                parts += ["<ul>"] + [f"<li>{self._text(item)}</li>" for item in block.items] + ["</ul>"]
            elif isinstance(block, Synopsis):
                parts.append(f"<pre>{self._synopsis(block)}</pre>")
            elif block.spaced and not self._is_list_of_pages(block):
                for term, inner in block.rows:
                    parts += ['<div class="entry">', self._heading(term), "<div>"] + self._blocks(inner)
                    parts.append("</div></div>")
            else:
                parts.append("<dl>")
                for term, inner in block.rows:
                    parts += [self._term(term), "<dd>"] + self._blocks(inner) + ["</dd>"]
                parts.append("</dl>")
        return parts

    @staticmethod
    def _is_list_of_pages(rows):
        return all(re.fullmatch(r"[\w-]+\(\d\)", term) for term, _ in rows.rows)

    def _heading(self, term):
        """What an entry is of: declarations, types, a command."""
        names = term.split(", ")
        shown = [self._declarations[name].code + ";" if name in self._declarations else name for name in names]
        identities = "".join(f'<a id="{escape(name)}"></a>' for name in names[1:])
        return f'<h3 id="{escape(names[0])}">{identities}' + "\n".join(escape(text) for text in shown) + "</h3>"

    def _term(self, term):
        """A constant's can be referred to."""
        constant = re.fullmatch(r"([A-Z][A-Z0-9_]+) \(.*\)", term)
        if constant and self._is_explained_here(constant.group(1)):
            return f'<dt id="{constant.group(1)}">{escape(term)}</dt>'
        return f"<dt>{self._text(term)}</dt>"

    def _is_explained_here(self, name):
        return self._prose.page_of(name) == self._page.name

    def _synopsis(self, synopsis):
        lines = [f"#include &lt;{synopsis.header}&gt;", ""] if synopsis.header and synopsis.declarations else \
            [f"#include &lt;{synopsis.header}&gt;"] if synopsis.header else []
        for each in synopsis.declarations:
            code = escape(each.code) + ";"
            lines.append(re.sub(rf"\b{each.name}\b", f'<a href="#{each.name}">{each.name}</a>', code, count=1))
        for line in synopsis.command_lines:
            lines.append(" ".join(self._part(part) for part in line))
        return "\n".join(lines)

    @staticmethod
    def _part(part):
        if part[0] == "name":
            return f"<b>{escape(part[1])}</b>"
        _, brackets, members = part
        shown = " | ".join(" ".join(each for each in (name, form, "..." if repeatable else "") if each)
                           for name, form, repeatable in members)
        return escape(brackets[:1] + shown + brackets[1:])

    def _text(self, text):
        """With links to what is explained elsewhere."""
        reference = re.fullmatch(r"([\w-]+)\((\d)\)", text)
        if reference and (reference.group(1), int(reference.group(2))) in self._files:
            return self._link(reference.group(1), int(reference.group(2)))
        parts = []
        for kind, piece in self._prose.spans(text):
            if kind in ("function", "data", "type", "constants"):
                parts.append(self._name(piece, self._prose.page_of(piece)))
            else:
                parts.append(_code(escape(piece)) if kind else escape(piece, quote=False))
        return "".join(parts)
