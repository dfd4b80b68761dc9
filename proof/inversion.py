"""Modular inversion by division steps (src/u256/divsteps.cpp): the machine code of invert and of invert_two.

Proved here, for every odd modulus m below 2^256, every a and every factor below m, if the record has 1 / m modulo 2^60:
 - 600 steps bring g to 0 (enough_steps), so that f is plus or minus the gcd;
 - twenty steps on packed words are twenty division steps and their matrix (packed_words), without overflow;
 - the code, run whole from entry to return on unknown numbers, leaves the words that Definition gives, which is the
   algorithm a word at a time;
 - the combination modulo m is divisible by 2^60 (divisible).

By hand, and short: the row sums of a product of matrices are at most the product of the row sums, so |u| + |v| <= 2^60
and |q| + |r| <= 2^60 after sixty steps, |f| and |g| never exceed 2^256, and d and e stay in (-2m, m) as the comment on
apply_modulo shows; |delta| grows by at most 1 a step. The bounds that cut() is given come from these. f * factor = d a
and g * factor = e a modulo m hold at the start, and every step keeps them; the signs and carries of finish give
factor / a in [0, m) from d in (-2m, m). Where a and m have a common divisor, only the words are as defined.
"""
import random
from fractions import Fraction

import z3

from call import call, machine
from graph import SAMPLES, Bits, Graph, Integers
from theorem import Refused, Theorem
from values import mask

BATCHES, TWENTIES, STEPS = 10, 3, 20
HALF, MASK60 = 1 << 19, mask(60)


# -- the number of steps
def enough_steps():
    """How many steps bring g to 0 for all 0 <= g < f < 2^256 from delta = 1/2.

    For each delta we keep a polygon around all (f, g) that can occur: how far it reaches in fixed directions; it is its
    own mirror image in the origin. A step takes a direction to one between two others, and what a polygon reaches there
    is at most the same combination of what it reaches in those. Rounding is upward. Inside |g| < 1, g is 0.
    """
    up = 1 + 2.0 ** -48  # more than four roundings lose
    slopes = sorted(Fraction(p, 2) * Fraction(2) ** k for p in (2, 3) for k in range(-6, 7))
    fan = [(Fraction(1), Fraction(0)), *((Fraction(1), s) for s in slopes), (Fraction(0), Fraction(1)),
           *((Fraction(-1), s) for s in reversed(slopes)), (Fraction(-1), Fraction(0))]

    def cross(a, b):
        return a[0] * b[1] - a[1] * b[0]

    def weights(transposed):
        rows = []
        for c in fan[:-1]:
            c = transposed(*c)
            c = (-c[0], -c[1]) if c[1] < 0 or c[1] == 0 > c[0] else c
            i = next(i for i in range(len(fan) - 1) if cross(fan[i], c) >= 0 and cross(c, fan[i + 1]) >= 0)
            a, b = fan[i:i + 2]
            rows.append((i, float(cross(c, b) / cross(a, b)) * up, (i + 1) % (len(fan) - 1),
                         float(cross(a, c) / cross(a, b)) * up))
        return rows

    halve = weights(lambda x, y: (x, y / 2))
    swap = weights(lambda x, y: (-y / 2, x + y / 2))
    add = weights(lambda x, y: (x + y / 2, y / 2))
    vertical = fan.index((0, 1))
    polygons = {0: [float(max(abs(x), abs(x + y)) * 2 ** 256) * up for x, y in fan[:-1]]}  # by delta - 1/2
    steps = 0
    while polygons:
        after = {}
        for x, reach in polygons.items():
            for to, rows in ((x + 1, halve), (-x, swap) if x >= 0 else (x + 1, add)):
                v = [a * reach[i] + b * reach[j] for i, a, j, b in rows]
                if v[vertical] >= 1:
                    after[to] = [max(*p) for p in zip(after[to], v)] if to in after else v
        polygons, steps = after, steps + 1
    return steps


