"""Theorems about the kernels of the recommended curve and of the general one.

Each function runs once, whole, on symbols: a scalar's limbs, points' coordinates and, for the general curve, the modulus.
The algorithm of its C++ source runs beside it on samples, written with the formulas that formulas.py checks. Every field
element it meets is looked for among the words of the run by its samples, and the words between it and its operands are
proved to compute it (residues.py): the right residue, below the modulus, for all operands below it. What a scalar's window
selects is computed from the words for each of its values; the rest (masks, the cases at the end) is a question of bit
vectors. That ends at the words that the function returned, so its result is that of the algorithm for every input.

Assumed: coordinates and a given are below the modulus; `one` is 2^256 and -1/m right modulo it; on the recommended curve
no y is 0 (its order is odd). Inversion is another module's: here it gives some words below the modulus, and the algorithm's
inverse is taken for them. The functions in variable time run on chosen scalars; where they branch on a symbol, the
theorem's claim has the condition.

Not covered: the general curve, so that prove.py reports its functions. ecp256_multiply_point is the beginning of it: its
field operations are proved up to the first sum of fill_odd_multiples, where a product by one is not found. Of the functions
in variable time: other scalars, and what follows a sum whose z is 0.
"""
import itertools
import random

import z3

import formulas
import residues
from formulas import B, G, N, P
from theorem import Refused, Theorem
from values import mask
from words import Column, Word, Words, tabulated, vector, with_parts

R = 1 << 256
SAMPLES = 4
INVERT = 'ulmaro::u256::invert(unsigned long (&) [4], unsigned long const (&) [4], ulmaro::u256::InversionModulus const&)'
INVERT_TWO = ('ulmaro::u256::invert_two(unsigned long (&) [4], ulmaro::u256::InversionModulus const&, unsigned long (&) [4], '
              'ulmaro::u256::InversionModulus const&)')


def limbs(v):
    return [v >> 64 * i & mask(64) for i in range(4)]


class Element:
    """Limbs, words or integers, and the number that they are for each sample."""

    def __init__(self, words, values):
        self.words, self.values = tuple(words), tuple(values)

    def constant(self):
        return all(isinstance(a, int) for a in self.words)


class Field:
    """Operations of the algorithm: found among the words of the run and proved. modulus is as in residues.prove."""

    def __init__(self, run, moduli, modulus):
        self.run, self.d, self.moduli, self.modulus = run, run.d, moduli, modulus
        self.to_plain = [pow(R, -1, m) for m in moduli]
        self.count = 0

    def value(self, kind, values):
        out = []
        for m, plain, *x in zip(self.moduli, self.to_plain, *values):
            v, factor = residues.wanted(kind, x)
            out.append(v * (plain if factor == R else pow(factor, -1, m)) % m)
        return tuple(out)

    def op(self, kind, *args):
        values = self.value(kind, [a.values for a in args])
        if all(a.constant() for a in args):
            return Element(limbs(values[0]), values)
        self.count += 1
        first, places = None, list(self.run.found(values, args))
        for effort in residues.KNOWN, residues.REALS, residues.INTEGERS:
            for words in places:
                try:
                    residues.prove(self.d, kind, words, [a.words for a in args], self.modulus, effort)
                    self.run.front = max(self.run.front, max(w.id for w in words if isinstance(w, Word)) - 2000)
                    return Element(words, values)
                except Refused as e:
                    first = e if not effort or words is places[0] else first
        raise Refused(f'operation {self.count}, {kind}: {first or "its result is nowhere in the run"}; for the sample ' +
                      ', '.join(hex(a.values[0]) for a in args))

    def mul(self, a, b):
        return self.op('mul', a, b)

    def sqr(self, a):
        return self.op('mul', a, a)

    def add(self, a, b):
        return self.op('add', a, b)

    def sub(self, a, b):
        return self.op('sub', a, b)

    def half(self, a):
        return self.op('half', a)

    def mul_sub(self, a, b, c, d):
        """Of two products that the run has reduced, or of products and one reduction."""
        values = [self.value('mul', [x.values, y.values]) for x, y in ((a, b), (c, d))]
        at = [self.run.recent(v) for v in (self.value('mul_sub', [x.values for x in (a, b, c, d)]), *values)]
        if at[0] == at[1] == at[2]:
            return self.sub(self.mul(a, b), self.mul(c, d))
        return self.op('mul_sub', a, b, c, d)

    def mul_sub_sqr(self, a, b, c):
        return self.mul_sub(a, b, c, c)

    def negative(self, y):
        """(kind, operands) of -y as negated_if has it."""
        if isinstance(self.modulus, int):
            return 'neg', [y.words]
        return 'sub', [residues.ZERO, y.words]


