"""Theorems about the kernels of the recommended curve and of the general one.

Each function in constant time runs once, whole, on symbols: a scalar's limbs, points' coordinates and, for the general
curve, the modulus. The algorithm of its C++ source runs beside it on samples, written with the formulas that formulas.py
checks. Every field element it meets is looked for among the words of the run by its samples, and the words between it and
its operands are proved to compute it (residues.py): the right residue, below the modulus, for all operands below it. What a
scalar's window selects is computed from the words for each of its values; the rest (masks, the cases at the end) is a
question of bit vectors. That ends at the words that the function returned, so its result is that of the algorithm for
every input.

A function on points that the compiler has left whole (CALLED) is proved by itself, for all operands, on every path that it
has; then a call of it, on operands that do not overlap, gives new unknown numbers and leaves the registers unknown that the
function has not kept. Inversion is another module's: here it gives some words below the modulus, and the algorithm's inverse
is taken for them.

The functions in variable time run on the scalars of SCALARS and DENSE, and on digits of our own that take the recoded ones'
place (patterns): in them every digit occurs, and every place has every pair of signs. Each of their results is right for all
points. Where they branch on a symbol, the branch is proved to be on the z or x that the algorithm asks about: both ways
in add_vartime; in the general curve's, the ways in EXCEPTIONS.

Assumed: coordinates and a given are below the modulus; `one` is 2^256 and -1/m right modulo it; on the recommended curve
no y is 0 (its order is odd).

Not covered: that the recoding in variable time is right for other scalars; that a step of its loop does not depend on more
than the digits, the sum and the tables; on the general curve, other numbers of doublings between two sums than are met.
"""
import functools
import itertools
import random
import re

import z3

import formulas
import lanes
import residues
from call import call_whole, clobber, machine
from formulas import G, N, P
from machine import STACK
from theorem import Refused, Theorem
from values import mask
from words import Column, Word, Words, rules_agree, shape, tabulated, vector, with_parts

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
        return bool(self.words) and all(isinstance(a, int) for a in self.words)


BRANCHES = {}  # shapes of a bit and elements -> whether it is set where one of them is 0, or where none is


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
        first, places = None, list(self.run.found(values, args, min if kind == 'half' else max))
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
        products = [self.value('mul', [x.values, y.values]) for x, y in ((a, b), (c, d))]
        difference = self.value('mul_sub', [x.values for x in (a, b, c, d)])
        if difference in self.run.met:  # then the products came before it
            (first, *_), *_ = self.run.met[difference]
            apart = all(w and w[0].id < first.id for w in map(self.run.at, products))
        else:
            apart = len({w[-1].id >= self.run.front if w else None for w in map(self.run.at, (difference, *products))}) == 1
        if apart:
            return self.sub(self.mul(a, b), self.mul(c, d))
        return self.op('mul_sub', a, b, c, d)

    def mul_sub_sqr(self, a, b, c):
        return self.mul_sub(a, b, c, c)

    def point(self, formula, *operands):
        """The formula's result: that of a call which a lemma stands for, or found operation by operation."""
        found = self.run.calls.get((formula, words_of(operands)))
        return formula(self, *operands) if found is None else found

    def is_zero(self, *elements):
        """Which way the next branch on a symbol took, which must be on whether one of these is 0."""
        if all(e.constant() for e in elements):
            return any(not any(e.words) for e in elements)
        if self.run.branches == len(self.d.decisions):
            raise Refused('no branch on whether an element is zero')
        bit, taken = self.d.decisions[self.run.branches]
        self.run.branches += 1
        key = shape((bit,), [w for e in elements for w in e.words])
        if key not in BRANCHES:
            bits = Bits(**{f'e{i}': e for i, e in enumerate(elements)})
            zero, bit = z3.Or(*(bits.number(e.words) == bit_vector(0) for e in elements)), bits.word(bit) == 1
            try:
                bits.proves(bit == zero, 'a branch')
                BRANCHES[key] = True
            except Refused:
                bits.proves(bit == z3.Not(zero), 'a branch')
                BRANCHES[key] = False
        return bool(taken) == BRANCHES[key]

    def negative(self, y):
        """(kind, operands) of -y as negated_if has it."""
        if isinstance(self.modulus, int):
            return 'neg', [y.words]
        return 'sub', [residues.ZERO, y.words]


class Samples(Field):
    """The operations on samples alone."""

    def op(self, kind, *args):
        return Element((), self.value(kind, [a.values for a in args]))

    def mul_sub(self, a, b, c, d):
        return self.op('mul_sub', a, b, c, d)

    def point(self, formula, *operands):
        return formula(self, *operands)

    def is_zero(self, e):
        zero, = {not v for v in e.values}
        return zero