# -- the algorithm, a word at a time, as the code has it
class Definition:
    """Runs beside the code; what cut() proves equal stands from then on for the code's words."""

    def __init__(self, d, ranges):
        self.d, self.bits, self.integers = d, Bits(), Integers()
        self.of_code = set(d.nodes.values())
        for node, bounds in ranges.items():
            self.bits.bounds[node] = bounds
            self.integers.leaves[node] = 'word', self.integers.unknown(*bounds), 0

    def cut(self, name, a, low=0, high=mask(64), prover=None, forms=(), needed=False):
        """Proves the code's words equal that agree with a, or with one of its forms, on the samples. a is then an
        unknown in both kinds of proof, and in [low, high]."""
        if isinstance(a, int):
            return a
        prover, found = prover or self.bits, []
        for form in (a, *forms):
            for other in self.d.alike[64, form.samples]:
                if other is not form and other not in self.bits.leaves:
                    if self.holds(prover, form, other):
                        found.append((other, form))
        if needed and not found and a not in self.of_code:
            raise Refused(f'{name} is not what the division steps give')
        kind, p, k = self.integers.value(a, {}) if prover is self.integers else (None, (), 0)
        if (kind, k) != ('word', 0) or len(p) != 1 or len(p[0][0]) != 1 or p[0][1] != 1:
            p = self.integers.unknown(low, high)
        self.integers.range[p[0][0][0]] = low, high
        self.bits.bounds[a] = low, high
        self.integers.leaves[a], self.bits.leaves[a] = ('word', p, 0), a
        for other, form in found:
            self.integers.leaves[other] = self.bits.leaves[other] = form
        return a

    def holds(self, prover, a, b):
        try:
            return prover.equal(a, b)
        except Refused:
            return False

    def steps(self, low_f, low_g, x):
        """Twenty on packed words; x is delta - 1/2."""
        op, cut = self.d.op, self.cut
        f, g = (op('add', 64, op('sub', 64, op('and', 64, op('add', 64, a, HALF), 0xfffff), HALF), one)
                for a, one in ((low_f, 1 << 40), (low_g, 1 << 62)))
        for _ in range(STEPS):
            odd, ahead = self.d.cut(1, 64, g, 0), op('not', 1, op('less_signed', 64, x, 0))
            swap = op('and', 1, odd, ahead)
            addend = op('choose', 64, odd, op('choose', 64, ahead, op('sub', 64, 0, f), f), 0)
            f, twice, x = (op('choose', 64, swap, g, f), op('add', 64, g, addend),
                           op('choose', 64, swap, op('sub', 64, 0, x), op('add', 64, x, 1)))
            g = op('sar', 64, twice, 1)
            f, _ = cut('f', f), cut('g', twice, forms=(g,))
            x = cut('delta', x, low=-1024, high=1023, forms=(op('sub', 64, 0, x), op('not', 64, x)))
        return f, g, x

    def matrix(self, f, g):
        op, fields = self.d.op, []
        for a in f, g:
            fields.append(op('sar', 64, op('shl', 64, op('add', 64, a, HALF), 22), 42))
            fields.append(op('sar', 64, op('add', 64, a, HALF + (1 << 41)), 42))
        return [self.cut('a field of the matrix', a, -1 << 20, 1 << 20) for a in fields]

    def row(self, a, x, b, y):
        return self.d.op('add', 64, self.d.op('mul', 64, a, x), self.d.op('mul', 64, b, y))

    def batch(self, f, g, x):
        """The matrix of sixty steps."""
        d, total = self.d, [1, 0, 0, 1]
        low = [d.op('or', 64, a[0], d.op('shl', 64, a[1], 60)) for a in (f, g)]
        for _ in range(TWENTIES):
            packed_f, packed_g, x = self.steps(*low, x)  # the code may leave bits of low away that are not used here
            u, v, q, r = self.matrix(packed_f, packed_g)
            low = [self.cut('a low word', a) for a in low]
            low = [self.cut('a low word', d.op('shr', 64, self.row(a, low[0], b, low[1]), 20), prover=self.integers)
                   for a, b in ((u, v), (q, r))]
            total = [self.cut('the matrix', self.row(a, total[i], b, total[i + 2]), -1 << 60, 1 << 60, self.integers)
                     for a, b in ((u, v), (q, r)) for i in (0, 1)]
        return total, x

    def combine(self, u, v, f, g, m=None):
        """The limbs of (u f + v g) / 2^60; with a modulus, of (u f + v g + k m) / 2^60, and no remainder is lost."""
        op, d, integers = self.d.op, self.d, self.integers

        def plus(a, b):
            return op('add', 64, a[0], b[0]), op('add', 64, a[1], b[1], op('carry', 64, a[0], b[0]))

        def product(a, b):
            return op('mul', 64, a, b), op('high_signed', 64, a, b)

        total, k, limbs = plus(product(u, f[0]), product(v, g[0])), None, []
        if m:
            signs = op('add', 64, *(op('and', 64, a, op('sar', 64, x[4], 63)) for a, x in ((u, f), (v, g))))
            excess = op('add', 64, op('mul', 64, m['inverse'], total[0]), signs)
            k = op('sub', 64, signs, op('and', 64, excess, MASK60))
            before, total = total, plus(total, product(m['modulus'][0], k))
            self.divisible(before[0], total[0], excess, m)
        for i in range(1, 5):
            total = (op('or', 64, op('shl', 64, total[1], 4), op('shr', 64, total[0], 60)), op('sar', 64, total[1], 60))
            total = plus(plus(total, product(u, f[i])), product(v, g[i]))
            if m:
                total = plus(total, product(m['modulus'][i], k))
            limbs.append(op('and', 64, total[0], MASK60))
        return [*limbs, op('or', 64, op('shl', 64, total[1], 4), op('shr', 64, total[0], 60))]

    def divisible(self, before, total, excess, m):
        """total = before + (signs - R) m0 with R = excess modulo 2^60 is before (1 - inverse m0) modulo 2^60, so 0."""
        z = self.integers
        before, total, excess, m0, inverse = (
            z.value(a, {})[1] for a in (before, total, excess, m['modulus'][0], m['inverse']))
        m0_excess = z.product(m0, z.sum(z.remainder(excess, 60), excess, -1))  # a multiple of 2^60
        rest = z.sum(before, z.product(z.product(m0, inverse), before), -1)  # another
        if z.sum(total, m0_excess) != rest:
            raise Refused('the combination modulo m is not divisible by 2^60')

    def limbs_cut(self, name, limbs, top):
        return [self.cut(name, a, *((0, MASK60) if i < 4 else (-top, top)), self.integers, needed=name == 'd')
                for i, a in enumerate(limbs)]

    def adjust(self, x, add, negate, m):
        op, carry, out = self.d.op, 0, []
        for i in range(5):
            limb = op('add', 64, x[i], op('and', 64, m[i], add))
            limb = self.cut('a limb', op('add', 64, op('sub', 64, op('xor', 64, limb, negate), negate), carry))
            carry = op('sar', 64, limb, 60)
            out.append(op('and', 64, limb, MASK60) if i < 4 else limb)
        return out

    def invert(self, a, m):
        """The words of factor / a."""
        op, d = self.d.op, self.d

        def pair(high, left, low, right):
            return op('or', 64, op('shl', 64, high, left), op('shr', 64, low, right))

        g = [op('and', 64, v, MASK60) for v in (a[0], pair(a[1], 4, a[0], 60), pair(a[2], 8, a[1], 56), pair(
            a[3], 12, a[2], 52))] + [op('shr', 64, a[3], 48)]
        g = [self.cut('a limb of a', v, 0, MASK60 if i < 4 else 1 << 16) for i, v in enumerate(g)]
        f, dd, e, x = m['modulus'], [0] * 5, m['factor'], 0
        for _ in range(BATCHES):
            (u, v, q, r), x = self.batch(f, g, x)
            f, g = self.combine(u, v, f, g), self.combine(q, r, f, g)
            dd, e = self.combine(u, v, dd, e, m), self.combine(q, r, dd, e, m)
            f, g = self.limbs_cut('f', f, 1 << 16), self.limbs_cut('g', g, 1 << 16)
            dd, e = self.limbs_cut('d', dd, 1 << 17), self.limbs_cut('e', e, 1 << 17)
        sign = op('sar', 64, dd[4], 63)
        dd = self.adjust(dd, sign, op('sar', 64, f[4], 63), m['modulus'])
        dd = self.adjust(dd, op('sar', 64, dd[4], 63), 0, m['modulus'])
        return [op('or', 64, dd[i], op('shl', 64, dd[1], 60)) if i == 0 else pair(dd[i + 1], 60 - 4 * i, dd[i], 4 * i)
                for i in range(4)]


