"""Every link of a page to a file or a section leads to one. Addresses elsewhere are not tried.

usage: links.py PAGE_OR_FOLDER...
"""

import re
import sys
from pathlib import Path

BLOCK = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)


def sections(page: Path) -> set:
    titles = re.findall(r"^#+ (.*)$", BLOCK.sub("", page.read_text(encoding="utf-8")), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


dead, links = [], 0
for top in map(Path, sys.argv[1:]):
    for page in sorted(top.rglob("*.md")) if top.is_dir() else [top]:
        for link in re.findall(r"\]\(([^)\s]+)\)", BLOCK.sub("", page.read_text(encoding="utf-8"))):
            if "://" in link:
                continue
            links += 1
            path, _, section = link.partition("#")
            target = page.parent / path if path else page
            if not target.exists() or (section and section not in sections(target)):
                dead.append(f"{page}: {link}")
if dead or not links:
    sys.exit("\n".join(dead) or "no links")
