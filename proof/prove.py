"""Proves the theorems of all modules about shipped libraries, and prints a line for each.

    prove.py [--only TEXT] LIBRARY...
"""
import argparse
import collections
import functools
import importlib
import multiprocessing
import re
import sys
import time

from library import Library

sys.setrecursionlimit(100_000)

MODULES = ['sm3', 'sm4', 'curves', 'inversion', 'secrecy']
# The functions of each family's record, in order; the other fields are not functions.
RECORDS = {
    'sm3': ['name', 'compress', 'lanes', 'expand_lanes', 'compress_lanes'],
    'sm4': ['name', 'expand_key', 'encrypt_blocks', 'decrypt_blocks', 'cbc_encrypt', 'cbc_decrypt'],
    'sm2p256': ['name', 'stack', 'multiply_base', 'multiply_base_and_invert', 'multiply_point',
                'multiply_base_and_point', 'multiply_add_vartime'],
    'ecp256': ['name', 'stack', 'multiply_point', 'multiply_both_vartime'],
}
NOT_FUNCTIONS = 'name', 'stack', 'lanes'
BRANCH = re.compile(r'(call|j[a-z]+|b|bl|b[.].*|cbn?z|tbn?z)$')
NO_RETURN = 'ret', 'jmp', 'b', 'br', 'ud2', 'hlt', 'brk'


def functions(library, family):
    """(kernel, field, address) of every function that a kernel of the family has."""
    for kernel, (record, size) in sorted(library.records(family).items()):
        fields = RECORDS[family]
        if size != 8 * len(fields):
            raise SystemExit(f'{library.path}: a record of {family} has {size // 8} fields, not {len(fields)}')
        for i, field in enumerate(fields):
            if field not in NOT_FUNCTIONS and library.word(record + 8 * i):
                yield kernel, field, library.word(record + 8 * i)


@functools.cache
def load(path):
    """The library at path and the theorems of all modules about it, which each process reads once."""
    library = Library(path)
    return library, [t for name in MODULES for t in importlib.import_module(name).theorems(library)]


def theorems(path):
    return load(path)[1]


def attempt(job):
    path, index = job
    theorem, start = theorems(path)[index], time.process_time()
    try:
        covered, problem = theorem.run(), None
        if not covered:
            problem = 'no instruction was covered'
    except Exception as e:  # whatever goes wrong, the theorem is not proved
        covered, problem = set(), f'{type(e).__name__}: {" | ".join(map(str, e.args))}'
    return path, index, covered, time.process_time() - start, problem


def missing(path):
    """The kernels' functions that have no theorem about their results or about time."""
    claimed = {(t.family, t.kernel, t.function, t.time) for t in theorems(path)}
    library = load(path)[0]
    for family in RECORDS:
        for kernel, field, _ in functions(library, family):
            if (family, kernel, field, False) not in claimed:
                yield f'{family} {kernel} {field}'
            if (family, kernel, field, True) not in claimed and 'vartime' not in field:
                yield f'{family} {kernel} {field}, its time'


def reachable(library, entries):
    """The addresses that direct branches and calls lead to, but for those that only lead to the stack protector's alarm."""
    ways, todo = {}, list(entries)  # address -> where it leads
    while todo:
        address = todo.pop()
        if address in ways or address not in library.text:
            continue
        op, operands, following = library.text[address]
        target = BRANCH.match(op) and re.search(r'([0-9a-f]+)$', operands)
        to = [int(target[1], 16)] if target else []
        alarm = to and 'stack_chk_fail' in library.function.get(to[0], '')
        ways[address] = None if alarm else to if op in NO_RETURN else [*to, following]
        todo += ways[address] or []
    for address in sorted(ways, reverse=True):
        if ways[address] and all(ways.get(a, ()) is None for a in ways[address]):
            ways[address] = None
    return {a for a, to in ways.items() if to is not None}


def not_reached(path, covered):
    """How many instructions of each function the kernels may reach, but no theorem does."""
    library = load(path)[0]
    claimed = {(t.family, t.kernel, t.function) for t in theorems(path)}
    entries = [address for family in RECORDS for kernel, field, address in functions(library, family)
               if (family, kernel, field) in claimed]
    return collections.Counter(library.owner(a) for a in reachable(library, entries) - covered)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--only', default='', help='the theorems whose line contains this')
    parser.add_argument('libraries', nargs='+')
    options = parser.parse_args()
    failed = 0
    for path in options.libraries:
        for name in missing(path):
            print(f'NOT COVERED  {path}  {name}')
            failed += 1
    jobs = [(path, i) for path in options.libraries for i, t in enumerate(theorems(path)) if options.only in str(t)]
    # Each theorem has a process of its own: z3 can be far slower after many other questions.
    reached = collections.defaultdict(set)
    with multiprocessing.Pool(maxtasksperchild=1) as pool:
        for path, index, covered, seconds, problem in pool.imap(attempt, jobs):
            line = f'{path}  {theorems(path)[index]}  ({len(covered)} instructions, {seconds:.1f} s)'
            print(f'{"REFUSED" if problem else "proved"}  {line}', flush=True)
            reached[path] |= covered
            if problem:
                print(f'    {problem}')
                failed += 1
    for path in options.libraries if not options.only else []:
        for function, count in not_reached(path, reached[path]).items():
            print(f'NOT REACHED  {path}  {count} instructions of {function}')
            failed += 1
    print(f'{len(jobs) - failed} theorems proved' if not failed else f'{failed} failures')
    return failed != 0 or not jobs


if __name__ == '__main__':
    sys.exit(main())