def code(library, name, count):
    """The words that invert or invert_two leaves are those of the definition."""
    source = random.Random(1)
    d = Graph()
    run, ranges, arguments, numbers = machine(library, d), {}, [], []

    def unknown(bits, odd=0, low=0, high=mask(64)):
        # Samples are longer than what is allowed: 600 steps must not bring them to the end.
        node = d.unknown(64, [source.getrandbits(bits) | odd for _ in range(SAMPLES)])
        ranges[node] = low, high
        return node

    for _ in range(count):
        a = [unknown(64) for _ in range(4)]
        limbs = lambda odd: [unknown(60, odd if i == 0 else 0, 0, MASK60) if i < 4 else unknown(58, 0, 0, 1 << 16)
                             for i in range(5)]
        m = {'modulus': limbs(1), 'inverse': unknown(60, 1, 0, MASK60), 'factor': limbs(0)}
        numbers.append((a, m, run.region(32, a)))
        arguments.append((numbers[-1][2], run.region(88, [*m['modulus'], m['inverse'], *m['factor']])))
    if count == 1:  # r, a, m; r may be a
        (r, modulus), = arguments
        call(run, library.find(name), (r, r, modulus), [(r, 32)])
    else:
        call(run, library.find(name), [x for pair in arguments for x in pair], [(r, 32) for r, _ in arguments])
    definition = Definition(d, ranges)
    for a, m, r in numbers:
        for i, want in enumerate(definition.invert(a, m)):
            got = d.whole(run.load(r + 8 * i, 8))
            if got is not want and not definition.bits.equal(want, got):
                raise Refused(f'{name}: word {i} of the result is not that of the definition')
    return run.covered


