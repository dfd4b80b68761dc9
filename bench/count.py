#!/usr/bin/env python3
"""Counts instructions of the cases of ulmaro_count under qemu-aarch64 and writes a table. See scripts/count_arm64.sh."""

import argparse
import pathlib
import subprocess
import sys

import operations

CPUS = {
    "max": "with the AES, SM3 and SM4 instructions",
    "cortex-a72": "with the AES instructions, without those for SM3 and SM4",
}
# The series of peers that use none of these instructions for SM3 and SM4: said in every line where this library does.
PLAIN = {"openssl": {"3.0"}, "gcrypt": {"1.10"}}
AIDED = {"max": {"sm3": "SM3", "kdf": "SM3", "sm4": "SM4"}, "cortex-a72": {"sm4": "AES"}}
TIMES = 16


def emulate(options, cpu, *arguments, plugin=False):
    command = ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-cpu", cpu, "-E", f"LD_LIBRARY_PATH={options.libraries}"]
    if plugin:
        command += ["-plugin", options.plugin]
    ended = subprocess.run(command + [options.driver, *arguments], capture_output=True, text=True)
    if ended.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{ended.stderr}")
    return ended


def count(options, cpu, names):
    """{case: {implementation: instructions of one call}}"""
    lines = emulate(options, cpu, str(TIMES), *names, plugin=True).stderr.splitlines()
    counts = [int(line.split()[1]) for line in lines if line.startswith("instructions ")]
    if len(counts) != len(names):
        sys.exit(f"{len(names)} cases, {len(counts)} counts")
    cases = {}
    for name, instructions in zip(names, counts):
        case, _, implementation = name.rpartition("/")
        cases.setdefault(case, {})[implementation] = instructions / TIMES
    return cases


def remark(cpu, versions):
    """case -> what must be said beside it"""
    plain = [operations.PEERS[name] for name, version in versions.items()
             if operations.series(version) in PLAIN.get(name, ())]
    def text(case):
        instructions = AIDED[cpu].get(case.partition("/")[0].partition("-")[0])
        return f"; {' and '.join(plain)} without {instructions} instructions" if plain and instructions else ""
    return text


def document(options, names):
    lines = ["# Instructions on 64-bit Arm", "",
             "Counted, not timed: the number of instructions that one call executes under an emulator (qemu-aarch64), "
             "which says nothing about how long each takes. Bear that in mind when comparing: vector, cipher and "
             "multiplication instructions take longer than additions.", "",
             "The first number is ours; a column of a peer is its count divided by ours, so above 1 we execute fewer. "
             "The peers are Debian's arm64 packages, run beside us in the same process; every result is checked "
             f"first, then the mean of {TIMES} calls is taken. The year of a peer is that in which its series began. " +
             operations.NOTE_ON_PEERS, "",
             "Made by `scripts/count_arm64.sh`. Newer peers are in [newest.md](newest.md)."]
    for cpu, meaning in CPUS.items():
        about = dict(line.split("\t") for line in emulate(options, cpu, "--about").stdout.splitlines())
        kernels = ", ".join(f"{key.split()[1]} {value}" for key, value in about.items() if key.startswith("kernel "))
        versions = {key.split()[1]: value for key, value in about.items() if key.startswith("peer ")}
        lines += ["", f"## Processor `{cpu}`: {meaning}", "",
                  f"Kernels: {kernels}. Compiler: {about['compiler']}. Peers: {operations.peers_text(versions)}."]
        lines += operations.tables(count(options, cpu, names), versions, "instructions", lambda case, n: f"{n:,.0f}",
                                   remark(cpu, versions))
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for option in ("driver", "plugin", "libraries", "output"):
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("prefix", nargs="*", help="count only cases that begin so, and print the table")
    options = parser.parse_args()
    names = [name for name in emulate(options, "max").stdout.split()
             if not name.startswith("kernel-") and name.startswith(tuple(options.prefix) or "")]
    text = document(options, names)
    if options.prefix:
        print(text, end="")
    else:
        pathlib.Path(options.output).parent.mkdir(parents=True, exist_ok=True)
        pathlib.Path(options.output).write_text(text, encoding="utf-8")
        print(f"wrote {options.output}")


main()
