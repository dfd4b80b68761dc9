"""SM4: every kernel's key set-up, ECB and CBC in both directions equal the standard's definition (GB/T 32907).

A kernel runs once for each count of blocks that the claim names, apart from its input and in place, on unknown bytes in
all places of the blocks, the IV and the round keys. The definition is evaluated on the same unknowns, and every byte
that is left has to be the same sum (octets.py). For CBC encryption the unknowns are the blocks that enter the cipher,
from which the definition gives the plaintext one to one.

The portable kernel looks data up in memory: where its theorems say so, an address may be a public one plus a byte, into
256 constants. In all other runs an address that depends on an unknown is refused.
"""
import random

from boxes import SM4_SBOX
from call import call, machine
from machine import Fault
from octets import Octets
from prove import functions
from theorem import Refused, Theorem
from values import Domain, Unsupported

FK = 0xa3b1bac6, 0x56aa3350, 0x677d9197, 0xb27022dc
CK = [sum(7 * (4 * i + j) % 256 << 24 - 8 * j for j in range(4)) for i in range(32)]


# -- the standard, on words
def substituted(d, a, *rotations):
    """L(tau(a)), or L' of it."""
    b = d.join(8, [d.op('table', 8, d.named(d.cut(8, 32, a, k)), SM4_SBOX) for k in (0, 8, 16, 24)])
    total = b
    for k in rotations:
        total = d.op('xor', 32, total, d.op('rol', 32, b, k))
    return total


def exor(d, *words):
    total = words[0]
    for x in words[1:]:
        total = d.op('xor', 32, total, x)
    return total


def schedule(d, key):
    """rk_0 to rk_31, clause 7.3."""
    k = [exor(d, x, fk) for x, fk in zip(key, FK)]
    for i in range(32):
        k.append(exor(d, k[i], substituted(d, exor(d, *k[i + 1:], CK[i]), 13, 23)))
    return k[4:]


def transformed(d, x, keys):
    """Clause 7.1; decryption takes the round keys backwards."""
    x = list(x)
    for i, rk in enumerate(keys):
        x.append(exor(d, x[i], substituted(d, exor(d, *x[i + 1:], rk), 2, 10, 18, 24)))
    return x[:-5:-1]


class Integers(Domain):
    def named(self, a):
        return a


# The standard's first example: key and plaintext are the same.
EXAMPLE = 0x01234567, 0x89abcdef, 0xfedcba98, 0x76543210
assert transformed(Integers(), EXAMPLE, schedule(Integers(), EXAMPLE)) == [
    0x681edf34, 0xd206965e, 0x86b3e94f, 0x536e4246]


# -- where the values of a run come from
class Unknowns:
    """The definition is evaluated once; other blocks have the same sums."""

    def __init__(self):
        self.d = d = Octets()
        self.words = [self.word() for _ in range(4)]
        self.keys = [self.word(None) for _ in range(32)]
        self.images, self.scheduled = {}, None

    def word(self, block=0):
        return self.d.join(8, [self.d.fresh().of(block) for _ in range(4)])

    def at(self, words, block):
        """The same words of another block."""
        return [self.d.join(8, [b.sum.of(block) for b in self.d.regroup(32, [x], 8)]) for x in words]

    def block(self, i):
        return self.at(self.words, i)

    def schedule(self):
        if self.scheduled is None:
            self.scheduled = schedule(self.d, self.words)
        return self.scheduled

    def image(self, i, backwards):
        if backwards not in self.images:
            self.images[backwards] = transformed(self.d, self.words, self.keys[::-1] if backwards else self.keys)
        return self.at(self.images[backwards], i)


class Samples:
    def __init__(self, seed):
        self.d, self.source, self.blocks = Integers(), random.Random(seed), {}
        self.words, self.keys = self.block(0), [self.source.getrandbits(32) for _ in range(32)]

    def block(self, i):
        if i not in self.blocks:
            self.blocks[i] = [self.source.getrandbits(32) for _ in range(4)]
        return self.blocks[i]

    def schedule(self):
        return schedule(self.d, self.words)

    def image(self, i, backwards):
        return transformed(self.d, self.block(i), self.keys[::-1] if backwards else self.keys)


# -- what a run is given and what it has to leave
def store_words(m, address, words, big_endian):
    """Byte by byte, which is how blocks are read."""
    for i, x in enumerate(words):
        b = m.d.regroup(32, [x], 8)
        for j, v in enumerate(b[::-1] if big_endian else b):
            m.store(address + 4 * i + j, v, 1)


