"""What the tool says about itself, read from its help. Help that is not understood is an error, so that nothing of it can
be lost.
"""

import re
import subprocess
import sys
from typing import List, NamedTuple


class Entry(NamedTuple):
    heading: str  # as the help has it
    text: str


class Help(NamedTuple):
    about: str
    entries: List[Entry]
    subcommands: List[Entry]
    footer: str


def printed_by(command: List[str]) -> str:
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, universal_newlines=True).stdout


def read_help(tool: List[str], command: List[str]) -> Help:
    text = printed_by([*tool, *command, "--help"])
    lines = text.rstrip("\n").split("\n")
    if not lines[1].startswith("Usage: "):
        sys.exit(f"no usage in the help of {command}")
    entries: List[Entry] = []
    subcommands: List[Entry] = []
    footer: List[str] = []
    target = entries
    for line in lines[2:]:
        entry = re.match(r" {2,4}(\S.*?)(?: {2,}(\S.*))?$", line)
        if footer or re.match(r"[A-Z].*[^:]$", line):
            footer.append(line)
        elif re.match(r" *(Positionals|Options|Subcommands):$", line):
            target = subcommands if "Subcommands" in line else entries
        elif not line:
            continue
        elif re.match(r" {25,}\S", line) and target and not target[-1].text:
            target[-1] = target[-1]._replace(text=line.strip())
        elif entry:
            target.append(Entry(entry[1], entry[2] or ""))
        else:
            sys.exit(f"not understood in the help of {command}: {line}")
    unexplained = [entry.heading for entry in entries + subcommands if not entry.text]
    if unexplained or not entries:
        sys.exit(f"not understood in the help of {command}: {unexplained}")
    return Help(lines[0], entries, subcommands, " ".join(footer))
