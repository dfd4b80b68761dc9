"""Cuts the programs and shell blocks out of pages, compiles and runs them in the order in which they stand.

The first line of a program is a comment that begins with its file name. A program that is followed by a text block is
run and must print that; others are run by the shell blocks. A block marked "plain" links the plain library.

usage: pages.py INCLUDE_DIR LIBRARY_DIR TOOL PAGE...; compilers from CC and CXX, what runs their programs from EMULATOR.
With an emulator Python blocks are left out: an interpreter of this machine cannot load the library.
"""

import os
import re
import subprocess
import sys
import tempfile
from typing import List

WARNINGS = "-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror".split()
BLOCK = re.compile(r"^```(\w+)( plain)?\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def run(command: List[str], **options: object) -> str:
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, universal_newlines=True, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{done.stdout}exit code {done.returncode}")
    return done.stdout


def main() -> None:
    include, libraries, tool = map(os.path.abspath, sys.argv[1:4])
    compilers = {"c": [os.environ["CC"], "-std=c99"], "cpp": [os.environ["CXX"], "-std=c++20"]}
    emulator = os.environ.get("EMULATOR", "").split()
    path = os.pathsep.join((os.path.dirname(tool), os.environ["PATH"]))
    environment = dict(os.environ, LD_LIBRARY_PATH=libraries, PATH=path)
    for page in map(os.path.abspath, sys.argv[4:]):
        ran = 0
        with open(page, encoding="utf-8") as file:
            content = file.read()
        blocks = list(BLOCK.finditer(content))
        with tempfile.TemporaryDirectory() as work:
            for block, following in zip(blocks, [*blocks[1:], None]):
                language, plain, text = block.groups()
                print(f"{os.path.basename(page)}:{content[:block.start()].count(chr(10)) + 1} {language}", flush=True)
                if language in compilers:
                    name = text.split()[1].rstrip(":")
                    with open(os.path.join(work, name), "w", encoding="utf-8") as file:
                        file.write(text)
                    library = ["-lUlmaroAlgrithm"] if plain else ["-DULMARO_HARDENED", "-lUlmaroAlgrithmHardened"]
                    program = os.path.splitext(name)[0]
                    run([*compilers[language], *WARNINGS, "-O2", "-I" + include, name, "-o", program,
                         "-L" + libraries, *library], cwd=work)
                    if following and following[1] == "text":
                        printed = run([*emulator, os.path.join(work, program)], cwd=work, env=environment, input="")
                        if printed != following[3]:
                            sys.exit(f"{name}: it prints\n{printed}")
                    ran += 1
                elif language == "python" and not emulator:
                    run([sys.executable, "-B", "-c", text], cwd=work, env=environment)
                    ran += 1
                elif language == "sh":
                    run(["bash", "-euo", "pipefail", "-c", text], cwd=work, env=environment)
                    ran += 1
        if ran == 0:
            sys.exit(f"{page}: nothing to run")


main()
