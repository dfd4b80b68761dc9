"""Proves the theorems of all modules about shipped libraries, and prints a line for each.

    prove.py [--only TEXT] LIBRARY...
"""
import argparse
import functools
import importlib
import multiprocessing
import sys
import time

from library import Library
from theorem import CONSTANT_TIME

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
# What has no theorem about its results yet, and why. Where the function takes a secret, constant time is proved.
UNPROVED = {
    ('ecp256', 'multiply_point'): 'its field operations have not all been found in a run for any modulus',
    ('ecp256', 'multiply_both_vartime'): 'as multiply_point',
    ('sm2p256', 'multiply_base_and_point'): 'it is multiply_base and multiply_point with one inversion for both',
}


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
    return path, str(theorem), len(covered), time.process_time() - start, problem


def missing(path):
    """The kernels' functions about whose results no module has a theorem, and the reason if it is known."""
    claimed = {(t.family, t.kernel, t.function) for t in theorems(path) if t.claim != CONSTANT_TIME}
    library = load(path)[0]
    for family in RECORDS:
        for kernel, field, _ in functions(library, family):
            if (family, kernel, field) not in claimed:
                yield f'{family} {kernel} {field}', UNPROVED.get((family, field))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--only', default='', help='the theorems whose line contains this')
    parser.add_argument('libraries', nargs='+')
    options = parser.parse_args()
    failed = 0
    for path in options.libraries:
        for name, reason in missing(path):
            print(f'NOT COVERED  {path}  {name}' + (f': {reason}' if reason else ''))
            failed += reason is None
    jobs = [(path, i) for path in options.libraries for i, t in enumerate(theorems(path)) if options.only in str(t)]
    # Each theorem has a process of its own: z3 can be far slower after many other questions.
    with multiprocessing.Pool(maxtasksperchild=1) as pool:
        for path, claim, covered, seconds, problem in pool.imap(attempt, jobs):
            print(f'{"REFUSED" if problem else "proved"}  {path}  {claim}  ({covered} instructions, {seconds:.1f} s)',
                  flush=True)
            if problem:
                print(f'    {problem}')
                failed += 1
    print(f'{len(jobs) - failed} theorems proved' if not failed else f'{failed} failures')
    return failed != 0 or not jobs


if __name__ == '__main__':
    sys.exit(main())
