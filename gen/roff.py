"""Text for manual pages."""

import re
from typing import Iterable, List


def escape(text: str) -> str:
    """Characters that troff would take for something else, at the beginning of the text too."""
    text = text.replace("\\", "\\e").replace("^", "\\(ha").replace("~", "\\(ti")
    # Minus signs and names of options; hyphens stay.
    text = re.sub(r"(?<![\w-])-(?:\d|[\w-]+)", lambda option: option[0].replace("-", "\\-"), text)
    return "\\&" + text if text.startswith((".", "'")) else text


def marked(text: str) -> str:
    """Prose with `code`, **bold**, ::names and calls()."""
    pieces = re.split(r"(`[^`]*`|\*\*[^*]+\*\*|::\w+|\b\w+\(\))", text)
    out = []
    for piece in pieces:
        if piece.startswith("`"):
            out.append("\\fB" + escape(piece.strip("`")) + "\\fR")
        elif piece.startswith("**"):
            out.append("\\fB" + escape(piece.strip("*")) + "\\fR")
        elif piece.startswith("::"):
            out.append("\\fB" + escape(piece[2:]) + "\\fR")
        elif re.fullmatch(r"\w+\(\)", piece):
            out.append("\\fB" + piece[:-2] + "\\fR()")
        else:
            out.append(escape(piece))
    return "".join(out)


def paragraphs(text: str) -> List[str]:
    """Paragraphs and lists of prose. Behind a heading leave out the first line, which only sets a paragraph off."""
    out: List[str] = []
    for paragraph in re.split(r"\n\s*\n", text.strip()):
        items = re.split(r"(?:^|\n)- ", paragraph.strip())
        if items[0]:
            out += [".PP", marked(" ".join(items[0].split()))]
        for item in items[1:]:
            out += [".IP \\(bu 2", marked(" ".join(item.split()))]
    return out


def literal(lines: Iterable[str]) -> List[str]:
    """Lines as they are."""
    return [".nf", *(escape(line) for line in lines), ".fi"]


def page(name: str, section: int, version: str, body: Iterable[str]) -> str:
    return "\n".join([f'.TH {name} {section} "" "UlmaroAlgrithm {version}" "UlmaroAlgrithm"', *body, ""])
