"""Calls of a library's functions in the model, whatever the architecture."""
import functools

from machine import STACK
from theorem import Refused

ROOM = 0x10000  # of the stack
LIMIT = 2_000_000  # instructions of a run, more than the longest has


@functools.cache
def architecture(arm):
    if arm:
        from arm import Arm
        return Arm
    from x86 import X86
    return X86


CODE = {}  # path of a library -> its decoded instructions


def machine(library, domain):
    return architecture(library.arm)(library, domain, CODE.setdefault(library.path, {}))


def call(m, address, arguments, outputs, result=None, stack=ROOM):
    """Runs a function that may write to outputs, a list of (address, size), and to `stack` bytes below its caller."""
    before, m.limit = dict(m.memory), LIMIT
    returned = m.call(address, *arguments, result=result)
    allowed = [(STACK - stack, stack), *outputs]
    for a, cell in m.memory.items():
        if before.get(a) is not cell and not any(start <= a < start + size for start, size in allowed):
            raise Refused(f'writes to {a:#x}, outside of its result')
    return returned
