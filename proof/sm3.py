"""SM3: every compression kernel and the lanes of the key derivation equal the standard's definition (GB/T 32905).

A kernel runs once for each count of blocks and each shape of its arguments that is named in the claim, on unknown words
in all places of the state and of the message. The definition is evaluated on the same unknowns, and the results have to
be the same polynomials (sums.py).
"""
import itertools
import random

from call import call, machine
from machine import Fault
from prove import functions
from theorem import Refused, Theorem
from values import Domain, Unsupported
from sums import Words

COUNTS = 0, 1, 2, 3


# -- the standard
def rol(d, a, k):
    return d.op('rol', 32, a, k % 32)


def exor(d, a, *others):
    for b in others:
        a = d.op('xor', 32, a, b)
    return a


def plus(d, a, *others):
    for b in others:
        a = d.op('add', 32, a, b)
    return a


def either(d, a, *others):
    for b in others:
        a = d.op('or', 32, a, b)
    return a


def both(d, a, b):
    return d.op('and', 32, a, b)


def expanded(d, block):
    """W_0 to W_67, clause 5.3.2."""
    w = list(block)
    for j in range(16, 68):
        x = exor(d, w[j - 16], w[j - 9], rol(d, w[j - 3], 15))
        w.append(exor(d, x, rol(d, x, 15), rol(d, x, 23), rol(d, w[j - 13], 7), w[j - 6]))
    return w


def compressed(d, v, w):
    """CF(V, B) for the expanded words of B, clause 5.3.3."""
    a, b, c, d_, e, f, g, h = v
    for j in range(64):
        t = 0x79cc4519 if j < 16 else 0x7a879d8a
        ss1 = rol(d, plus(d, rol(d, a, 12), e, rol(d, t, j)), 7)
        ss2 = exor(d, ss1, rol(d, a, 12))
        if j < 16:
            ff, gg = exor(d, a, b, c), exor(d, e, f, g)
        else:
            ff = either(d, both(d, a, b), both(d, a, c), both(d, b, c))
            gg = either(d, both(d, e, f), both(d, d.op('not', 32, e), g))
        tt1 = plus(d, ff, d_, ss2, exor(d, w[j], w[j + 4]))
        tt2 = plus(d, gg, h, ss1, w[j])
        a, b, c, d_ = tt1, a, rol(d, b, 9), c
        e, f, g, h = exor(d, tt2, rol(d, tt2, 9), rol(d, tt2, 17)), e, rol(d, f, 19), g
    return [exor(d, x, y) for x, y in zip(v, (a, b, c, d_, e, f, g, h))]


IV = 0x7380166f, 0x4914b2b9, 0x172442d7, 0xda8a0600, 0xa96f30bc, 0x163138aa, 0xe38dee4d, 0xb0fb0e4e
# The standard's first example: the digest of 'abc'.
assert compressed(Domain(), IV, expanded(Domain(), [0x61626380] + [0] * 14 + [24])) == [
    0x66c7f0f4, 0x62eeedd9, 0xd1f2d46b, 0xdc10e4e2, 0x4167c487, 0x5cf2f7a2, 0x297da02b, 0x8f4ba8e0]


# -- what a run is given and what it has to leave: (arguments, outputs, wanted words) in a fresh machine m
def stream(m, address, word, blocks):
    d = m.d
    v = [word('v', i) for i in range(8)]
    data = [[word('b', n, i) for i in range(16)] for n in range(blocks)]
    state = m.region(32, v, 4)
    start = m.region(64 * blocks + 64) + 1  # any alignment
    for i, x in enumerate(itertools.chain(*data)):
        m.store(start + 4 * i, d.reversed_bytes(32, x), 4)
    call(m, address, (state, start, blocks), [(state, 32)])
    for block in data:
        v = compressed(d, v, expanded(d, block))
    return state, v


def expansion(m, address, word, lanes):
    block = [[word('w', j, i) for i in range(lanes)] for j in range(16)]
    w = m.region(4 * 68 * lanes, itertools.chain(*block), 4)
    call(m, address, (w,), [(w, 4 * 68 * lanes)])
    columns = [expanded(m.d, column) for column in zip(*block)]
    return w, list(itertools.chain(*zip(*columns)))


def compression(m, address, word, lanes, row, stride, in_place):
    d = m.d
    v = [[word('v', j, i) for i in range(lanes)] for j in range(8)]
    w = [[word('w', j, i) for i in range(lanes)] for j in range(68 if row else 1)]
    common = [word('c', j) for j in range(67 * stride + 1)]
    state, words = m.region(32 * lanes, itertools.chain(*v), 4), m.region(4 * 68 * lanes, itertools.chain(*w), 4)
    shared = m.region(4 * len(common), common, 4)
    result = state if in_place else m.region(32 * lanes)
    call(m, address, (state, result, words, row, shared, stride), [(result, 32 * lanes)])
    columns = []
    for i in range(lanes):
        message = [exor(d, w[j if row else 0][i], common[j * stride]) for j in range(68)]
        columns.append(compressed(d, [r[i] for r in v], message))
    return result, list(itertools.chain(*zip(*columns)))


def differing(library, domain, word, run, address, shape):
    """The first word of the result that is not the standard's, or None, and the instructions covered."""
    m = machine(library, domain)
    start, wanted = run(m, address, word, *shape)
    for i, x in enumerate(wanted):
        if domain.whole(m.load(start + 4 * i, 4)) != x:
            return i, m.covered
    return None, m.covered


class Integers(Domain):
    def whole(self, a):
        return a


def counterexample(library, run, address, shape):
    """One, if a sample gives it; of many words, the first 64."""
    for seed in range(20):
        source, values = random.Random(seed), {}

        def word(*name):
            return values.setdefault(name, source.choice((0, 1, 0xffffffff, source.getrandbits(32))))

        try:
            place, _ = differing(library, Integers(), word, run, address, shape)
        except (Refused, Fault) as e:
            return f'counterexample of seed {seed}: {e}'
        if place is not None:
            example = ', '.join(f'{" ".join(map(str, name))} = {v:#x}' for name, v in list(values.items())[:64])
            return f'counterexample of seed {seed}, word {place}: {example}'
    return 'no sample shows it'


def prove(library, address, run, shapes):
    domain, covered = Words(), set()
    for shape in shapes:
        try:
            place, some = differing(library, domain, lambda *name: domain.atom(name), run, address, shape)
            problem = [] if place is None else [f'word {place} of the result is not the standard\'s']
        except (Refused, Fault, Unsupported) as e:
            problem = e.args
        if problem:
            raise Refused(f'{library.owner(address)}, case {shape}', *problem,
                          counterexample(library, run, address, shape))
        covered |= some
    return covered


def theorems(library):
    records = library.records('sm3')
    for kernel, function, address in functions(library, 'sm3'):
        lanes = library.word(records[kernel][0] + 16)
        if function == 'compress':
            claim = f'the standard\'s, for {COUNTS} blocks, every state and message, nothing else written'
            run, shapes = stream, [(n,) for n in COUNTS]
        elif function == 'expand_lanes':
            claim, run, shapes = 'the standard\'s words in every lane, for every message', expansion, [(lanes,)]
        else:
            shapes = [(lanes, row, stride, place) for row, stride, place in
                      ((lanes, 1, False), (0, 1, True), (lanes, lanes, True), (lanes, 0, False))]
            claim, run = 'the standard\'s rounds in every lane, for every state and words, also in place', compression
        yield Theorem('sm3', kernel, function, claim,
                      lambda a=address, r=run, s=shapes: prove(library, a, r, s))
