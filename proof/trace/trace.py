#!/usr/bin/env python3
"""Constant time, seen from outside: the built library executes the same instructions and addresses the same memory
whatever the secrets are.

    trace.py --architecture ARCHITECTURE --driver PROGRAM... --objdump OBJDUMP
             [--emulator COMMAND --plugin FILE] [--stepper PROGRAM] [CONFIGURATION...]

The driver calls every entry point that takes a secret, once for each of many secrets, and a tracer gives a hash of each
call: of the address of every instruction and of every access, in order, in the library and in what it calls. Two hashes
of one case that differ are a leak; two such calls are traced once more to find the instruction. Every configuration
must also find the leaks that are planted in the driver, and use the kernels that it names.

A configuration is a processor. Most are emulated by qemu, with a plugin; QEMU_CPU in the environment chooses one. What
qemu 7.2 does not know, GFNI and AVX-512, is stepped through on this processor, which takes a thousand times as long:
there run fewer secrets, and only what uses the kernels in question. Of an access the address is taken there; its size
and direction follow from the instruction. Without such a processor this says so, and ends with status 77.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass

ROOT = pathlib.Path(__file__).resolve().parents[2]
KERNEL_LISTS = {"SM2": "src/u256/kernel_choice.hpp", "SM3": "src/sm3/kernels.cpp", "SM4": "src/sm4/kernels.cpp"}
CALLS = ("proof/trace/driver.cpp", "tests/support/curves.hpp", "tests/support/sm4_modes.hpp")
TAKE_NO_SECRETS = {"SM2_POINT_is_on_curve", "SM2_ECDSA_Verification", "SM3_algrithm_userid_hash"}
ANY = ("SM",)


class Failure(Exception):
    pass


class Missing(Exception):
    pass


@dataclass
class Emulated:
    processor: str
    kernels: dict  # unit: name
    cases: tuple = ("SM",)  # how their names begin
    leaks: tuple = ()  # those that are known to
    without: int = 0  # bits taken from Arm's AT_HWCAP
    secrets = 0xffffffff

    def trace(self, options, command, out, log=None):
        emulator = options.emulator.split() + ["-cpu", self.processor, "-E", f"TRACE_WITHOUT={self.without}"]
        plugin = f"{options.plugin},out={out}" + (f",log={log}" if log else "")
        return execute(emulator + ["-plugin", plugin] + command)


@dataclass
class Stepped:
    needs: str
    features: str  # see stepped.cpp
    kernels: dict
    cases: tuple
    secrets: int = 0xffff
    leaks = ()

    def trace(self, options, command, out, log=None):
        present = re.search(r"^flags.*", pathlib.Path("/proc/cpuinfo").read_text(encoding="ascii"), re.M)[0].split()
        if lacks := set(self.needs.split()).difference(present):
            raise Missing(f"this processor lacks {' '.join(sorted(lacks))}")
        # The operands of all instructions that one secret executes. With another, any other instruction is a leak.
        listed, operands = pathlib.Path(f"{out}.instructions"), pathlib.Path(f"{out}.operands")
        execute([options.stepper, str(listed), "-", "-", self.features, command[0], "1"] + command[2:])
        operands.write_text("".join(operands_of(options, listed)), encoding="ascii")
        return execute([options.stepper, out, str(operands), log or "-", self.features] + command)


AVX512 = "avx2 avx512f avx512bw avx512dq avx512vl"
CONFIGURATIONS = {
    "x86_64": {
        "vaes": Emulated("max,-gfni", {"SM2": "x86-adx", "SM3": "x86-avx2", "SM4": "x86-vaes"}),
        "aesni-avx2": Emulated("max,-gfni,-vaes", {"SM4": "x86-aesni-avx2"}, ("SM4",)),
        "aesni": Emulated("max,-avx2", {"SM2": "portable", "SM3": "portable", "SM4": "x86-aesni"}),
        "ssse3": Emulated("max,-avx2,-aes", {"SM4": "x86-ssse3"}, ("SM4",)),
        # It looks the S-box up, but not for the key: docs/security.md.
        "portable": Emulated("qemu64", {"SM4": "portable"}, ("SM4_KEY_INIT", "SM4 in ECB encryption, 16 bytes"),
                             leaks=("SM4 in",)),
        "gfni512": Stepped(f"gfni {AVX512}", "0,1", {"SM3": "x86-avx512-wide", "SM4": "x86-gfni512"},
                           ("SM3", "SM2_KDF", "SM4")),
        "gfni256": Stepped("gfni avx2", "10000,1", {"SM4": "x86-gfni256"}, ("SM4",)),
        "avx512": Stepped(AVX512, "0,0", {"SM3": "x86-avx512"}, ("SM3", "SM2_KDF_ALGRITRHM, 609 bytes from 64")),
        "ifma": Stepped(f"bmi2 adx avx512ifma {AVX512}", "0,1", {"SM2": "x86-ifma"},
                        ("SM2_ECDSA_Signature, rec", "SM2_ECES_Encryption, 20 bytes, rec",
                         "SM2_ECES_Decryption, 20 bytes, rec", "SM2_CalcPubKeyByPriKey, multiples"),
                        secrets=0x11111111),
    },
    "aarch64": {
        "sm4": Emulated("max,pauth-impdef=on", {"SM2": "arm-base", "SM3": "arm-sm3", "SM4": "arm-sm4"}),
        "aes": Emulated("cortex-a72", {"SM2": "arm-base", "SM3": "arm-neon", "SM4": "arm-aes"}),
        "neon": Emulated("cortex-a72", {"SM4": "arm-neon"}, ("SM4",), without=1 << 3),
    },
}


def execute(command):
    ended = subprocess.run(command, capture_output=True, text=True, env=os.environ | {"LD_BIND_NOW": "1"})
    if ended.returncode != 0:
        raise Failure(f"{' '.join(command)}: status {ended.returncode}\n{ended.stderr}")
    return ended.stdout.splitlines()


REGISTERS = "rax rcx rdx rbx rsp rbp rsi rdi r8 r9 r10 r11 r12 r13 r14 r15".split()
PREFIX = re.compile(r"rep\w*|rex\S*|lock|bnd|notrack|data16|cs|ds")
SLOT = 64  # more than two instructions: what follows the one of interest ends here


def operands_of(options, listed):
    """The lines that stepped.cpp reads, for the instructions that it has listed."""
    lines = [line.split() for line in listed.read_text(encoding="ascii").splitlines()]
    blob = listed.with_suffix(".bin")
    blob.write_bytes(b"".join(bytes.fromhex(code)[:15].ljust(SLOT, b"\x90") for _, code in lines))
    text = subprocess.run([options.objdump, "-D", "-b", "binary", "-m", "i386:x86-64", "-M", "intel",
                           "--no-show-raw-insn", str(blob)], capture_output=True, text=True, check=True).stdout
    found = 0
    for place, instruction in re.findall(r"^ *([0-9a-f]+):\s+(.*)", text, re.M):
        at = int(place, 16)
        if at % SLOT == 0:
            found += 1
            for operand in operands_in(instruction):
                yield f"{lines[at // SLOT][0]} {' '.join(map(str, operand))}\n"
    if found != len(lines):
        raise Failure(f"objdump shows {found} of {len(lines)} instructions")


def operands_in(instruction):
    """Base, index, scale and mask of each memory operand whose address is not constant."""
    name = next(word for word in instruction.split() if not PREFIX.fullmatch(word))
    if name in ("push", "pop", "call", "ret", "pushf", "popf"):
        yield REGISTERS.index("rsp"), -1, 1, -1
    if name in ("leave", "enter"):
        yield REGISTERS.index("rbp"), -1, 1, -1
    if name.startswith(("lea", "nop", "endbr")) and name != "leave":
        return
    masks = re.findall(r"\{k(\d)\}", instruction)
    for inside in re.findall(r"\[([^]]*)\]", instruction):
        terms = re.findall(r"(?:^|[+-])([a-z]\w*)(?:\*(\d))?", inside)
        if name.startswith(("bt", "xlat", "maskmov", "vmaskmov", "vpmaskmov", "xsave", "xrstor", "fx")) or \
                any(term not in REGISTERS and term not in ("rip", "riz") for term, _ in terms):
            raise Failure(f"no way to know what this addresses: {instruction}")
        base = next((REGISTERS.index(term) for term, scale in terms if not scale and term in REGISTERS), -1)
        index, scale = next(((REGISTERS.index(term), scale) for term, scale in terms if scale and term in REGISTERS),
                            (-1, 1))
        yield base, index, scale, masks[0] if masks else -1


def entries(file):
    with open(file, "rb") as log:
        while entry := log.read(16):
            yield int.from_bytes(entry[:8], "little"), int.from_bytes(entry[8:], "little")


def short(function):
    """Without the arguments of templates and of functions."""
    while (shorter := re.sub(r"\(anonymous namespace\)::|<[^<>]*>|\([^()]*\)", "", function)) != function:
        function = shorter
    return function.removeprefix("void ")


def explain(options, logs, objects):
    """Where two traces part."""
    at = None
    for one, other in zip(entries(logs[0]), entries(logs[1])):
        if one != other:
            break
        at = one[0] if one[1] == 0 else at
    else:
        return "one ends before the other, or they did not differ again"
    branches = one[1] == 0 or other[1] == 0
    base, path = max((base, path) for base, path in objects if base <= at)
    place = at - base if base < at else at
    code = subprocess.run([options.objdump, "-d", "-C", "--no-show-raw-insn", f"--start-address={place}",
                           f"--stop-address={place + 16}", path], capture_output=True, text=True).stdout
    where = re.search(r"<(.*)>:\n\s*[0-9a-f]+:\s+(.*)", code)
    what = f"{short(where[1])}: {' '.join(where[2].split())}" if where else "an unknown function"
    return f"{'another instruction after' if branches else 'another address in'} {what} ({path}+{place:#x})"


def find_leak(options, configuration, driver, case, first, second, folder):
    """Traces one case once more for two secrets, and says where they part."""
    log = pathlib.Path(folder, "log")
    log.mkdir(exist_ok=True)
    command = [driver, f"{1 << first | 1 << second:x}", case]
    lines = configuration.trace(options, command, f"{folder}/again", str(log))
    objects = [(int(base, 16), path or driver) for _, base, path in
               (line.split(" ", 2) for line in lines if line.startswith("object "))]
    return explain(options, [log / "1", log / "2"], objects)


def kernel_names(configuration):
    return ", ".join(map(" ".join, configuration.kernels.items()))


def trace(options, name, configuration, driver):
    with tempfile.TemporaryDirectory() as folder:
        started = time.monotonic()
        out = f"{folder}/hashes"
        command = [driver, f"{configuration.secrets:x}", "planted", *configuration.cases]
        lines = configuration.trace(options, command, out)
        hashes = [line.split() for line in open(out, encoding="ascii")][1:]
        cases = [line.removeprefix("case ") for line in lines if line.startswith("case ")]
        secrets = [i for i in range(32) if configuration.secrets >> i & 1]
        if len(cases) < 4 or len(hashes) != len(secrets) * len(cases):
            raise Failure(f"{len(cases)} cases, {len(secrets)} secrets, {len(hashes)} traces")
        for unit, kernel in configuration.kernels.items():
            if f"kernel {unit} {kernel}" not in lines:
                raise Failure(f"{unit} does not use the kernel {kernel}: " +
                              ", ".join(line for line in lines if line.startswith("kernel ")))
        print(f"{name}, {os.path.basename(driver)}: {kernel_names(configuration)}")
        wrong = []
        for number, case in enumerate(cases):
            of_case = hashes[number * len(secrets):][:len(secrets)]
            different = next((i for i, one in enumerate(of_case) if one != of_case[0]), None)
            verdict = f"{of_case[0][1]} instructions, the same for {len(secrets)} secrets"
            if different is not None:
                verdict = find_leak(options, configuration, driver, case, secrets[0], secrets[different], folder)
            print(f"  {case}: {verdict}")
            if case.startswith("planted_"):
                kind = "instruction after" if case == "planted_branch" else "address in"
                right = verdict.startswith(f"another {kind} {case}")
            else:
                right = (different is not None) == case.startswith(configuration.leaks)
            if not right:
                wrong.append(case)
        print(f"  {time.monotonic() - started:.0f} s", flush=True)
        if wrong:
            raise Failure(f"leaks, or known leaks that were not found: {'; '.join(wrong)}")


def read(file):
    return (ROOT / file).read_text(encoding="utf-8")


def untraced_kernels(architecture):
    prefix = "arm-" if architecture == "aarch64" else "x86-"
    traced = {kernel for one in CONFIGURATIONS[architecture].values() for kernel in one.kernels.items()}
    for unit, file in KERNEL_LISTS.items():
        for kernel in re.findall(r'has_kernel\("([^"]+)"\)', read(file)):
            if kernel.startswith(prefix) and (unit, kernel) not in traced:
                yield kernel


def untraced_calls():
    """Those of SM1 are reached through the ones with raw keys."""
    declared = re.findall(r"^(?:ULMARO_MUST_USE )?(?:int|void) (SM[234]_\w+)\(", read("include/UlmaroAlgrithm.h"), re.M)
    return set(declared) - TAKE_NO_SECRETS - set(re.findall(r"\bSM\w+", "".join(map(read, CALLS))))


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    for option in ("architecture", "objdump"):
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("--driver", action="append", required=True)
    for option in ("emulator", "plugin", "stepper"):
        parser.add_argument(f"--{option}")
    parser.add_argument("configurations", nargs="*")
    options = parser.parse_args()
    if untraced := [*untraced_kernels(options.architecture), *untraced_calls()]:
        sys.exit(f"Nothing traces {', '.join(untraced)}.")
    chosen = {name: one for name, one in CONFIGURATIONS[options.architecture].items()
              if name in (options.configurations or [name])
              and (options.plugin if isinstance(one, Emulated) else options.stepper)
              and ("QEMU_CPU" not in os.environ or isinstance(one, Stepped) or one.processor == os.environ["QEMU_CPU"])}
    if not chosen:
        sys.exit("There is no such configuration.")
    for name, configuration in chosen.items():
        for driver in options.driver:
            try:
                trace(options, name, configuration, driver)
            except Missing as missing:
                print(f"{name} skipped, {missing}: no trace of {kernel_names(configuration)}")
                sys.exit(77)
            except Failure as failure:
                sys.exit(f"{name}: {failure}")


main()