def words_of(operands):
    """The words of elements and points, and the integers among them."""
    return tuple([o.words if isinstance(o, Element) else o if isinstance(o, int) else words_of(o) for o in operands])


class Run:
    """Of one function, with lemmas for those that it calls."""

    def __init__(self, library, moduli=(P,) * SAMPLES, modulus=P):
        self.library, self.d = library, Words(SAMPLES)
        self.m = machine(library, self.d)
        self.moduli, self.modulus = moduli, modulus  # the latter as in residues.prove
        self.calls = {}  # (formula, words of its operands) -> the elements that a call stored
        self.met = {}  # values for the samples -> the words of calls' operands that have them
        self.lemmas = {}  # (address of a called function, its integers) -> what its lemma says
        self.front = 0  # where, in the order of the run, the search has got to, less what may be out of order
        self.inverses = {}  # (words of the operand, modulus) -> the result
        self.digits = None  # (digits of two recoded scalars, what to replace them by when they are next seen)
        self.branches = 0  # how many of the branches on symbols the algorithm has met
        self.m.hooks = {library.find(INVERT): lambda m: self.invert(m.argument(0), m.argument(1), m.argument(2)),
                        library.find(INVERT_TWO): lambda m: [self.invert(m.argument(i), m.argument(i), m.argument(i + 1))
                                                             for i in (0, 2)]}
        self.m.taken = self.taken
        self.in_lanes = {}  # words of a point in lanes -> its coordinates, whose words are no limbs
        for found, hook in (called_functions(library), self.called), (lanes.called_functions(library), self.called_in_lanes):
            for address, (formula, parts) in found.items():
                self.m.hooks[address] = functools.partial(hook, address, formula, parts)

    def field(self):
        """From now on words are only looked for."""
        self.d.sealed = True
        return Field(self, self.moduli, self.modulus)

    def taken(self, bit):
        """Which way a branch goes; a register that this decides becomes a number, which compilers rely on."""
        if not isinstance(bit, Word):
            return bit
        way = self.d.decide(bit)
        condition, value = (bit.args[0], 1 - way) if bit.op == 'not' else (bit, way)
        self.m.r = [x.args[2 - value] if isinstance(x, Word) and x.op == 'choose' and x.args[0] is condition else x
                    for x in self.m.r]
        return way

    def all_branches_met(self, name):
        if self.digits:
            raise Refused(f'{name}: the digits were not found')
        if self.branches != len(self.d.decisions or ()):
            raise Refused(f'{name}: it has other branches on symbols')

    def covered(self):
        return self.m.covered.union(*(lemma.covered for lemma in self.lemmas.values()))

    def symbols(self, values):
        return Element([self.d.symbol(64, [v >> 64 * i & mask(64) for v in values]) for i in range(4)], values)

    def memory(self, *elements):
        return self.m.region(32 * len(elements), [w for e in elements for w in e.words])

    def words(self, address, count=4):
        return tuple(self.m.load(address + 8 * i, 8) for i in range(count))

    def element(self, address):
        words = self.words(address)
        return Element(words, [sum((w if isinstance(w, int) else w.sample[s]) << 64 * i for i, w in enumerate(words))
                               for s in range(SAMPLES)])

    def called(self, address, formula, parts, m):
        """Puts the formula's result, as unknown numbers, in a call's place."""
        if self.digits:
            self.replace_digits(m)
        operands, places, to = [], [], None
        for i, part in enumerate(parts):
            a = m.public(m.argument(i), 'an argument')
            if part == 'int':
                operands.append(a & mask(32))
            elif part == 'field':
                if self.words(m.load(a, 8), 5) != (*self.modulus[0], self.modulus[1]):
                    raise Refused('a call with another modulus')
            else:
                elements = tuple(self.element(a + 32 * j) for j in range(ELEMENTS[part.rstrip('&')]))
                operands.append(elements if len(elements) > 1 else elements[0])
                to = a if part[-1] == '&' else to
                for e in elements:
                    self.met.setdefault(e.values, {})[e.words] = None
                places.append((a, 32 * len(elements)))
        sizes = dict(places)
        if len(sizes) < len(places) or any(a < to + sizes[to] and to < a + size for a, size in places if a != to):
            raise Refused('a call with operands that overlap')
        integers = tuple(o for o in operands if isinstance(o, int))
        if (address, integers) not in self.lemmas:
            self.lemmas[address, integers] = Lemma(self, address, formula, parts, integers)
        key = formula, words_of(operands)
        if key not in self.calls:
            values = formula(Samples(self, self.moduli, self.modulus), *operands)
            self.calls[key] = tuple(self.symbols(e.values) for e in values)
        for i, e in enumerate(self.calls[key]):
            for j, w in enumerate(e.words):
                m.store(to + 32 * i + 8 * j, w, 8)
        self.lemmas[address, integers].clobber(m)

    def called_in_lanes(self, address, formula, parts, m):
        """The same of a function of lanes.py. A point in lanes is as many unknown words."""
        if self.digits:
            self.replace_digits(m)
        operands, places = [], []
        for i, part in enumerate(parts):
            a = m.public(m.argument(i), 'an argument')
            name = part.rstrip('&')
            if part == 'int':
                operands.append(a & mask(32))
                continue
            places.append((a, lanes.size(part)))
            if part[-1] == '&':
                to, result = a, name
            if lanes.only_written(part, parts):
                continue
            if name in lanes.LAYOUT:
                operands.append(self.in_lanes[self.words(a, lanes.size(part) // 8)])
            else:
                operands.append(tuple(self.element(a + 32 * j) for j in range(lanes.COORDINATES[name])))
                for e in operands[-1]:
                    self.met.setdefault(e.values, {})[e.words] = None
        if any(a < b + n and b < a + k for (a, k), (b, n) in itertools.combinations(places, 2)):
            raise Refused('a call with operands that overlap')
        integers = tuple(o for o in operands if isinstance(o, int))
        if (address, integers) not in self.lemmas:
            self.lemmas[address, integers] = lanes.Lemma(self.library, address, formula, parts, integers)
        key = formula, words_of(operands)
        if key not in self.calls:
            values = [e.values for e in formula(Samples(self, self.moduli, self.modulus), *operands)]
            if result in lanes.LAYOUT:
                words = tuple(self.d.symbol(64, [0] * SAMPLES) for _ in range(lanes.size(result) // 8))
                self.calls[key] = self.in_lanes[words] = tuple(Element((w,), v) for w, v in zip(words, values))
            else:
                self.calls[key] = tuple(map(self.symbols, values))
        found = self.calls[key]
        words = next(w for w, p in self.in_lanes.items() if p is found) if result in lanes.LAYOUT else sum((e.words for e in found), ())
        for i, w in enumerate(words):
            m.store(to + 8 * i, w, 8)
        self.lemmas[address, integers].clobber(m)

    def replace_digits(self, m):
        """Looks for the digits on the stack, as they were recoded, and replaces them."""
        cells = [m.memory.get(a) for a in range(STACK - 0x2000, STACK)]
        text = ''.join(chr(c[0] >> 8 * (a - c[2]) & 255 if c and isinstance(c[0], int) else 256)
                       for a, c in enumerate(cells, STACK - 0x2000))
        at = [text.find(''.join(map(chr, b''.join((d & 0xffff).to_bytes(2, 'little') for d in digits))))
              for digits in self.digits[0]]
        if -1 not in at:
            for start, digits in zip(at, self.digits[1]):
                for i, d in enumerate(digits):
                    m.store(STACK - 0x2000 + start + 2 * i, d & 0xffff, 2)
            self.digits = None

    def at(self, values):
        """The words that are the lowest limb of a number with these values, the oldest first."""
        return self.d.at.get(tuple(v & mask(64) for v in values), [])

    def invert(self, to, source, record):
        modulus = sum(self.m.load(record + 8 * i, 8) << 60 * i for i in range(5))
        factor = sum(self.m.load(record + 48 + 8 * i, 8) << 60 * i for i in range(5))
        if modulus not in (P, N) or factor != R * R % modulus or self.m.load(record + 40, 8) != pow(modulus, -1, 1 << 60):
            raise Refused('an inversion with the wrong constants')
        words, values = (operand := self.element(source)).words, operand.values
        if (words, modulus) not in self.inverses:
            self.inverses[words, modulus] = self.symbols([factor * pow(v, -1, modulus) % modulus if v else 0 for v in values])
        for i, w in enumerate(self.inverses[words, modulus].words):
            self.m.store(to + 8 * i, w, 8)

    def inverse(self, of, modulus=P):
        """What the run took for the inverse of this element."""
        if (of.words, modulus) not in self.inverses:
            raise Refused('an inversion of something else')
        return self.inverses[of.words, modulus]

    def found(self, values, operands=None, needed=min):
        """Limbs with these values, the oldest first. For operands: only what is younger, than one limb of each or, if
        each limb depends on all of them, than the last, `needed`; and first what the run computed lately, and looks like
        the last step of the first operation that has the value, where one kind of instruction makes all four limbs."""
        yield from (words for words in self.met.get(tuple(values), ()) if all(words != a.words for a in operands or ()))
        number = lambda w: w.id if isinstance(w, Word) else 0  # noqa: E731
        since = max((needed(number(w) for w in a.words) for a in operands), default=-1) if operands else -1
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


# -- lemmas about called functions
ELEMENTS = {'U256': 1, 'Affine': 2, 'Jacobian': 3, 'Extended': 4, 'Multiple': 5}
CALLED = {  # name, parameters -> the formula; the parameter without const is replaced by the result
    ('double_point', 'Jacobian&'): formulas.double_point,
    ('add', 'Jacobian&', 'Affine'): formulas.add_jacobian,
    ('add', 'Extended&', 'Affine'): formulas.add_extended,
    ('add_vartime', 'Jacobian&', 'Affine'): formulas.add_vartime,
    ('add', 'field', 'Jacobian&', 'Multiple'): formulas.add_multiple,
    ('double_times', 'field', 'U256', 'Jacobian&', 'int'): formulas.double_times,
}


# Which branches on symbols go the other way than the samples, for each path of a function that has any.
PATHS = {formulas.add_vartime: [(), (0,), (1,), (1, 2)]}


def called_functions(library):
    """The functions in CALLED that the compiler has left whole: address -> (formula, parameters)."""
    found = {}
    for name, places in library.symbols.items():
        m = re.fullmatch(r'void ulmaro::(sm2p256|ecp256)::(\w+)<.*>\((.*)\)', name)
        if m:
            parts = [re.sub(r'ulmaro::\w+::| const&', '', part) for part in m[3].split(', ')]
            parts = [*(['field'] if m[1] == 'ecp256' else parts[:1]), *parts[1:]]
            if (m[2], *parts) in CALLED:
                found.update((address, (CALLED[m[2], *parts], parts)) for address, _ in places)
    return found


class Lemma:
    """That a function, called with these integers, replaces an operand by the formula's result for all elements below the
    modulus; writes nothing else but its stack; and leaves which registers as they were."""

    def __init__(self, of, address, formula, parts, integers):
        self.covered, self.registers, self.vectors, seen = set(), [], [], set()
        for turned in PATHS.get(formula, [()]):
            seen.add(self.prove(of, address, formula, parts, list(integers), turned))
        if len(seen) < len(PATHS.get(formula, [()])):
            raise Refused(f'{formula.__name__}: it has fewer paths')
        self.registers = list(map(all, zip(*self.registers)))
        self.vectors = [list(map(all, zip(*v))) for v in zip(*self.vectors)]

    def prove(self, of, address, formula, parts, integers, turned):
        """One path, by which of its branches go the other way; which way the branches went."""
        run, below, *curve = unknown_run(of.library, general=not isinstance(of.modulus, int))
        del run.m.hooks[address]
        run.d.decisions, run.d.turned = [] if formula in PATHS else None, turned
        arguments, operands = [], []
        for part in parts:
            if part == 'int':
                operands.append(integers.pop(0))
                arguments.append(operands[-1])
            elif part == 'field':
                arguments.append(run.m.region(8, curve[:1]))
            else:
                elements = tuple(below() for _ in range(ELEMENTS[part.rstrip('&')]))
                operands.append(elements if len(elements) > 1 else elements[0])
                arguments.append(run.memory(*elements))
                if part[-1] == '&':
                    to, size = arguments[-1], 32 * len(elements)
        registers, vectors = call_whole(run.m, address, arguments, [(to, size)], lambda: below().words[0])
        self.registers.append(registers)
        self.vectors.append(vectors)
        results(run, to, formula(run.field(), *operands), formula.__name__)
        run.all_branches_met(formula.__name__)
        self.covered |= run.covered()
        return tuple(taken for _, taken in run.d.decisions or ())

    def clobber(self, m):
        clobber(m, self.registers, self.vectors)


def unknown_run(library, general):
    """(a run, a function that makes an unknown number below the modulus), and in general the address of a curve, its a and
    its `one`. The samples of that are no 1: so numbers that need not be equal have different samples."""
    rnd = random.Random(4)
    if not general:
        run = Run(library)
        return run, lambda: run.symbols([rnd.randrange(P) for _ in range(SAMPLES)])
    moduli = [(rnd.getrandbits(256) >> i) | 1 for i in range(SAMPLES)]
    run = Run(library, moduli)
    m, inverse = run.symbols(moduli), run.d.symbol(64, [-pow(v, -1, 1 << 64) & mask(64) for v in moduli])
    run.modulus = m.words, inverse
    below = lambda: run.symbols([rnd.randrange(m) for m in moduli])  # noqa: E731
    a, one = below(), below()
    return run, below, run.m.region(136, [*m.words, inverse, *a.words, *one.words]), a, one


# -- questions about bits
class Bits:
    """Words as functions of the limbs of some elements."""

    def __init__(self, **elements):
        self.env = {w: z3.BitVec(f'{name}_{i}', 64) for name, e in elements.items() for i, w in enumerate(e.words)
                    if isinstance(w, Word)}
        for w, v in list(self.env.items()):  # rewriting may have gone past a word to what it is made of
            if w.op == 'choose':
                del self.env[w]
                self.env.update({a: z3.BitVec(f'{v}_{i}', a.w) for i, a in enumerate(w.args)
                                 if isinstance(a, Word) and a not in self.env})
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
        solver.set('rlimit', 100_000_000)  # a measure of work, not of time: what is proved depends on no other load
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


ZERO = Element([0] * 4, [0] * SAMPLES)
ONE = Element(limbs(R % P), [R % P] * SAMPLES)
Field.one = ONE
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


    # On any curve: the same for every odd order from 65 on. For large ones window i > 0 has at most 1 / 32 of it.
    for n in range(65, 257, 2):
        for m in range(1, n + 1, 2):
            sums = [2 * (m >> 5 * i + 1) + 1 for i in range(3)]
            for i, (total, before) in enumerate(zip(sums, [*sums[1:], 1])):
                digit = total - 32 * before
                meets = (32 * before - digit) % n == 0, total % n == 0
                if meets != (i == 0 and digit < 0 and m == n + 2 * digit, i == 0 and m == n):
                    raise Refused(f'[k]P meets other exceptional sums for the order {n}')


# The functions. Each returns the addresses it executed.
def last_sum_doubles():
    """An odd k in [1, n] for which the last entry of [k]P is what the sum already is."""
    return next(k for k in (N - 2 * d for d in range(1, 32, 2)) if 2 * (k >> 1 & 31) - 31 == -((N - k) // 2))


def random_scalars(*special, seed=1):
    rnd = random.Random(seed)
    return [*special, rnd.getrandbits(255) * 2, N + 2 + 2 * rnd.getrandbits(100), rnd.getrandbits(255) * 2 + 1,
            rnd.getrandbits(256)][:SAMPLES]


def random_points(seed=2):
    rnd = random.Random(seed)
    return [affine_multiple(rnd.getrandbits(256), G) for _ in range(SAMPLES)]


def entered(run, F, p):
    """Where a loop keeps its sum: in lanes, if the run has any."""
    return F.point(formulas.enter_lanes if len(p) == 3 else formulas.same_point, p) if run.in_lanes else p


def left(run, F, p):
    return F.point(formulas.leave_lanes if len(p) == 5 else formulas.same_point, p) if run.in_lanes else p


def doubled(run, F, p, n):
    if run.in_lanes:
        return F.point(formulas.double_lanes, p, n)
    for _ in range(n):
        p = F.point(formulas.double_point, p)
    return p


def added(F, p, q):
    """For 3, 4 or 5 coordinates of p."""
    return F.point((formulas.add_jacobian, formulas.add_extended, formulas.add_lanes)[len(p) - 3], p, q)


def sum_base(run, F, k):
    digits_sum(42, 6, 3)
    rows = [[fixed(p) for p in row] for row in comb()]
    odd = odd_scalar(run, k)
    for i in range(42):
        entry = run.selected(F, odd, 6 * i + 1, 6, rows[i])
        total = added(F, total, entry) if i else entered(run, F, (*entry, ONE, ONE))
    total = left(run, F, total)
    entry = run.selected(F, odd, 253, 3, rows[42], signed=False)
    pairs = [(F.mul(entry[0], total[2]), total[0]), (F.mul(entry[1], total[3]), total[1])]
    total = F.point(formulas.add_extended, total, entry)
    doubled = *fixed(affine_multiple(30 * 64**42, G)), ONE, ONE
    return replaced_if(run, pairs, doubled, total)


def infinity_mask(run, word, z):
    bits = Bits(z=z)
    bits.proves(bits.word(word) == mask_of(bits.number(z.words) == bit_vector(0)), 'the mask for infinity')


def affine_extended(F, p, iii):
    x, y, zz, _ = p
    return F.mul(x, F.sqr(F.mul(zz, iii))), F.mul(y, iii)


def affine_jacobian(F, p, inverse):
    square = F.sqr(inverse)
    return F.mul(p[0], square), F.mul(p[1], F.mul(square, inverse))


def multiply_base(library, address):
    run = Run(library)
    k = run.symbols(random_scalars(30 * 64**42 - N))
    to = run.m.region(64)
    returned = run.m.call(address, to, run.memory(k))
    F = run.field()
    x, y, zz, zzz = sum_base(run, F, k)
    total = x, negated_at_end(run, k, y), zz, zzz
    results(run, to, affine_extended(F, total, run.inverse(total[3])), 'multiply_base')
    infinity_mask(run, returned, total[3])
    return run.covered()


def sum_point(run, F, k, p):
    digits_sum(51, 5, 0)
    odd = odd_scalar(run, k)
    table = odd_multiples(run, F, p, 16)
    total = entered(run, F, (*p, ONE))
    for i in range(50, -1, -1):
        total = doubled(run, F, total, 5)
        entry = run.selected(F, odd, 5 * i + 1, 5, table)
        if i:
            total = added(F, total, entry)
    total = left(run, F, total)
    zz = F.sqr(total[2])
    pairs = [(F.mul(entry[0], zz), total[0]), (F.mul(entry[1], F.mul(zz, total[2])), total[1])]
    total = F.point(formulas.add_jacobian, total, entry)
    x, y, z = replaced_if(run, pairs, F.point(formulas.double_point, (*entry, ONE)), total)
    return x, negated_at_end(run, k, y), z


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
    return run.covered()


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
    total = sum_point(run, F, k, p)
    results(run, to, affine_jacobian(F, total, run.inverse(total[2])), 'multiply_point')
    infinity_mask(run, returned, total[2])
    return run.covered()


def multiply_base_and_point(library, address):
    run = Run(library)
    k = run.symbols(random_scalars(last_sum_doubles(), 30 * 64**42 - N))
    p = tuple(run.symbols([v[i] * R % P for v in random_points()]) for i in range(2))
    base, to = run.m.region(64), run.m.region(64)
    returned = run.m.call(address, base, to, run.memory(*p), run.memory(k))
    F = run.field()
    x, y, zz, zzz = sum_base(run, F, k)
    total, point = (x, negated_at_end(run, k, y), zz, zzz), sum_point(run, F, k, p)
    z = point[2]
    inverse = run.inverse(F.mul(zzz, z))
    results(run, base, affine_extended(F, total, F.mul(inverse, z)), 'multiply_base_and_point')
    results(run, to, affine_jacobian(F, point, F.mul(inverse, zzz)), 'multiply_base_and_point')
    infinity_mask(run, returned, z)
    return run.covered()


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


def patterns(*widths):
    """Digits of two recodings of these widths, the topmost 1: in nine sequences every other position has every pair of signs,
    and together they have every digit."""
    signs = list(itertools.product((0, 1, -1), repeat=2))
    odd = [itertools.cycle(range(1, 1 << w - 1, 2)) for w in widths]
    return [[[sign * next(numbers) for sign in column] + [1] for numbers, column in zip(odd, zip(*rotated))]
            for r in range(9) for rotated in [[signs[(i + i // 9 + r) % 9] for i in range(256)]]]


LONG = R - 1, R - 3  # the scalars whose digits patterns() replaces
RANDOM = random.Random(6).getrandbits(256), random.Random(7).getrandbits(250)
SCALARS = [RANDOM, (0, 0), (N - 1, 1), (31, 5 << 251)]
# Of the general curve. Without long runs of equal bits: each number of doublings at a time needs a lemma.
DENSE = [RANDOM, (0, 0), (0, 1), (31, 5 << 9)]


def multiply_add_vartime(library, address):
    run = Run(library)
    run.d.decisions, calls = [], []
    p = tuple(run.symbols([v[i] * R % P for v in random_points()]) for i in range(2))
    for (s, t), digits in [*((pair, None) for pair in SCALARS), *((LONG, digits) for digits in patterns(9, 5))]:
        to, constants = run.m.region(96), [run.m.region(32, limbs(v)) for v in (s, t)]
        own = naf(s, 9), naf(t, 5)
        run.digits = digits and (own, digits)
        if library.arm:
            run.m.call(address, constants[0], run.memory(*p), constants[1], result=to)
        else:
            run.m.call(address, to, constants[0], run.memory(*p), constants[1])
        calls.append((digits or own, to))
    F = run.field()
    table, odd = odd_multiples(run, F, p, 8), [fixed(affine_multiple(d, G)) for d in range(1, 256, 2)]
    for digits, to in calls:
        total = ONE, ONE, ZERO
        for i in range(max(map(len, digits)) - 1, -1, -1):
            total = F.point(formulas.double_point, total)
            for entries, of in ((table, digits[1]), (odd, digits[0])):
                d = of[i] if i < len(of) else 0
                if d:
                    x, y = entries[abs(d) // 2]
                    total = F.point(formulas.add_vartime, total, (x, F.sub(ZERO, y) if d < 0 else y))
        results(run, to, total, 'multiply_add_vartime')
    run.all_branches_met('multiply_add_vartime')
    return run.covered()


def multiply_add_in_lanes_vartime(library, address):
    """Where the sum in lanes has z = 0, another kernel's function, with a theorem of its own, is called."""
    from prove import functions
    other = dict(((kernel, field), a) for kernel, field, a in functions(library, 'sm2p256'))['x86-adx', 'multiply_add_vartime']
    covered = set()
    for turned in (), (0,):
        run, calls, others = Run(library), [], []
        run.d.decisions, run.d.turned = [], turned

        def handed_over(m):
            arguments = tuple(run.words(m.argument(i), n) for i, n in ((1, 4), (2, 8), (3, 4)))
            others.append((arguments, [run.symbols([1 + len(others)] * SAMPLES) for _ in range(3)]))
            for i, w in enumerate(words for e in others[-1][1] for words in e.words):
                m.store(m.argument(0) + 8 * i, w, 8)
        run.m.hooks[other] = handed_over
        p = tuple(run.symbols([v[i] * R % P for v in random_points()]) for i in range(2))
        cases = [(RANDOM, None)] if turned else [*((pair, None) for pair in SCALARS), *((LONG, digits) for digits in patterns(9, 5))]
        for (s, t), digits in cases:
            to, constants = run.m.region(96), [run.m.region(32, limbs(v)) for v in (s, t)]
            own = naf(s, 9), naf(t, 5)
            run.digits = digits and (own, digits)
            run.m.call(address, to, constants[0], run.memory(*p), constants[1])
            calls.append(((s, t), digits or own, to))
        F = run.field()
        table, odd = odd_multiples(run, F, p, 8), [fixed(affine_multiple(d, G)) for d in range(1, 256, 2)]
        for (s, t), digits, to in calls:
            total = None
            for i in range(max(map(len, digits)) - 1, -1, -1):
                total = total and F.point(formulas.double_lanes, total, 1)
                for entries, of in ((table, digits[1]), (odd, digits[0])):
                    d = of[i] if i < len(of) else 0
                    if d:
                        x, y = entries[abs(d) // 2]
                        entry = x, F.sub(ZERO, y) if d < 0 else y
                        total = added(F, total, entry) if total else entered(run, F, (*entry, ONE))
            total = total and left(run, F, total)
            if not total or F.is_zero(total[2]):
                arguments, total = others.pop(0)
                if arguments != (tuple(limbs(s)), p[0].words + p[1].words, tuple(limbs(t))):
                    raise Refused('the other kernel gets other operands')
            results(run, to, total, 'multiply_add_vartime')
        run.all_branches_met('multiply_add_vartime')
        covered |= run.covered()
    return covered


# -- any curve
def general_multiples(F, a, one, p, count):
    """(the odd multiples of p, what is zero only on an exception)"""
    total, table = (*p, one), [(*p, one, one, one)]
    step = formulas.multiple(F, F.point(formulas.double_times, a, total, 1))
    zeros = [step[2]]
    for _ in range(1, count):
        total = F.point(formulas.add_multiple, total, step)
        table.append(formulas.multiple(F, total))
        zeros.append(total[2])
    return table, zeros


def ecp256_multiply_point(library, address):
    run, below, curve, a, one = unknown_run(library, general=True)
    p, k = (below(), below()), run.symbols(random_scalars())
    to = run.m.region(96)
    returned = run.m.call(address, curve, run.memory(*p), run.memory(k), to)
    F = run.field()
    digits_sum(51, 5, 0)
    table, zeros = general_multiples(F, a, one, p, 16)
    total = *p, one
    for i in range(50, -1, -1):
        total = F.point(formulas.double_times, a, total, 5)
        entry = run.selected(F, k, 5 * i + 1, 5, table)
        if i:
            total = F.point(formulas.add_multiple, total, entry)
    zeros.append(total[2])

    def pairs(p, q):
        zz = F.sqr(p[2])
        return [(F.mul(p[0], q[3]), F.mul(q[0], zz)), (F.mul(p[1], q[4]), F.mul(q[1], F.mul(zz, p[2])))]
    equal = pairs(total, entry)
    summed, doubled = F.point(formulas.add_multiple, total, entry), F.point(formulas.double_times, a, entry[:3], 1)
    total = replaced_if(run, equal, doubled, summed)
    x, y, z, zz, zzz = table[0]
    minus = x, F.sub(ZERO, y), z, zz, zzz
    opposite = pairs(total, minus)
    other = F.point(formulas.add_multiple, total, minus)
    bits = Bits(k=k, **{f'{name}{i}': e for name, elements in (
        ('equal', sum(equal, ())), ('doubled', doubled), ('summed', summed), ('other', other), ('minus', minus),
        ('opposite', sum(opposite, ())), ('zero', zeros)) for i, e in enumerate(elements)})
    is_equal, number = same_point(run, bits, equal)[0], lambda e: bits.number(e.words)
    even = z3.Extract(0, 0, bits.word(k.words[0])) == 0
    total = [z3.If(is_equal, number(d), number(s)) for d, s in zip(doubled, summed)]
    infinite = total[2] == bit_vector(0)
    for i in range(3):
        want = z3.If(even, z3.If(infinite, number(minus[i]), number(other[i])), total[i])
        bits.proves(number(Element(run.words(to + 32 * i), ())) == want, 'the last sum')
    exception = z3.Or(z3.And(even, same_point(run, bits, opposite)[0], z3.Not(infinite)),
                      *(number(e) == bit_vector(0) for e in zeros))
    bits.proves(bits.word(returned) == mask_of(exception), 'the mask for exceptions')
    return run.covered()


# Which branches go the other way than the samples: none; on an exception of the tables; on z = 0 before a sum, which the
# entry then is; on z = 0 after a sum of opposite points, from which the next goes on, or of equal points; for both terms.
EXCEPTIONS = [(), (0,), (1,), (2, 4), (2, 3), (4, 6), (4, 5)]


def ecp256_multiply_both_vartime(library, address):
    covered = set()
    for turned in EXCEPTIONS:
        run, below, curve, a, one = unknown_run(library, general=True)
        run.d.decisions, run.d.turned, calls = [], turned, []
        points = [(below(), below()) for _ in range(2)]
        cases = [((25, 35), None)] if turned else [
            *((pair, None) for pair in DENSE), *((LONG, digits) for digits in patterns(5, 5))]
        for pair, digits in cases:
            to, own = run.m.region(96), [naf(v, 5) for v in pair]
            run.digits = digits and (own, digits)
            arguments = [run.m.region(32, limbs(v)) if isinstance(v, int) else run.memory(*v)
                         for pair_of in zip(points, pair) for v in pair_of]
            calls.append((digits or own, to, run.m.call(address, curve, *arguments, to)))
        F = run.field()
        tables, zeros = zip(*(general_multiples(F, a, one, p, 8) for p in points))
        for digits, to, returned in calls:
            exception = outside = F.is_zero(*sum(zeros, []))
            if not exception:
                total, exception = both_terms(F, a, one, tables, digits)
            if isinstance(returned, Word) and exception == outside:  # what the first branch was on
                bits = Bits(**{f'e{i}': e for i, e in enumerate(sum(zeros, []))})
                zero = z3.Or(*(bits.number(e.words) == bit_vector(0) for e in sum(zeros, [])))
                bits.proves(bits.word(returned) == mask_of(zero), 'the mask for exceptions')
            elif returned != (mask(64) if exception else 0):
                raise Refused('the mask for exceptions')
            if not exception:
                results(run, to, total, 'multiply_both_vartime')
        run.all_branches_met('multiply_both_vartime')
        covered |= run.covered()
    return covered


def both_terms(F, a, one, tables, digits):
    """(the sum of the digits' multiples, whether equal points were met)"""
    total, doublings = (one, one, ZERO), 0
    for i in range(max(map(len, digits)) - 1, -1, -1):
        doublings += 1
        for table, of in zip(tables, digits):
            d = of[i] if i < len(of) else 0
            if d:
                x, y, *z = table[abs(d) // 2]
                entry = x, F.sub(ZERO, y) if d < 0 else y, *z
                if F.is_zero(total[2]):
                    total = entry[:3]
                else:
                    total = F.point(formulas.double_times, a, total, doublings) if doublings else total
                    total = F.point(formulas.add_multiple, total, entry)
                    if F.is_zero(total[2]) and F.is_zero(total[0]):
                        return total, True
                doublings = 0
    return F.point(formulas.double_times, a, total, doublings) if doublings else total, False


EXACT = ('for every scalar, every word it returns is that of the listed field operations, each right and reduced; '
         'digits sum to k; constant time')
DIGITS = ('for four pairs of scalars and for every digit, at each place with all signs: every word it returns is that of the '
          'listed field operations')
FUNCTIONS = {
    ('sm2p256', 'multiply_base'): (multiply_base, f'[k]G: {EXACT}'),
    ('sm2p256', 'multiply_base_and_invert'): (multiply_base_and_invert, f'[k]G: {EXACT}'),
    ('sm2p256', 'multiply_point'): (multiply_point, f'[k]P: {EXACT}'),
    ('sm2p256', 'multiply_base_and_point'): (multiply_base_and_point, f'[k]G and [k]P: {EXACT}'),
    ('sm2p256', 'multiply_add_vartime'): (multiply_add_vartime, DIGITS),
    ('ecp256', 'multiply_point'): (ecp256_multiply_point, f'[k]P modulo any odd number: {EXACT}'),
    ('ecp256', 'multiply_both_vartime'): (ecp256_multiply_both_vartime, DIGITS),
}


def proved(f, library, address):
    """With the formulas' and the exceptional sums' own proofs and a trial of the rewriting, which take no time."""
    rules_agree()
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
                if (kernel, field) == ('x86-ifma', 'multiply_add_vartime'):
                    f = multiply_add_in_lanes_vartime
                found.append(Theorem(family, kernel, field, claim, lambda f=f, a=address: proved(f, library, a)))
    return found