def check(m, address, words, big_endian, what):
    for i, x in enumerate(words):
        b = m.d.regroup(32, [x], 8)
        for j, v in enumerate(b[::-1] if big_endian else b):
            if m.load(address + 4 * i + j, 1) != v:
                raise Refused(f'byte {4 * i + j} of {what} is not the standard\'s')


def expand_key(m, address, values, in_place):
    mk = m.region(144)
    rk = mk if in_place else m.region(128)
    store_words(m, mk, values.words, False)
    want = values.schedule()
    call(m, address, (mk, rk), [(rk, 128)])
    check(m, rk, want, False, 'the schedule')


def blocks(m, address, values, backwards, chained, count, shift):
    """out begins `shift` bytes below in, or apart from it if that is None."""
    d, rk, iv = m.d, m.region(128), m.region(16)
    data = m.region(16 * count + 64)
    out = m.region(16 * count + 64) + 3 if shift is None else data + 32 - shift
    start = data + 32
    store_words(m, rk, values.keys, False)
    store_words(m, iv, values.block(-1), True)
    want = []
    for i in range(count):
        x, y = values.block(i), values.image(i, backwards)
        if chained and backwards:
            y = [exor(d, *v) for v in zip(y, values.block(i - 1))]
        elif chained:
            before = values.image(i - 1, False) if i else values.block(-1)
            x = [exor(d, *v) for v in zip(x, before)]
        store_words(m, start + 16 * i, x, True)
        want.append(y)
    call(m, address, (start, out, count, rk, iv)[:5 if chained else 4], [(out, 16 * count)])
    for i, y in enumerate(want):
        check(m, out + 16 * i, y, True, f'block {i} of {count}')


# How many blocks make a group, how many are run side by side at most, and the steps in which counts between the two
# are tried: small ones where every vector of the last groups has code of its own.
SIDE_BY_SIDE = {
    'portable': (4, 4, 1), 'x86-ssse3': (4, 32, 13), 'x86-aesni': (4, 32, 13), 'x86-aesni-avx2': (8, 64, 25),
    'x86-vaes': (8, 64, 25), 'x86-gfni256': (8, 64, 25), 'x86-gfni512': (16, 64, 3), 'arm-neon': (16, 16, 1),
    'arm-aes': (4, 16, 1), 'arm-sm4': (4, 8, 1)}


def cases_of(kernel, function):
    """The counts on both sides of every threshold, in place, and some of them apart."""
    group, most, step = SIDE_BY_SIDE[kernel]
    around = [range(group + 2), range(2 * group - 1, 2 * group + 2), range(group + 2, most, step),
              range(most - 1, most + 3), [2 * most + group + 1]]
    if most <= 16:
        around.append(range(2 * most - 1, 2 * most + 2))
    counts = sorted({n for r in around for n in r})
    few = [0, 1, 2, group + 1, most + 1]
    if function == 'cbc_encrypt' and kernel != 'arm-sm4':  # one block at a time
        counts, few = [0, 1, 2, 3], [2]
    backwards, chained = 'decrypt' in function, 'cbc' in function
    cases = [(backwards, chained, n, shift) for shift, some in ((0, counts), (None, few)) for n in some]
    return cases, f'{", ".join(map(str, counts))} blocks in place, {", ".join(map(str, few))} apart'


def prove(library, address, run, cases, lookups):
    values, covered = Unknowns(), set()
    for case in cases:
        m = machine(library, values.d)
        m.lookups = lookups
        try:
            run(m, address, values, *case)
        except (Refused, Fault, Unsupported) as e:
            raise Refused(f'{library.owner(address)}, case {case}', *e.args, example(library, address, run, case))
        covered |= m.covered
    return covered


def example(library, address, run, case):
    """A counterexample, if a sample gives one."""
    for seed in range(10):
        values = Samples(seed)
        try:
            run(machine(library, values.d), address, values, *case)
        except (Refused, Fault) as e:
            return f'counterexample of seed {seed}: {e}'
    return 'no sample shows it'


def theorems(library):
    for kernel, function, address in functions(library, 'sm4'):
        lookups = kernel == 'portable' and function != 'expand_key'
        if function == 'expand_key':
            run, cases, claim = expand_key, [(False,), (True,)], 'the standard\'s schedule for every key, also in place'
        else:
            run = blocks
            cases, counts = cases_of(kernel, function)
            claim = f'the standard\'s for every schedule and data, nothing else written; {counts}'
        if lookups:
            claim += '; looks bytes up in memory, at addresses that depend on data'
        yield Theorem('sm4', kernel, function, claim,
                      lambda a=address, r=run, c=cases, l=lookups: prove(library, a, r, c, l))
