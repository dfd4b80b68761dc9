#!/usr/bin/env python3
"""Plants faults in a copy of the sources, one at a time, and reports which of them the tests find.

usage: mutate.py [NAME...]      (default: every fault of mutants.txt; about a minute and a half each)

A mutant is killed when it does not compile or a test fails. Those that survive are named, and the exit status is 1
unless mutants.txt gives the reason why a survivor behaves the same.
"""
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutation"
COPIED = ("bindings", "cmake", "docs", "gen", "include", "src", "tests")
OPTIONS = ("-DULMARO_BUILD_TOOL=OFF", "-DULMARO_BUILD_EXAMPLES=OFF", "-DULMARO_INSTALL=OFF", "-DULMARO_STRICT=OFF",
           "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG")
# These read the shape of the build, or need what the copy has not.
SKIPPED = "reproducible|staged_install|readme"


def read_mutants(text):
    """Blocks of: '# name: why an equivalent survives', file, '-old' lines, '+new' lines."""
    mutants = []
    for block in text.split("\n\n"):
        lines = [line for line in block.splitlines() if line.strip()]
        if not lines or not lines[0].startswith("# "):
            continue
        name, _, reason = lines[0][2:].partition(": ")
        old = "\n".join(line[1:] for line in lines[2:] if line.startswith("-"))
        new = "\n".join(line[1:] for line in lines[2:] if line.startswith("+"))
        mutants.append((name, reason, lines[1], old, new))
    return mutants


def run(*command):
    return subprocess.run(command, cwd=WORK, capture_output=True, text=True)


def mirror(source, target):
    """Copies what differs, so that little is built again, and leaves nothing else there."""
    wanted = {file.relative_to(source) for file in source.rglob("*") if file.is_file()}
    for old in [file for file in target.rglob("*") if file.is_file()]:
        if old.relative_to(target) not in wanted:
            old.unlink()
    for name in wanted:
        copy = target / name
        if not copy.exists() or copy.read_bytes() != (source / name).read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source / name, copy)


def prepare():
    for part in COPIED:
        mirror(ROOT / part, WORK / part)
    shutil.copy(ROOT / "CMakeLists.txt", WORK)
    for command in (("cmake", "-S", ".", "-B", "build", "-G", "Ninja", *OPTIONS), ("cmake", "--build", "build")):
        done = run(*command)
        if done.returncode != 0:
            sys.exit(done.stdout + done.stderr)
    done = run_tests()
    if done.returncode != 0:
        sys.exit("the tests fail without any fault:\n" + done.stdout)


def run_tests():
    return run("ctest", "--test-dir", "build", "-j", "2", "--stop-on-failure", "--timeout", "300", "-E", SKIPPED)


def verdict():
    built = run("cmake", "--build", "build", "--", "-k", "1")
    if built.returncode != 0:
        return "does not compile"
    tested = run_tests()
    if tested.returncode == 0:
        return None
    failed = [line.split()[3] for line in tested.stdout.splitlines() if "***" in line and len(line.split()) > 3]
    return ", ".join(failed) or "a test"


def main(wanted):
    mutants = read_mutants((ROOT / "tests" / "mutation" / "mutants.txt").read_text())
    unknown = set(wanted) - {name for name, *_ in mutants}
    if unknown:
        sys.exit("no such fault: " + ", ".join(sorted(unknown)))
    prepare()
    killed, equivalent, survived = 0, [], []
    for name, reason, file, old, new in mutants:
        if wanted and name not in wanted:
            continue
        path = WORK / file
        clean = path.read_text()
        if clean.count(old) != 1:
            sys.exit(f"{name}: the text to change is there {clean.count(old)} times in {file}")
        path.write_text(clean.replace(old, new))
        found = verdict()
        path.write_text(clean)
        if found:
            killed += 1
            print(f"killed    {name}: {found}", flush=True)
        else:
            (equivalent if reason else survived).append(name)
            print(f"{'same' if reason else 'SURVIVED':9} {name}{': ' + reason if reason else ''}", flush=True)
    print(f"{killed} killed, {len(equivalent)} behave the same, {len(survived)} survived")
    return 1 if survived else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