def packed_words():
    """Twenty steps on packed words do to their fields what division steps do, and nothing overflows.

    Fields of F are f, u, v and of G are g, q, r; after i steps the rows are multiples of s = 2^(20 - i), and f and g
    agree modulo s with the numbers whose steps these are, as halves of such agree modulo s / 2; so their parities do.
    """
    f, g, u, v, q, r, a, b, c, e, h, x, y = z3.Ints('f g u v q r a b c e h x y')
    size = lambda x: z3.If(x < 0, -x, x)
    word = lambda x, y, z: x + 2 ** 20 * y + 2 ** 42 * z

    def invariant(s, f, g, u, v, q, r):
        return [f >= -HALF, f < HALF, g >= -HALF, g < HALF, size(u) + size(v) <= 2 ** 20, size(q) + size(r) <= 2 ** 20,
                size(u) + size(q) <= 2 ** 21 - s, size(v) + size(r) <= 2 ** 21 - s]

    def need(given, claim):
        solver = z3.Solver()
        solver.add(*given, z3.Not(claim))
        if solver.check() != z3.unsat:
            raise Refused(f'twenty steps on packed words: {claim}')

    need([f >= -HALF, f < HALF, g >= -HALF, g < HALF], z3.And(invariant(2 ** 20, f, g, 2 ** 20, 0, 0, 2 ** 20)))
    for i in range(STEPS):
        s = 2 ** (20 - i)
        rows = [u == s * a, v == s * b, q == s * c, r == s * e]
        given = invariant(s, f, g, u, v, q, r) + rows
        for k in -1, 0, 1:  # G + k F, halved; f is odd, and k is not 0 just if g is odd
            total = word(g, q, r) + k * word(f, u, v)
            need(given, z3.And(-2 ** 63 <= total, total < 2 ** 63))
            halved = [*given, 2 * h == g + k * f, 2 * x == q + k * u, 2 * y == r + k * v]  # x and y exist: s is even
            need(halved, total == 2 * word(h, x, y))
            need(halved, z3.And(invariant(s // 2, f, h, u, v, x, y)))
            if k == -1:
                need(halved, z3.And(invariant(s // 2, g, h, q, r, x, y)))
    # The fields read back, as matrix() does.
    given = invariant(1, f, g, u, v, q, r)
    low = (word(f, u, v) + HALF) % 2 ** 42
    need(given, z3.If(low >= 2 ** 41, low - 2 ** 42, low) / 2 ** 20 == u)
    high = word(f, u, v) + HALF + 2 ** 41
    need(given, z3.And(high / 2 ** 42 == v, -2 ** 63 <= high, high < 2 ** 63))


def invert(library, name):
    steps = enough_steps()
    if steps > BATCHES * TWENTIES * STEPS:
        raise Refused(f'{name}: it may take {steps} steps')
    packed_words()
    return code(library, name, 1)


def theorems(library):
    for prefix, prove, claim in (
            ('invert', invert, '600 steps suffice; factor / a modulo every odd modulus'),
            ('invert_two', lambda library, name: code(library, name, 2), 'the same, twice')):
        name, = (s for s in library.symbols if s.startswith(f'ulmaro::u256::{prefix}('))
        yield Theorem('u256', '', prefix, claim, lambda p=prove, n=name: p(library, n))
