"""Completions for bash, zsh and fish, from what the tool says itself.

usage: completions_of_tool.py OUTPUT_FOLDER TOOL...; an emulator and its options may stand before the tool
"""

import os
import re
import shlex
import sys
from typing import List, NamedTuple

from tool_help import read_help


class Option(NamedTuple):
    names: List[str]
    words: List[str]  # that its value may be
    takes_value: bool
    text: str


class Command(NamedTuple):
    path: str  # "sm4 encrypt", or empty for the tool itself
    about: str
    subcommands: List[str]
    options: List[Option]


def option(heading: str, text: str) -> Option:
    names, _, rest = re.sub(r"\{\w+\}", "", heading.split(" ")[0]), "", heading.partition(" ")[2]
    words = re.search(r"\{(.*)\}", rest)
    return Option(names.split(","), words[1].split(",") if words else [], bool(re.match(r"[A-Z]+\b(?!:? )", rest)), text)


def read(tool: List[str], path: List[str]) -> List[Command]:
    help_ = read_help(tool, path)
    options = [option(e.heading, e.text) for e in help_.entries if e.heading.startswith("-")]
    out = [Command(" ".join(path), help_.about, [e.heading for e in help_.subcommands], options)]
    for sub in out[0].subcommands:
        out += read(tool, [*path, sub])
    return out


def is_file(option_: Option) -> bool:
    """Whether a value may be a file's name; identities, digests and keys in digits are not."""
    return not option_.words and not {"--id", "--digest", "--iv", "--jobs", "-K"} & set(option_.names)


def bash(commands: List[Command]) -> str:
    lines = ["# bash completion for ulmaro", "_ulmaro() {", "  local path= word words= values= i"]
    lines += ["  for ((i = 1; i < COMP_CWORD; i++)); do", "    case \"$path ${COMP_WORDS[i]}\" in"]
    known = "|".join(f'" {c.path}"' if " " not in c.path else f'"{c.path}"' for c in commands if c.path)
    lines += [f"      {known}) path=${{path:+$path }}${{COMP_WORDS[i]}} ;;", "    esac", "  done"]
    lines += ['  case "$path" in']
    for c in commands:
        names = " ".join([n for o in c.options for n in o.names] + c.subcommands)
        lines += [f'    "{c.path}")', f"      words={shlex.quote(names)}", '      case "${COMP_WORDS[COMP_CWORD-1]}" in']
        for o in c.options:
            if o.words:
                lines.append(f"        {'|'.join(o.names)}) words= values={shlex.quote(' '.join(o.words))} ;;")
            elif o.takes_value:
                lines.append(f"        {'|'.join(o.names)}) words= values={'@file' if is_file(o) else '@none'} ;;")
        lines += ["      esac", "      ;;"]
    lines += ["  esac", "  word=${COMP_WORDS[COMP_CWORD]}", "  COMPREPLY=()"]
    lines += ['  [ "$values" = @none ] && return', "  compopt -o default 2>/dev/null || :"]
    lines += ['  [ "$values" = @file ] || mapfile -t COMPREPLY < <(compgen -W "$words $values" -- "$word")']
    return "\n".join([*lines, "}", "complete -F _ulmaro ulmaro", ""])


def zsh(commands: List[Command]) -> str:
    def spec(o: Option) -> str:
        text = re.sub(r"([\[\]:\\])", r"\\\1", o.text)
        value = ""
        if o.words:
            value = f":value:({' '.join(o.words)})"
        elif o.takes_value:
            value = ":file:_files" if is_file(o) else ":value: "
        names = o.names[0] if len(o.names) == 1 else "{" + ",".join(o.names) + "}"
        return f"{names if len(o.names) > 1 else ''}{shlex.quote((names if len(o.names) == 1 else '') + f'[{text}]' + value)}"

    # A local "path" would be zsh's own, its list of folders for programs.
    lines = ["#compdef ulmaro", "_ulmaro() {", "  local at= i", "  for ((i = 2; i < CURRENT; i++)); do"]
    lines += ["    case \"$at ${words[i]}\" in"]
    known = "|".join(f'" {c.path}"' if " " not in c.path else f'"{c.path}"' for c in commands if c.path)
    lines += [f"      {known}) at=${{at:+$at }}${{words[i]}} ;;", "    esac", "  done", '  case "$at" in']
    for c in commands:
        last = f"'*:command:({' '.join(c.subcommands)})'" if c.subcommands else "'*:file:_files'"
        lines += [f'    "{c.path}") _arguments ' + " ".join([*map(spec, c.options), last]) + " ;;"]
    return "\n".join([*lines, "  esac", "}", '_ulmaro "$@"', ""])


def fish(commands: List[Command]) -> str:
    lines = ["# fish completion for ulmaro"]
    by_path = {c.path: c for c in commands}
    for c in commands:
        words = c.path.split()
        seen = [f"__fish_seen_subcommand_from {w}" for w in words]
        # "encrypt" is a command and one of sm4 too
        seen += [f"not __fish_seen_subcommand_from {other.path}" for other in commands
                 if other.path and other.path not in c.path and c.path in other.subcommands]
        if c.subcommands:
            seen.append(f"not __fish_seen_subcommand_from {' '.join(c.subcommands)}")
        condition = shlex.quote("; and ".join(seen))
        for sub in c.subcommands:
            about = by_path[f"{c.path} {sub}".strip()].about
            lines.append(f"complete -c ulmaro -f -n {condition} -a {sub} -d {shlex.quote(about)}")
        for o in c.options:
            names = " ".join(f"-l {n[2:]}" if n.startswith("--") else f"-s {n[1:]}" for n in o.names)
            value = f" -x -a {shlex.quote(' '.join(o.words))}" if o.words else ""
            if not o.words and o.takes_value:
                value = " -r -F" if is_file(o) else " -x"
            lines.append(f"complete -c ulmaro -n {condition} {names}{value} -d {shlex.quote(o.text)}")
    return "\n".join([*lines, ""])


def main() -> None:
    folder, *tool = sys.argv[1:]
    commands = read(tool, [])
    os.makedirs(folder, exist_ok=True)
    for name, write in (("ulmaro", bash), ("_ulmaro", zsh), ("ulmaro.fish", fish)):
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(write(commands))


main()
