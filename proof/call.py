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


def call_whole(m, address, arguments, outputs, fresh):
    """The same, from registers that hold unknown numbers, which `fresh` makes; which of them it leaves as they were."""
    before = []

    def entered(address):
        m.r = [fresh() if v is None else v for v in m.r]
        m.v = [(w, [fresh() if v is None else v for v in values]) for w, values in m.v]
        before.extend((list(m.r), list(m.v)))
        type(m).run(m, address)
    m.run = entered
    call(m, address, arguments, outputs)
    return ([a is b or isinstance(a, int) and a in (b, STACK - 8) for a, b in zip(before[0], m.r)],
            [[a is b and w == x for a, b in zip(v, u)] for (w, v), (x, u) in zip(before[1], m.v)])


def clobber(m, registers, vectors):
    """What a function has not kept is unknown after a call."""
    r, v = m.r, m.v
    m.reset()
    m.r = [x if keep else None for x, keep in zip(r, registers)]
    m.v = [(w, values) if all(keep) else
           (64, [values[i] if k and w == 64 and i < len(values) else None for i, k in enumerate(keep)])
           for (w, values), keep in zip(v, vectors)]
