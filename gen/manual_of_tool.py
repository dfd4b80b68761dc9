"""The manual page of the tool, from what it says itself: runs it and every subcommand with --help.

usage: manual_of_tool.py OUTPUT_FILE TOOL...; an emulator and its options may stand before the tool
"""

import re
import sys
from typing import List

from roff import escape, page, paragraphs
from tool_help import Help, printed_by, read_help

EXAMPLES = """\
Digests, written and checked:
$ ulmaro sm3 *.bin >sums
$ ulmaro sm3 --check sums

A key pair, a signature, and its verification here and by others:
$ ulmaro keygen -o key.pem --pub pub.pem
$ ulmaro sign -k key.pem -i letter -o letter.sig
$ ulmaro verify -k pub.pem -i letter -s letter.sig
$ openssl dgst -sm3 -verify pub.pem -sigopt distid:1234567812345678 -signature letter.sig letter

A file for the owner of a key: SM4 for the file, SM2 for the SM4 key:
$ (umask 077; head -c 16 /dev/urandom >secret)
$ ulmaro sm4 encrypt --key-file secret -i file -o file.sm4
$ ulmaro encrypt -k pub.pem -i secret -o secret.sm2

A ciphertext for a partner that expects the older order:
$ ulmaro convert ciphertext --from der --to c1c2c3 -i secret.sm2 -o secret.old
"""


def heading(text: str) -> str:
    """Names in bold, what they take in italics: "-f,--format TEXT:{der,hex} REQUIRED" has all of it."""
    names, _, rest = text.partition(" ")
    names = re.sub(r"\{\w+\}", "", names)
    choices = re.search(r"\{(.*)\}", rest)
    kind = re.match(r"[A-Z]+\b", re.sub(r"^(REQUIRED|Excludes)\b", "", rest))
    out = ", ".join("\\fB" + name.replace("-", "\\-") + "\\fR" for name in names.split(","))
    if choices:
        out += " " + "|".join("\\fI" + choice.replace("-", "\\-") + "\\fR" for choice in choices[1].split(","))
    elif kind and names.startswith("-"):
        out += f" \\fI{kind[0].lower()}\\fR"
    elif rest.endswith("..."):
        out += " ..."
    excluded = re.search(r"Excludes: (.*)", rest)
    if excluded:
        out += " (not with " + escape(", ".join(excluded[1].split())) + ")"
    return out + (" (required)" if "REQUIRED" in rest else "")


def describe(help_: Help) -> List[str]:
    out: List[str] = []
    for entry in help_.entries:
        if not entry.heading.startswith("-h,"):
            out += [".TP", heading(entry.heading), escape(entry.text)]
    return out


def commands(tool: List[str], prefix: List[str], top: Help) -> List[str]:
    out: List[str] = []
    for entry in (top if not prefix else read_help(tool, prefix)).subcommands:
        command = [*prefix, entry.heading]
        help_ = read_help(tool, command)
        out += [".SS " + " ".join(["ulmaro", *command]), escape(help_.about) + "."]
        if not help_.subcommands:
            out += describe(help_)
        if help_.footer != top.footer and not prefix:
            out += [".PP", escape(help_.footer)]
        out += commands(tool, command, top)
    return out


def main() -> None:
    output, *tool = sys.argv[1:]
    version = printed_by([*tool, "--version"])
    top = read_help(tool, [])
    body = [".SH NAME", "ulmaro \\- " + escape(top.about.rstrip(".")), ".SH SYNOPSIS"]
    body += [".B ulmaro", "\\fIcommand\\fR [\\fIoption\\fR ...]", ".br", ".B ulmaro", "[\\fIcommand\\fR] \\fB\\-\\-help\\fR"]
    body += [".SH OPTIONS", *describe(top), ".SH COMMANDS", "Each also has \\fB\\-h\\fR, \\fB\\-\\-help\\fR."]
    body += [*commands(tool, [], top), ".SH NOTES", escape(top.footer), ".SH EXAMPLES"]
    for at, example in enumerate(EXAMPLES.strip().split("\n\n")):
        title, *lines = example.split("\n")
        body += [*paragraphs(title)[at == 0 :], ".PP", ".nf", ".RS 4", *(escape(line) for line in lines), ".RE", ".fi"]
    body += [".SH SEE ALSO", ".BR libUlmaroAlgrithm (3),", ".BR openssl (1)"]
    with open(output, "w", encoding="utf-8") as file:
        file.write(page("ulmaro", 1, version.split()[1], body))


main()