class Run:
    def __init__(self, library):
        self.library, self.d = library, Words(SAMPLES)
        if library.arm:
            from arm import Arm
            self.m = Arm(library, self.d)
        else:
            from x86 import X86
            self.m = X86(library, self.d)
        self.front = 0  # where, in the order of the run, the search has got to, less what may be out of order
        self.inversions = []  # (words of the operand, element of the result)
        self.m.hooks = {library.find(INVERT): lambda m: self.invert(m.argument(0), m.argument(1), m.argument(2)),
                        library.find(INVERT_TWO): lambda m: [self.invert(m.argument(i), m.argument(i), m.argument(i + 1))
                                                             for i in (0, 2)]}

    def field(self):
        """The recommended curve's; from now on words are only looked for."""
        self.d.sealed = True
        return Field(self, [P] * SAMPLES, P)

    def symbols(self, values):
        return Element([self.d.symbol(64, [v >> 64 * i & mask(64) for v in values]) for i in range(4)], values)

    def memory(self, *elements):
        return self.m.region(32 * len(elements), [w for e in elements for w in e.words])

    def words(self, address, count=4):
        return tuple(self.m.load(address + 8 * i, 8) for i in range(count))

    def recent(self, values):
        """Whether the run computed a number with these values lately; None if not at all."""
        sample = tuple(v & mask(64) for v in values)
        return max(w.id for w in self.d.at[sample]) >= self.front if sample in self.d.at else None

    def invert(self, to, source, record):
        modulus = sum(self.m.load(record + 8 * i, 8) << 60 * i for i in range(5))
        factor = sum(self.m.load(record + 48 + 8 * i, 8) << 60 * i for i in range(5))
        if modulus not in (P, N) or factor != R * R % modulus or self.m.load(record + 40, 8) != pow(modulus, -1, 1 << 60):
            raise Refused('an inversion with the wrong constants')
        words = self.words(source)
        values = [sum((w if isinstance(w, int) else w.sample[s]) << 64 * i for i, w in enumerate(words)) for s in range(SAMPLES)]
        result = self.symbols([factor * pow(v, -1, modulus) % modulus if v else 0 for v in values])
        for i, w in enumerate(result.words):
            self.m.store(to + 8 * i, w, 8)
        self.inversions.append((words, modulus, result))

    def inverse(self, of, modulus=P):
        """The result of the next inversion, which must be of this element."""
        words, m, result = self.inversions.pop(0)
        if words != of.words or m != modulus:
            raise Refused('an inversion of something else')
        return result

    def found(self, values, operands=None):
        """Limbs with these values, the oldest first. For operands: only what is younger, and first what the run
        computed lately, and looks like the last step of the first operation that has the value, where one kind of
        instruction makes all four limbs."""
        number = lambda w: w.id if isinstance(w, Word) else 0  # noqa: E731
        since = max((min(number(w) for w in a.words) for a in operands), default=-1) if operands else -1
        columns = []
        for i in range(4):
            sample = tuple(v >> 64 * i & mask(64) for v in values)
            words = [w for w in self.d.at.get(sample, []) if w.id > since and not any(w in a.words for a in operands or ())][:6]
            columns.append(words or ([sample[0]] if len(set(sample)) == 1 else []))
        if all(columns):
            first = max(min(map(number, c)) for c in columns)

            def order(words):
                ids, kinds = [*map(number, words)], {isinstance(w, Word) and w.op for w in words}
                return (len(kinds), max(ids) < self.front, max(ids) > first + 100, -sum(ids)) if operands else (len(kinds), sum(ids))
            yield from sorted(itertools.product(*columns), key=order)[:48]

    def aligned(self, values):
        """Limbs with these values, the oldest, the second of each, .."""
        columns = [self.d.at.get(tuple(v >> 64 * i & mask(64) for v in values), []) for i in range(4)]
        return list(itertools.islice(zip(*columns), 40))

    def selected(self, F, scalar, position, width, table, signed=True):
        """The entry of the table, a list of points, that a window of the scalar selects: for window v the digit
        2v - (2^width - 1) or, not signed, 2v + 1; its sign goes to y."""
        chosen = []
        for v in range(1 << width):
            digit = 2 * v - mask(width) if signed else 2 * v + 1
            chosen.append((table[abs(digit) // 2], digit < 0))
        at = [k >> position & mask(width) for k in scalar.values]
        known = {w: Column(64, [w] * len(chosen)) for entry in table for e in entry for w in e.words if isinstance(w, Word)}
        for i, w in enumerate(scalar.words):
            bits = mask(width) << position >> 64 * i & mask(64) if position < 64 * (i + 1) else 0
            known[w] = Column(64, [v << position >> 64 * i & bits for v in range(len(chosen))], bits)
        known, point = with_parts(known), []
        for j in range(len(table[0])):
            values = [chosen[v][0][j].values[s] for s, v in enumerate(at)]
            if j == 1:
                values = [(-y) % m if chosen[v][1] else y for v, y, m in zip(at, values, F.moduli)]
            first = None
            for words in self.aligned(values):
                try:
                    self.check_selection(F, words, known, j, chosen)
                    break
                except Refused as e:
                    first = first or e
            else:
                raise Refused(f'the window at bit {position}: {first or "no entry is selected"}')
            point.append(Element(words, values))
        return tuple(point)

    def check_selection(self, F, words, known, j, chosen):
        """That words, given columns for `known`, are coordinate j of the chosen entries, the y with the sign."""
        columns = tabulated(self.d, words, known, len(chosen))
        for v, (entry, negative) in enumerate(chosen):
            got, want = tuple(c.values[v] for c in columns), entry[j]
            if j == 1 and negative and not want.constant():
                kind, operands = F.negative(want)
                residues.prove(self.d, kind, got, operands, F.modulus)
            elif got != (tuple(limbs(-want.values[0] % P)) if j == 1 and negative else want.words):
                raise Refused(f'its value {v} does not select {"minus " * negative}entry {chosen[v][1]}')


# -- questions about bits
class Bits:
    """Words as functions of the limbs of some elements."""

    def __init__(self, **elements):
        self.env = {w: z3.BitVec(f'{name}_{i}', 64) for name, e in elements.items() for i, w in enumerate(e.words)
                    if isinstance(w, Word)}
        for w, v in list(self.env.items()):  # rewriting may have gone past a joined word to its parts
            if w.op == 'join':
                step = 64 // len(w.args)
                self.env.update({part: z3.Extract(step * i + step - 1, step * i, v) for i, part in enumerate(w.args)
                                 if isinstance(part, Word)})

    def number(self, words):
        return z3.Concat(*(vector(w, self.env) for w in reversed(words)))

    def word(self, w):
        return vector(w, self.env, 64 if isinstance(w, int) else w.w)

    def place(self, run, values, operands, want, name):
        """The element with these values that is the wanted number."""
        first = None
        for words in run.found(values, operands):
            try:
                self.proves(self.number(words) == want, name)
                return Element(words, values)
            except Refused as e:
                first = first or e
        raise first or Refused(f'{name}: its result is nowhere in the run')

    def proves(self, claim, name):
        solver = z3.Solver()
        solver.set('timeout', 60_000)
        solver.add(z3.Not(claim))
        answer = solver.check()
        if answer != z3.unsat:
            raise Refused(f'{name}: {answer}' + (f', {solver.model()}' if answer == z3.sat else ''))


def bit_vector(v):
    return z3.BitVecVal(v, 256)


def mask_of(condition):
    return z3.If(condition, z3.BitVecVal(mask(64), 64), z3.BitVecVal(0, 64))


def results(run, address, point, name):
    """That the function stored the point at address."""
    for i, e in enumerate(point):
        if run.words(address + 32 * i) != e.words:
            raise Refused(f'{name}: it stores something else')


# -- the recommended curve
def affine_sum(p, q):
    """By the textbook, for finite points of the recommended curve; None for infinity."""
    if p is None or q is None:
        return p or q
    if p[0] == q[0]:
        if (p[1] + q[1]) % P == 0:
            return None
        slope = (3 * p[0] * p[0] - 3) * pow(2 * p[1], -1, P) % P
    else:
        slope = (q[1] - p[1]) * pow(q[0] - p[0], -1, P) % P
    x = (slope * slope - p[0] - q[0]) % P
    return x, (slope * (p[0] - x) - p[1]) % P


def affine_multiple(k, p):
    total = None
    for bit in bin(k % N)[2:]:
        total = affine_sum(total, total)
        if bit == '1':
            total = affine_sum(total, p)
    return total


def fixed(p):
    """An affine point as constants in Montgomery form."""
    return tuple(Element(limbs(v * R % P), [v * R % P] * SAMPLES) for v in p)


ONE = Element(limbs(R % P), [R % P] * SAMPLES)
TABLES = []


def comb():
    """43 rows: (2j + 1) 64^i G for j < 32, in the last for j < 8, computed here by affine sums."""
    if not TABLES:
        base = G
        for i in range(43):
            twice, row = affine_sum(base, base), [base]
            while len(row) < (32 if i < 42 else 8):
                row.append(affine_sum(row[-1], twice))
            TABLES.append(row)
            if i < 42:
                base = affine_sum(row[-1], base)
    return TABLES


def odd_scalar(run, k):
    """make_odd: k or -k modulo n, odd and in [1, n]."""
    reduced = [v % N for v in k.values]  # below 2n
    values = [N - v if v % 2 == 0 else v for v in reduced]
    bits = Bits(k=k)
    x = bits.number(k.words)
    y = z3.If(z3.UGE(x, bit_vector(N)), x - bit_vector(N), x)
    want = z3.If(z3.Extract(0, 0, y) == 0, bit_vector(N) - y, y)
    return bits.place(run, values, (k,), want, 'make_odd')


def same_point(run, bits_of, pairs):
    """Whether each pair of elements is equal, as a bit vector, and for each sample."""
    claim = z3.And(*(bits_of.number(a.words) == bits_of.number(b.words) for a, b in pairs))
    return claim, [all(a.values[s] == b.values[s] for a, b in pairs) for s in range(SAMPLES)]


def replaced_if(run, pairs, others, total):
    """The elements of total, or those of others if all pairs are equal."""
    out = []
    elements = {f'pair{i}{j}': e for i, pair in enumerate(pairs) for j, e in enumerate(pair)}
    for i, (a, b) in enumerate(zip(total, others)):
        bits = Bits(**elements, a=a, b=b)
        claim, holds = same_point(run, bits, pairs)
        values = [y if c else x for c, x, y in zip(holds, a.values, b.values)]
        want = z3.If(claim, bits.number(b.words), bits.number(a.words))
        out.append(bits.place(run, values, (a, b), want, 'the case of equal points'))
    return tuple(out)


def negated_at_end(run, k, y):
    """-y if the scalar was negated, else y; y is not 0."""
    bits = Bits(k=k, y=y)
    x = bits.number(k.words)
    reduced = z3.If(z3.UGE(x, bit_vector(N)), x - bit_vector(N), x)
    negative = z3.Extract(0, 0, reduced) == 0
    values = [-v % P if r % N % 2 == 0 else v for v, r in zip(y.values, k.values)]
    want = z3.If(negative, bit_vector(P) - bits.number(y.words), bits.number(y.words))
    return bits.place(run, values, (y,), want, 'the last negation')


def digits_sum(windows, width, top):
    """That an odd number below 2^256 is the sum of 2^(width i) digit(i), digit(i) = 2 (its bits from width i + 1 on, `width`
    of them) - (2^width - 1), and above them 2^(width windows) (2 top + 1) for the number `top` of the bits that are left."""
    bits = {}  # position -> coefficient
    for i in range(windows):
        for j in range(width):
            bits[width * i + 1 + j] = 2 << j + width * i
    for j in range(top):
        bits[width * windows + 1 + j] = 2 << j + width * windows
    rest = sum(-mask(width) << width * i for i in range(windows)) + (1 << width * windows)
    if any(bits.pop(position, 0) != 1 << position for position in range(1, 256)) or rest != 1 or set(bits) - {256}:
        raise Refused('the digits do not sum to the scalar')


def exceptions():
    """Where the sums of [k]G and [k]P meet equal or opposite points, for odd k in [1, n]: as the comments say."""
    for i in range(1, 42):  # below the top: |sum| < 64^i <= |entry| <= 63 * 64^i, and together below n
        assert 64**i - 1 < 64**i and 64**i - 1 + 63 * 64**i < N
    top, met = 64**42, set()
    for d in range(1, 16, 2):  # the top: k = low + d top with low odd and |low| < top
        for sign in (1, -1):
            for turns in range(-2, 3):
                low = sign * d * top + turns * N
                if abs(low) < top and low % 2 and 1 <= low + d * top <= N:
                    met.add((sign, low + d * top))
    if met != {(1, 30 * top - N), (-1, N)}:
        raise Refused(f'[k]G meets other exceptional sums: {met}')
    # [k]P: before the sum of window i the multiple is 32 times an odd number, at most that of n; the entry is at most 31
    for i in range(1, 51):
        if 32 * (N // 32**(i + 1) + 1) + 31 >= N:
            raise Refused(f'[k]P meets n in window {i}')


# The functions. Each returns the addresses it executed.
def last_sum_doubles():
    """An odd k in [1, n] for which the last entry of [k]P is what the sum already is."""
    return next(k for k in (N - 2 * d for d in range(1, 32, 2)) if 2 * (k >> 1 & 31) - 31 == -((N - k) // 2))


def random_scalars(special, seed=1):
    rnd = random.Random(seed)
    return [special, rnd.getrandbits(255) * 2, N + 2 + 2 * rnd.getrandbits(100), rnd.getrandbits(255) * 2 + 1]


def random_points(seed=2):
    rnd = random.Random(seed)
    return [affine_multiple(rnd.getrandbits(256), G) for _ in range(SAMPLES)]


def sum_base(run, F, k):
    digits_sum(42, 6, 3)
    rows = [[fixed(p) for p in row] for row in comb()]
    odd = odd_scalar(run, k)
    for i in range(42):
        entry = run.selected(F, odd, 6 * i + 1, 6, rows[i])
        total = formulas.add_extended(F, total, entry) if i else (*entry, ONE, ONE)
    entry = run.selected(F, odd, 253, 3, rows[42], signed=False)
    pairs = [(F.mul(entry[0], total[2]), total[0]), (F.mul(entry[1], total[3]), total[1])]
    total = formulas.add_extended(F, total, entry)
    doubled = *fixed(affine_multiple(30 * 64**42, G)), ONE, ONE
    x, y, zz, zzz = replaced_if(run, pairs, doubled, total)
    return x, negated_at_end(run, k, y), zz, zzz


def infinity_mask(run, word, z):
    bits = Bits(z=z)
    bits.proves(bits.word(word) == mask_of(bits.number(z.words) == bit_vector(0)), 'the mask for infinity')


def multiply_base(library, address):
    run = Run(library)
    k = run.symbols(random_scalars(30 * 64**42 - N))
    to = run.m.region(64)
    returned = run.m.call(address, to, run.memory(k))
    F = run.field()
    x, y, zz, zzz = sum_base(run, F, k)
    iii = run.inverse(zzz)
    i = F.mul(zz, iii)
    results(run, to, (F.mul(x, F.sqr(i)), F.mul(y, iii)), 'multiply_base')
    infinity_mask(run, returned, zzz)
    return run.m.covered


def multiply_base_and_invert(library, address):
    run = Run(library)
    rnd = random.Random(3)
    k, scalar = run.symbols(random_scalars(30 * 64**42 - N)), run.symbols([rnd.randrange(1, N) for _ in range(SAMPLES)])
    to, inverted = run.m.region(32), run.memory(scalar)
    run.m.call(address, to, inverted, run.memory(k))
    F = run.field()
    x, _, zz, zzz = sum_base(run, F, k)
    inverse = run.inverse(zzz)
    results(run, inverted, [run.inverse(scalar, N)], 'multiply_base_and_invert')
    results(run, to, [F.mul(x, F.sqr(F.mul(zz, inverse)))], 'multiply_base_and_invert')
    return run.m.covered


def odd_multiples(run, F, p, count):
    """p, 3p, .. affine, as fill_odd_multiples."""
    twice, total = formulas.twice_and_once(F, p, ONE)
    z, table, ratio = p[1], [p], [None]
    for _ in range(1, count):
        twice, total, z, h = formulas.add_same_z(F, twice, total, z)
        table.append(total)
        ratio.append(h)
    inverse = run.inverse(z)
    for i in range(count - 1, 0, -1):
        square = F.sqr(inverse)
        x, y = table[i]
        table[i] = F.mul(x, square), F.mul(y, F.mul(square, inverse))
        inverse = F.mul(inverse, ratio[i]) if i > 1 else None
    return table


def multiply_point(library, address):
    run = Run(library)
    k = run.symbols(random_scalars(last_sum_doubles()))
    p = tuple(run.symbols([v[i] * R % P for v in random_points()]) for i in range(2))
    to = run.m.region(64)
    returned = run.m.call(address, to, run.memory(*p), run.memory(k))
    F = run.field()
    digits_sum(51, 5, 0)
    odd = odd_scalar(run, k)
    table = odd_multiples(run, F, p, 16)
    total = *p, ONE
    for i in range(50, -1, -1):
        for _ in range(5):
            total = formulas.double_point(F, total)
        entry = run.selected(F, odd, 5 * i + 1, 5, table)
        if i:
            total = formulas.add_jacobian(F, total, entry)
    zz = F.sqr(total[2])
    pairs = [(F.mul(entry[0], zz), total[0]), (F.mul(entry[1], F.mul(zz, total[2])), total[1])]
    total = formulas.add_jacobian(F, total, entry)
    x, y, z = replaced_if(run, pairs, formulas.double_point(F, (*entry, ONE)), total)
    y = negated_at_end(run, k, y)
    inverse = run.inverse(z)
    square = F.sqr(inverse)
    results(run, to, (F.mul(x, square), F.mul(y, F.mul(square, inverse))), 'multiply_point')
    infinity_mask(run, returned, z)
    return run.m.covered


def naf(k, width):
    """The digits of the non-adjacent form of this width, as recode_vartime has them."""
    digits = []
    while k:
        d = 0
        if k & 1:
            d = k & mask(width)
            d -= (d >> (width - 1)) << width
            k -= d
        digits.append(d)
        k >>= 1
    return digits


def decided(run, expected):
    """That the branches on symbols were, in order, on whether these elements are zero."""
    if len(run.d.decisions) != len(expected):
        raise Refused(f'{len(run.d.decisions)} branches depend on symbols, not {len(expected)}')
    for (bit, taken), e in zip(run.d.decisions, expected):
        bits = Bits(e=e)
        zero = bits.number(e.words) == bit_vector(0)
        bits.proves((bits.word(bit) == taken) == z3.Not(zero), 'a branch')


def multiply_add_vartime(library, address, s=(3 << 250) + 0x1234567 * 2**100 + 511, t=(1 << 251) - 0x765432100001):
    """For these scalars: a run for each shape of them would cost as much again."""
    run = Run(library)
    run.d.decisions = []
    p = tuple(run.symbols([v[i] * R % P for v in random_points()]) for i in range(2))
    to, constants = run.m.region(96), [run.m.region(32, limbs(v)) for v in (s, t)]
    if library.arm:
        run.m.call(address, constants[0], run.memory(*p), constants[1], result=to)
    else:
        run.m.call(address, to, constants[0], run.memory(*p), constants[1])
    F = run.field()
    table = odd_multiples(run, F, p, 8)
    digits = naf(s, 9), naf(t, 5)
    zero, total, branches = Element([0] * 4, [0] * SAMPLES), None, []
    for i in range(max(map(len, digits)) - 1, -1, -1):
        if total:
            total = formulas.double_point(F, total)
        for j, of in ((1, digits[1]), (0, digits[0])):
            d = of[i] if i < len(of) else 0
            if d:
                x, y = table[abs(d) // 2] if j else fixed(affine_multiple(abs(d), G))
                y = F.sub(zero, y) if d < 0 else y
                if total:
                    branches.append(total[2])
                    total = formulas.add_jacobian(F, total, (x, y))
                    branches.append(total[2])
                else:
                    total = x, y, ONE
    decided(run, [z for z in branches if not z.constant()])
    results(run, to, total, 'multiply_add_vartime')
    return run.m.covered


# -- any curve
def ecp256_samples():
    """(modulus, a, point, scalar): the last sums of the first two meet equal points and infinity."""
    rnd = random.Random(4)
    out = [(P, P - 3, random_points()[0], last_sum_doubles()), (P, P - 3, random_points()[1], N - 1)]
    for top in (1 << 256, 1 << 255):
        m = rnd.randrange(top // 2, top) | 1
        out.append((m, rnd.randrange(m), (rnd.randrange(m), rnd.randrange(m)), rnd.getrandbits(256)))
    return out


def ecp256_multiply_point(library, address):
    run = Run(library)
    samples = ecp256_samples()
    moduli = [m for m, *_ in samples]
    m = run.symbols(moduli)
    inverse = run.d.symbol(64, [-pow(v, -1, 1 << 64) & mask(64) for v in moduli])
    montgomery = lambda values: run.symbols([v * R % n for v, n in zip(values, moduli)])  # noqa: E731
    a, one = montgomery([v[1] for v in samples]), montgomery([1] * SAMPLES)
    p, k = tuple(montgomery([v[2][i] for v in samples]) for i in range(2)), run.symbols([v[3] for v in samples])
    curve, to = run.m.region(136, [*m.words, inverse, *a.words, *one.words]), run.m.region(96)
    returned = run.m.call(address, curve, run.memory(*p), run.memory(k), to)
    run.d.sealed = True
    F = Field(run, moduli, (m.words, inverse))
    digits_sum(51, 5, 0)
    total, table = (*p, one), [(*p, one, one, one)]
    step = formulas.multiple(F, formulas.double_times(F, a, total, 1))
    zeros = [step[2]]
    for _ in range(15):
        total = formulas.add_multiple(F, total, step)
        table.append(formulas.multiple(F, total))
        zeros.append(total[2])
    total = *p, one
    for i in range(50, -1, -1):
        total = formulas.double_times(F, a, total, 5)
        entry = run.selected(F, k, 5 * i + 1, 5, table)
        if i:
            total = formulas.add_multiple(F, total, entry)
    zeros.append(total[2])

    def pairs(p, q):
        zz = F.sqr(p[2])
        return [(F.mul(p[0], q[3]), F.mul(q[0], zz)), (F.mul(p[1], q[4]), F.mul(q[1], F.mul(zz, p[2])))]
    equal = pairs(total, entry)
    total = formulas.add_multiple(F, total, entry)
    total = replaced_if(run, equal, formulas.double_times(F, a, entry[:3], 1), total)
    x, y, z, zz, zzz = table[0]
    minus = x, F.sub(Element([0] * 4, [0] * SAMPLES), y), z, zz, zzz
    equal = pairs(total, minus)
    other = formulas.add_multiple(F, total, minus)
    for i, (o, e, t) in enumerate(zip(other, minus, total)):
        bits = Bits(k=k, z=total[2], o=o, e=e, t=t)
        infinite = bits.number(total[2].words) == bit_vector(0)
        is_even = z3.Extract(0, 0, bits.word(k.words[0])) == 0
        n = [bits.number(v.words) for v in (o, e, t)]
        bits.proves(bits.number(run.words(to + 32 * i)) == z3.If(is_even, z3.If(infinite, n[1], n[0]), n[2]), 'the last sum')
    bits = Bits(k=k, z=total[2], **{f'zero{i}': e for i, e in enumerate(zeros)},
                **{f'pair{i}{j}': e for i, pair in enumerate(equal) for j, e in enumerate(pair)})
    claim, _ = same_point(run, bits, equal)
    exception = z3.Or(z3.And(z3.Extract(0, 0, bits.word(k.words[0])) == 0, claim,
                             bits.number(total[2].words) != bit_vector(0)),
                      *(bits.number(e.words) == bit_vector(0) for e in zeros))
    bits.proves(bits.word(returned) == mask_of(exception), 'the mask for exceptions')
    return run.m.covered


EXACT = 'for every scalar, every word it returns is that of the listed field operations, each right and below p'
FUNCTIONS = {
    ('sm2p256', 'multiply_base'): (multiply_base, f'[k]G: {EXACT}; digits sum to k; constant time'),
    ('sm2p256', 'multiply_base_and_invert'): (multiply_base_and_invert, f'[k]G: {EXACT}; digits sum to k; constant time'),
    ('sm2p256', 'multiply_point'): (multiply_point, f'[k]P: {EXACT}; digits sum to k; constant time'),
    ('sm2p256', 'multiply_add_vartime'): (multiply_add_vartime, 'for one pair of scalars and every P whose sums have z != 0'),
}


def proved(f, library, address):
    """With the formulas' and the exceptional sums' own proofs, which take no time."""
    formulas.check()
    exceptions()
    return f(library, address)


def theorems(library):
    from prove import functions
    found = []
    for family in ('sm2p256', 'ecp256'):
        for kernel, field, address in functions(library, family):
            if (family, field) in FUNCTIONS:
                f, claim = FUNCTIONS[family, field]
                found.append(Theorem(family, kernel, field, claim, lambda f=f, a=address: proved(f, library, a)))
    return found
