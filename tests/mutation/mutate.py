#!/usr/bin/env python3
"""Plants faults in a copy of the sources, one at a time, and reports which of them the tests find.

usage: mutate.py [NAME...]      (default: every fault of mutants.txt; about a minute and a half each)

A mutant is killed when it does not compile or a test fails. Those that survive are named, and the exit status is 1
unless mutants.txt gives the reason why a survivor behaves the same.
"""
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutation"
OPTIONS = ("-DULMARO_BUILD_TOOL=OFF", "-DULMARO_BUILD_EXAMPLES=OFF", "-DULMARO_INSTALL=OFF", "-DULMARO_STRICT=OFF",
           "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG")
# These build everything once more, or need what is not built here.
SKIPPED = "reproducible|subproject|staged_install"


def read_mutants(text):
    """Blocks of: '# name: why an equivalent survives', file, '-old' lines, '+new' lines."""
    for block in text.split("\n\n")[1:]:
        lines = block.splitlines()
        name, _, reason = lines[0][2:].partition(": ")
        old, new = ("\n".join(line[1:] for line in lines[2:] if line.startswith(sign)) for sign in "-+")
        yield name, reason, lines[1], old, new


def run(*command):
    return subprocess.run(command, cwd=WORK, capture_output=True, text=True)


def run_tests():
    return run("ctest", "--test-dir", "build", "-j", "2", "--stop-on-failure", "--timeout", "300", "-E", SKIPPED)


def prepare():
    """Brings the copy to the state of the tracked files, changed ones included; only what differs is built again."""
    if not WORK.exists():
        subprocess.run(("git", "clone", "-q", "--shared", "--no-checkout", ROOT, WORK), check=True)
    changed = subprocess.run(("git", "stash", "create"), cwd=ROOT, capture_output=True, text=True, check=True).stdout
    head = subprocess.run(("git", "rev-parse", "HEAD"), cwd=ROOT, capture_output=True, text=True, check=True).stdout
    for command in (("git", "checkout", "-q", "--force", (changed or head).strip()),
                    ("cmake", "-S", ".", "-B", "build", "-G", "Ninja", *OPTIONS), ("cmake", "--build", "build")):
        done = run(*command)
        if done.returncode != 0:
            sys.exit(done.stdout + done.stderr)
    done = run_tests()
    if done.returncode != 0:
        sys.exit("the tests fail without any fault:\n" + done.stdout)


def verdict():
    if run("cmake", "--build", "build", "--", "-k", "1").returncode != 0:
        return "does not compile"
    tested = run_tests()
    failed = [line.split()[3] for line in tested.stdout.splitlines() if "***" in line and len(line.split()) > 3]
    return None if tested.returncode == 0 else ", ".join(failed) or "a test"


def main(wanted):
    text = (ROOT / "tests" / "mutation" / "mutants.txt").read_text().rstrip()
    mutants = {name: rest for name, *rest in read_mutants(text)}
    if set(wanted) - set(mutants):
        sys.exit("no such fault: " + ", ".join(sorted(set(wanted) - set(mutants))))
    prepare()
    survived = 0
    for name in wanted or mutants:
        reason, file, old, new = mutants[name]
        path = WORK / file
        clean = path.read_text()
        if clean.count(old) != 1:
            sys.exit(f"{name}: the text to change is there {clean.count(old)} times in {file}")
        path.write_text(clean.replace(old, new))
        found = verdict()
        path.write_text(clean)
        survived += not found and not reason
        outcome = f"killed by {found}" if found else f"the same: {reason}" if reason else "SURVIVED"
        print(f"{name}: {outcome}", flush=True)
    print(f"{len(wanted or mutants)} planted, {survived} survived")
    return 1 if survived else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
