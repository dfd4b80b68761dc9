"""Manual pages of section 3 from the C header: an overview, a page for each family, and a link for each entry point.

The header's comments are held to what they promise: it is an error when a parameter, a result, a field or a macro is
not documented.

usage: manual_of_header.py HEADER OUTPUT_DIR
"""

import os
import re
import sys
from typing import Dict, List, NamedTuple, Tuple

from roff import escape, literal, marked, page, paragraphs

FAMILIES = {"SM1": ["sm1"], "SM2": ["curve", "sm2"], "SM3": ["sm3"], "SM4": ["sm4"]}
OVERVIEW = "libUlmaroAlgrithm"


class Comment(NamedTuple):
    brief: str
    details: str
    parameters: List[Tuple[List[str], str]]
    result: str
    copied_from: str


class Entry(NamedTuple):
    name: str
    code: str
    comment: Comment
    fields: List[Tuple[str, str]]  # of a record


class Group(NamedTuple):
    title: str
    comment: Comment
    entries: List[Entry]


def parse_comment(raw: str) -> Comment:
    text = re.sub(r"^[ \t]*\*? ?", "", raw.strip(), flags=re.MULTILINE)
    tags = re.compile(r"@(brief|param|return|copydetails|file|defgroup)\s+(.*?)(?=\n\s*\n|@(?:\w+|[{}])|\Z)", re.DOTALL)
    found: Dict[str, str] = {}
    parameters = []
    for tag, value in tags.findall(text):
        value = " ".join(value.split())
        if tag == "param":
            names, _, meaning = value.partition(" ")
            parameters.append((names.split(","), meaning))
        else:
            found[tag] = value
    details = re.sub(r"@[{}]|@name .*", "", tags.sub("", text)).strip()
    copied = found.get("copydetails", "").rstrip("()")
    return Comment(found.get("brief", ""), details, parameters, found.get("return", ""), copied)


def parse_entries(code: str, comment: Comment) -> List[Entry]:
    """What the code behind a comment declares."""
    record = re.match(r"\s*typedef struct \w+ \{(.*)\} (\w+);", code, re.DOTALL)
    if record:
        rows = re.findall(r"^\s*(?:__extension__ )?[\w ]*?\b(\w+(?:\[\d*\])?);[ \t]*(?:/\*\*<(.*?)\*/)?", record[1], re.MULTILINE)
        return [Entry(record[2], "", comment, [(name, " ".join(text.split())) for name, text in rows])]
    variables = re.findall(r"extern ([^;]+);\s*(?:/\*\*<(.*?)\*/)?", code)
    macros = re.findall(r"#define (\w+) (\S+)[ \t]*(?:/\*\*<(.*?)\*/)?", code)
    if variables or macros:
        out = []
        for declaration, text in variables:
            name = re.sub(r".*?(\w+)(\[.*)?$", r"\1", declaration)
            out.append(Entry(name, f"extern {declaration};", comment._replace(brief=text.strip()) if text else comment, []))
        for name, value, text in macros:
            out.append(Entry(name, f"#define {name} {value}", comment._replace(brief=text.strip()) if text else comment, []))
        return out
    function = re.match(r"\s*(?:static inline )?([\w ]+\s+(\w+)\([^)]*\))\s*[;{]", code)
    return [Entry(function[2], re.sub(r"\s+", " ", function[1]) + ";", comment, [])] if function else []


def parse(header: str) -> Tuple[Comment, Dict[str, Group]]:
    parts = re.split(r"/\*\*(?!<)(.*?)\*/", header, flags=re.DOTALL)
    groups: Dict[str, Group] = {}
    current = ""
    for raw, code in zip(parts[3::2], parts[4::2]):
        comment = parse_comment(raw)
        code = re.sub(r"^#(?!define).*\n|ULMARO_MUST_USE |\s*ULMARO_OWN_NAME\(\w+\)", "", code, flags=re.MULTILINE)
        named = re.search(r"@defgroup (\w+) (.*)", raw)
        if named:
            current = named[1]
            groups[current] = Group(named[2], comment, [])
            comment = comment._replace(brief="")
        if current:
            groups[current].entries.extend(parse_entries(code, comment))
    return parse_comment(parts[1]), groups


def complete(groups: Dict[str, Group]) -> None:
    """Fills in what comments copy from others, and refuses what is left without a word."""
    comments = {entry.name: entry.comment for group in groups.values() for entry in group.entries}
    missing = []
    for group in groups.values():
        for at, entry in enumerate(group.entries):
            comment = entry.comment
            if comment.copied_from:
                source = comments[comment.copied_from]
                comment = source._replace(brief=comment.brief)
                group.entries[at] = entry._replace(comment=comment)
            if not comment.brief:
                missing.append(entry.name)
            missing += [f"{entry.name}.{field}" for field, text in entry.fields if not text]
            call = re.match(r"(.*?)\w+\((.*)\);", entry.code)
            if call:
                declared = [re.sub(r".*?(\w+)$", r"\1", parameter) for parameter in call[2].split(",")]
                documented = [name for names, meaning in comment.parameters for name in names if meaning]
                missing += [f"{entry.name}({name})" for name in {*declared} ^ {*documented}]
                if call[1].strip() != "void" and not comment.result:
                    missing.append(f"result of {entry.name}")
    if missing:
        sys.exit("not documented, or not there: " + ", ".join(sorted(missing)))


def wrapped(prototype: str) -> List[str]:
    """A prototype in lines of up to 78 characters, broken behind commas."""
    lines, indent = [""], " " * (prototype.find("(") + 1)
    for word in re.findall(r"[^,]+,?", prototype):
        if len(lines[-1]) + len(word) > 78:
            lines.append(indent + word.strip())
        else:
            lines[-1] += word
    return lines


def describe(entry: Entry) -> List[str]:
    out = [".SS " + entry.name, *paragraphs(entry.comment.brief)[1:]]
    rows = [(", ".join(names), meaning) for names, meaning in entry.comment.parameters] + entry.fields
    for name, meaning in rows:
        out += [".TP", f"\\fI{escape(name)}\\fR", marked(meaning)]
    if entry.comment.result:
        out += [".TP", "Result", marked(entry.comment.result)]
    if entry.comment.details:
        out += paragraphs(entry.comment.details)
    return out


def family_page(family: str, groups: List[Group], version: str) -> str:
    name = f"{OVERVIEW}_{family}"
    entries = [entry for group in groups for entry in group.entries]
    calls = ", ".join(entry.name for entry in entries if entry.name.startswith("SM"))
    synopsis = ["#include <UlmaroAlgrithm.h>", ""]
    for entry in entries:
        synopsis += wrapped(entry.code)
    body = [".SH NAME", f"{name}, {calls} \\- {groups[-1].title}", ".SH SYNOPSIS", *literal(synopsis), ".SH DESCRIPTION"]
    about = "\n\n".join(group.comment.brief + "\n\n" + group.comment.details for group in reversed(groups))
    body += paragraphs(about)[1:]
    for entry in entries:
        body += describe(entry)
    others = [f"{OVERVIEW}_{other} (3)" for other in FAMILIES if other != family]
    body += [".SH SEE ALSO", *(".BR " + other + "," for other in [f"{OVERVIEW} (3)", *others]), ".BR ulmaro (1)"]
    return page(name, 3, version, body)


def overview_page(about: Comment, groups: Dict[str, Group], version: str) -> str:
    body = [".SH NAME", f"{OVERVIEW}, {OVERVIEW}Hardened \\- {escape(about.brief.rstrip('.'))}", ".SH SYNOPSIS"]
    macros = [entry.code for entry in groups["version"].entries]
    link = "cc program.c $(pkg-config --cflags --libs UlmaroAlgrithmHardened)"
    body += literal(["#include <UlmaroAlgrithm.h>", "", *macros, "", link])
    body += [".SH DESCRIPTION", *paragraphs(about.details)[1:]]
    body += [".PP", "Each family of entry points has a page:"]
    for family, members in FAMILIES.items():
        body += [".TP", f".BR {OVERVIEW}_{family} (3)", escape(groups[members[-1]].title)]
    body += [".SH RECORDS", *paragraphs(groups["records"].comment.brief)[1:]]
    for entry in groups["records"].entries:
        body += describe(entry)
    body += [".SH VERSION", *paragraphs(groups["version"].comment.brief + "\n\n" + groups["version"].comment.details)[1:]]
    body += [".SH SEE ALSO", ".BR ulmaro (1)"]
    return page(OVERVIEW, 3, version, body)


def main() -> None:
    header, directory = sys.argv[1:]
    with open(header, encoding="utf-8") as file:
        about, groups = parse(file.read())
    complete(groups)
    version = next(e.code for e in groups["version"].entries if e.name.endswith("_VERSION")).split('"')[1]
    pages = {OVERVIEW: overview_page(about, groups, version)}
    for family, members in FAMILIES.items():
        pages[f"{OVERVIEW}_{family}"] = family_page(family, [groups[member] for member in members], version)
        for entry in (entry for member in members for entry in groups[member].entries):
            if entry.name.startswith("SM"):
                pages[entry.name] = f".so man3/{OVERVIEW}_{family}.3\n"
    os.makedirs(directory, exist_ok=True)
    for name, text in pages.items():
        with open(os.path.join(directory, name + ".3"), "w", encoding="utf-8") as file:
            file.write(text)


main()
