"""Functions on points in lanes, as the curves' kernel for AVX-512 with IFMA has them: four field elements side by side in
limbs of 52 bits.

A value is a polynomial in variables, with rational coefficients and with bounds. It equals what the register holds up to a
multiple of 2^64; an operation is refused if that might not be so of its result. Variables are the operands' limbs, remainders
modulo powers of 2, low halves of products, and limbs that are multiplied: what a shift leaves, and the high half of a product,
follow from these. Five limbs with weights 2^0, 2^52, .. make an element. In the number of every element all variables must
cancel modulo p but those of products and multiples of earlier elements, so that its residue is a polynomial in the operands'
residues, of a degree below 2^20. It is the formula's if it agrees for SAMPLES random residues, but for a chance below 2^-700.

Bounds are on limbs. What is multiplied stays below 2^52 for all operands within the bounds of `most`, and results are within
them again. What `leave` returns is below p: so it is the one right number.

Assumed: coordinates that enter are below p.
"""
import random
import re
from fractions import Fraction

import formulas
from call import call_whole, clobber, machine
from formulas import P
from theorem import Refused
from values import Domain, Unsupported, mask

SAMPLES = 3
LOW = mask(52)
# The most that the highest limb may be: of what the formulas fold, and of what they only carry.
FOLDED, CARRIED = (1 << 48) + (1 << 32), mask(50)
R52 = pow(2, -260, P)


class Value:
    """form: monomial (a sorted tuple of variables) -> coefficient, not 0."""
    __slots__ = 'form', 'lo', 'hi', 'sample', 'shifted'

    def __init__(self, form, lo, hi, sample):
        self.form, self.lo, self.hi, self.sample = form, lo, hi, sample
        self.shifted = None  # (value, k) if it is that value times 2^k modulo 2^64


class Choice:
    """One of two values, by the sign of a third."""
    __slots__ = 'negative', 'a', 'b'

    def __init__(self, negative, a, b):
        self.negative, self.a, self.b = negative, a, b


class Sign:
    __slots__ = 'of',

    def __init__(self, of):
        self.of = of


def plus(x, y, k=1):
    out = dict(x)
    for m, c in y.items():
        v = out.get(m, 0) + k * c
        if v:
            out[m] = v
        else:
            out.pop(m, None)
    return out


def scaled(x, k):
    return {m: c * k for m, c in x.items()}


class LimbsOf52(Domain):
    def __init__(self):
        self.variables, self.memo = [], {}
        self.remainders = {}  # (identity of a value, k) -> its remainder modulo 2^k
        self.limbs = {}  # variable of a multiplied limb -> the value

    # -- values
    def variable(self, lo, hi, sample):
        self.variables.append((lo, hi, sample))
        return Value({(len(self.variables) - 1,): 1}, lo, hi, sample)

    def bounds(self, monomial):
        variable, = monomial
        return self.variables[variable][:2]

    def sample(self, variable):
        return self.variables[variable][2]

    def value(self, form, lo, hi, sample):
        if lo < -1 << 63 or hi > mask(64) or lo < 0 and hi > mask(63):
            raise Unsupported('a value that may not fit')
        if not form or set(form) == {()}:
            return int(form.get((), 0)) & mask(64)
        return Value(form, lo, hi, sample)

    @staticmethod
    def lift(a):
        if isinstance(a, int):
            a -= a >> 63 << 64  # a constant with the highest bit set stands for a negative one
            return Value({(): a} if a else {}, a, a, (a,) * SAMPLES)
        return a

    def remainder(self, a, k):
        """a modulo 2^k, a variable unless that is a."""
        if a.lo >= 0 and a.hi <= mask(k):
            return a
        key = id(a), k
        if key not in self.remainders:
            self.remainders[key] = a, self.variable(0, mask(k), tuple(v & mask(k) for v in a.sample))
        return self.remainders[key][1]

    def quotient(self, a, k):
        r = self.remainder(a, k)
        if r is a:
            return 0
        form = scaled(plus(a.form, r.form, -1), Fraction(1, 1 << k))
        return self.value(form, a.lo >> k, a.hi >> k, tuple(v >> k for v in a.sample))

    def limb(self, a):
        """A variable for a value that is multiplied."""
        if not isinstance(a, Value):
            return a
        if a.lo < 0 or a.hi > LOW:
            raise Unsupported('a limb that may be above 2^52')
        if list(a.form.values()) == [1] and len(next(iter(a.form))) == 1:
            (variable,), = a.form
            self.limbs.setdefault(variable, a)
            return a
        key = 'limb', id(a)
        if key not in self.memo:
            v = self.variable(a.lo, a.hi, a.sample)
            (variable,), = v.form
            self.limbs[variable] = a
            self.memo[key] = a, v
        return self.memo[key][1]

    # -- operations
    def symbolic(self, name, w, *args):
        if any(isinstance(a, Choice) for a in args):
            negative = next(a.negative for a in args if isinstance(a, Choice))
            if any(isinstance(a, Choice) and a.negative is not negative for a in args):
                raise Unsupported('two choices')
            sides = [self.op(name, w, *(getattr(x, side) if isinstance(x, Choice) else x for x in args)) for side in 'ab']
            return Choice(negative, *sides)
        if name == 'choose' and isinstance(args[0], Sign):
            return Choice(args[0].of, *args[1:])
        if w != 64 or not all(isinstance(a, (int, Value)) for a in args):
            raise Unsupported(name, w)
        key = name, *(a if isinstance(a, int) else id(a) for a in args)
        if key not in self.memo:
            self.memo[key] = args, getattr(self, '_' + name)(*args)
        return self.memo[key][1]

    def cut(self, w, of, a, low):
        if (w, of, low) == (1, 64, 63) and isinstance(a, Value):
            if a.lo < -1 << 63 or a.hi > mask(63):
                raise Unsupported('the sign of an unsigned value')
            return Sign(a)
        return super().cut(w, of, a, low)

    def _sum(self, a, b, k):
        a, b = self.lift(a), self.lift(b)
        lo, hi = (a.lo + b.lo, a.hi + b.hi) if k == 1 else (a.lo - b.hi, a.hi - b.lo)
        return self.value(plus(a.form, b.form, k), lo, hi, tuple(x + k * y for x, y in zip(a.sample, b.sample)))

    def _add(self, a, b, c=0):
        assert c == 0
        return self._sum(a, b, 1)

    def _sub(self, a, b, c=0):
        assert c == 0
        return self._sum(a, b, -1)

    def _shl(self, a, k):
        if a.lo >= 0 and a.hi << k <= mask(64):
            out = self.value(scaled(a.form, 1 << k), a.lo << k, a.hi << k, tuple(v << k for v in a.sample))
            out.shifted = a, k
            return out
        r = self.remainder(a, 64 - k)
        out = Value(scaled(r.form, 1 << k), 0, mask(64 - k) << k, tuple(v << k for v in r.sample))
        out.shifted = a, k
        return out

    def _shr(self, a, k):
        if a.lo < 0:
            raise Unsupported('a shift of what may be negative')
        return self.quotient(a, k)

    def _sar(self, a, k):
        if a.hi > mask(63):
            raise Unsupported('a signed shift of an unsigned value')
        return self.quotient(a, k)

    def _and(self, a, b):
        if isinstance(a, int):
            a, b = b, a
        if isinstance(b, int):
            k = b.bit_length()
            if b != mask(k):
                raise Unsupported('a mask')
            if a.shifted and a.shifted[1] < k:
                out = self._shl(self.remainder(a.shifted[0], k - a.shifted[1]), a.shifted[1])
                return out
            return self.remainder(a, k)
        if self.disjoint(a, b):
            return 0
        raise Unsupported('and')

    @staticmethod
    def disjoint(a, b):
        """Whether one is below a power of 2 of which the other is a multiple."""
        for x, y in ((a, b), (b, a)):
            unit = 1 << max(x.hi, 0).bit_length()
            if x.lo >= 0 and y.lo >= 0 and all(c % unit == 0 for c in y.form.values()):
                return True
        return False

    def _or(self, a, b):
        if not self.disjoint(self.lift(a), self.lift(b)):
            raise Unsupported('or')
        return self._sum(a, b, 1)

    _xor = _or

    # Products of limbs: `mul` is not what a register holds, but all of it.
    def _mul(self, a, b):
        a, b = sorted((self.limb(a), self.limb(b)), key=lambda v: (isinstance(v, int), id(v)))
        key = 'product', id(a), b if isinstance(b, int) else id(b)
        if key not in self.memo:
            x, y, form = self.lift(a), self.lift(b), {}
            for m, c in x.form.items():
                for n, e in y.form.items():
                    form[tuple(sorted(m + n))] = form.get(tuple(sorted(m + n)), 0) + c * e
            product = Value(form, 0, x.hi * y.hi, tuple(v * u for v, u in zip(x.sample, y.sample)))
            self.memo[key] = (a, b), product
        return self.memo[key][1]

    def _high(self, a, b):
        if isinstance(b, Value) and b.shifted and b.shifted[1] == 12:
            a, b = b, a
        if isinstance(a, Value) and a.shifted and a.shifted[1] == 12:
            return self.quotient(self._mul(a.shifted[0], b), 52)
        if isinstance(a, int) and a & mask(12) == 0:
            return self.quotient(self._mul(a >> 12, b), 52)
        raise Unsupported('high')


class Elements:
    """What the limbs of a run add up to. A base is a list of variables with weights, whose sum is an element or its multiple;
    `of` are those that nothing has computed: operands."""

    def __init__(self, d, of):
        self.d = d
        self.bases, self.at = [], {}  # (variables, weights, number or None); variable -> its base
        self.right = set()
        loaded = {}  # the samples of a limb times 16, which `load` makes -> the base
        for variables, weights in of:
            self.enter(variables, weights, None)
            if len(variables) == 4:
                numbers = [16 * sum(d.sample(v)[s] << 64 * i for i, v in enumerate(variables)) for s in range(SAMPLES)]
                number = {(v,): 16 * w for v, w in zip(variables, weights)}
                for i in range(5):
                    loaded[tuple(n >> 52 * i & LOW for n in numbers)] = i, number
        places, without_lowest = {}, []
        for v, a in d.limbs.items():
            if list(a.form) == [(v,)]:
                continue
            if a.sample in loaded:
                i, number = loaded[a.sample]
                places.setdefault(id(number), (number, {}))[1][i] = v
                continue
            below = {c: m[0] for m, c in a.form.items() if len(m) == 1}
            chain = [below.get(Fraction(-1, 1 << 52 * j)) for j in (4, 3, 2, 1)]
            if None not in chain:
                self.enter_chain([*chain, v])
            elif None not in chain[1:]:
                without_lowest.append([*chain, v])
        for number, limbs in places.values():
            if len(limbs) == 5:
                chain = [limbs[i] for i in range(5)]
                if self.number(chain) != number:
                    raise Refused('limbs of an operand')
                self.enter_chain(chain)

        # The lowest limb of an element has not carried if it is known to fit.
        for _, *others in without_lowest:
            for v in d.limbs:
                if v not in self.at and v not in others:
                    try:
                        self.understood(self.number([v, *others]))
                    except Refused:
                        continue
                    self.enter_chain([v, *others])
                    break

    def number(self, chain):
        """Of the limbs of an element, the highest one and one that has not carried by what they are made of."""
        total = {}
        for i, v in enumerate(chain):
            total = plus(total, self.d.limbs[v].form, 1 << 52 * i)
        return total

    def enter_chain(self, chain):
        self.enter(chain, [1 << 52 * i for i in range(5)], self.number(chain))

    def enter(self, variables, weights, number):
        for i, v in enumerate(variables):
            if v in self.at:
                raise Refused('a limb of two elements')
            self.at[v] = len(self.bases), i
        self.bases.append((variables, weights, number))

    def defined(self, form):
        """Without multiplied limbs that belong to no element."""
        while True:
            ones = [m for m in form if len(m) == 1 and m[0] in self.d.limbs and m[0] not in self.at and
                    list(self.d.limbs[m[0]].form) != [m]]
            if not ones:
                return form
            for m in ones:
                form = plus(plus(form, {m: form[m]}, -1), scaled(self.d.limbs[m[0]].form, form[m]))

    def understood(self, form):
        """That the form is, modulo p, a sum of products and multiples of elements, and those of others, down to operands."""
        groups, form = {}, self.defined(form)
        for m, c in form.items():
            c = c.numerator * pow(c.denominator, -1, P) % P
            if c == 0 or not m:
                continue
            if len(m) > 2 or any(v not in self.at for v in m):
                raise Refused('a number that is no sum of products')
            places = sorted(self.at[v] for v in m)
            groups.setdefault(tuple(b for b, _ in places), {})[tuple(i for _, i in places)] = c
        for of, found in groups.items():
            weights = [self.bases[b][1] for b in of]
            if len(of) == 1:
                want = {(i,): w for i, w in enumerate(weights[0])}
            elif of[0] == of[1]:
                n = len(weights[0])
                want = {(i, j): weights[0][i] * weights[0][j] * (1 + (i != j)) for i in range(n) for j in range(i, n)}
            else:
                want = {(i, j): v * w for i, v in enumerate(weights[0]) for j, w in enumerate(weights[1])}
            unit = found.get((0,) * len(of), 0)
            if found != {k: unit * w % P for k, w in want.items()}:
                raise Refused('limbs that do not add up to a product')
        for b in {b for of in groups for b in of}:
            if b not in self.right and self.bases[b][2] is not None:
                self.understood(self.bases[b][2])
            self.right.add(b)

    def residue(self, words, top, matters=True):
        """Of five words that are an element, the highest at most `top`: its residue for each sample, if it matters."""
        forms, total = [self.d.lift(a) for a in words], {}
        for i, a in enumerate(forms):
            if a.lo < 0 or a.hi > (top if i == 4 else LOW):
                raise Refused(f'a limb of the result may be above its bound: {a.lo}, {a.hi}')
            total = plus(total, a.form, 1 << 52 * i)
        if not matters:
            return None
        self.understood(total)
        return [sum(a.sample[s] << 52 * i for i, a in enumerate(forms)) * R52 % P for s in range(SAMPLES)]

    def reduced(self, words):
        """Of four words: that they are below p; their number over 2^256 for each sample."""
        negative, numbers = words[0].negative, []
        for side in 'ab':
            number, highest = {}, None
            for j, w in enumerate(words):
                if w.negative is not negative:
                    raise Refused('a result of two choices')
                number = plus(number, self.d.lift(getattr(w, side)).form, 1 << 64 * j)
            for (_, k), (a, r) in self.d.remainders.items():
                (m, _), = r.form.items()
                if k == 48 and number.get(m) == 1 << 208:  # of the highest limb, which is below 2^48 as the number is below p
                    number, highest = plus(plus(number, {m: 1 << 208}, -1), scaled(a.form, 1 << 208)), a
            low = plus(number, scaled(highest.form, 1 << 208), -1)
            if sorted(low.values()) != [1 << 52 * i for i in range(4)] or any(self.d.bounds(m) != (0, LOW) for m in low):
                raise Refused('a result that is not carried')
            numbers.append((number, highest))
        (once, _), (twice, top) = numbers
        if top is not negative or plus(once, twice, -1) != {(): P}:
            raise Refused('the choice is not by the sign of the other number')
        most = sum(c * self.most(m) for m, c in once.items())
        if any(c < 0 for c in once.values()) or most >= 2 * P:
            raise Refused('the result may not be below p')
        self.understood(once)
        sides = [[self.d.lift(getattr(w, side)).sample for w in words] for side in 'ab']
        return [sum(sides[top.sample[s] >= 0][j][s] << 64 * j for j in range(4)) * pow(2, -256, P) % P for s in range(SAMPLES)]

    def most(self, monomial):
        out = 1
        for v in monomial:
            out *= self.d.bounds((v,))[1]
        return out


class Residues:
    """The field on samples of residues."""
    mul = staticmethod(lambda a, b: [x * y % P for x, y in zip(a, b)])
    sqr = staticmethod(lambda a: [x * x % P for x in a])
    add = staticmethod(lambda a, b: [(x + y) % P for x, y in zip(a, b)])
    sub = staticmethod(lambda a, b: [(x - y) % P for x, y in zip(a, b)])
    half = staticmethod(lambda a: [x * pow(2, -1, P) % P for x in a])

    @classmethod
    def mul_sub(cls, a, b, c, d):
        return cls.sub(cls.mul(a, b), cls.mul(c, d))

    @staticmethod
    def point(formula, *operands):
        return formula(Residues, *operands)


# How points lie in memory: for each vector of five limbs, which coordinate is in each lane; None does not matter.
LAYOUT = {'JacobianLanes': [(1, 3, 4, 1), (None, None, 0, 2)], 'ExtendedLanes': [(0, 1, 2, 3)]}
COORDINATES = {'JacobianLanes': 5, 'ExtendedLanes': 4, 'Affine': 2, 'Jacobian': 3, 'Extended': 4}
FUNCTIONS = {  # name, parameters -> the formula; the one without const is replaced by the result, or only written
    ('enter', 'JacobianLanes&', 'Jacobian'): formulas.enter_lanes,
    ('leave', 'Jacobian&', 'JacobianLanes'): formulas.leave_lanes,
    ('enter', 'ExtendedLanes&', 'Extended'): formulas.same_point,
    ('leave', 'Extended&', 'ExtendedLanes'): formulas.same_point,
    ('double_times', 'JacobianLanes&', 'int'): formulas.double_lanes,
    ('add', 'JacobianLanes&', 'Affine'): formulas.add_lanes,
    ('add', 'ExtendedLanes&', 'Affine'): formulas.add_extended,
}


def most(coordinate, name):
    """The bound of its highest limb. Of Z, and of lanes that do not matter, the formulas only carry the limbs."""
    return FOLDED if coordinate is not None and (name, coordinate) != ('JacobianLanes', 2) else CARRIED


def called_functions(library):
    """address -> (formula, parameters)"""
    found = {}
    for name, places in library.symbols.items():
        m = re.fullmatch(r'ulmaro::sm2p256::(\w+)\((.*Lanes.*)\)', name)
        if m:
            first, *others = [re.sub(r'ulmaro::sm2p256::', '', part) for part in m[2].split(', ')]
            parts = [first, *(part.removesuffix(' const&') for part in others)]
            if (m[1], *parts) in FUNCTIONS:
                found.update((address, (FUNCTIONS[m[1], *parts], parts)) for address, _ in places)
    return found


def size(part):
    name = part.rstrip('&')
    return 160 * len(LAYOUT[name]) if name in LAYOUT else 32 * COORDINATES[name]


def only_written(part, parts):
    return part[-1] == '&' and (part, *parts[1:]) in {k[1:] for k in FUNCTIONS if k[0] in ('enter', 'leave')}


class Lemma:
    """That a function, called with these integers, replaces an operand by the formula's result, for all operands within the
    bounds, and which registers it leaves as they were."""

    def __init__(self, library, address, formula, parts, integers):
        self.d, rnd, integers = LimbsOf52(), random.Random(8), list(integers)
        m, arguments, operands, of = machine(library, self.d), [], [], []
        for part in parts:
            name = part.rstrip('&')
            if part == 'int':
                operands.append(integers.pop(0))
                arguments.append(operands[-1])
                continue
            if part[-1] == '&':
                to, result = len(arguments), name
            if only_written(part, parts):
                arguments.append(m.region(size(part)))
                continue
            residues = [[rnd.randrange(P) for _ in range(SAMPLES)] for _ in range(COORDINATES[name])]
            operands.append(residues)
            if name in LAYOUT:
                words = []
                for lanes in LAYOUT[name]:
                    columns = [self.operand(residues[c] if c is not None else [rnd.randrange(P) for _ in range(SAMPLES)],
                                            most(c, name), of) for c in lanes]
                    words += [columns[j][i] for i in range(5) for j in range(4)]
            else:
                words = [w for r in residues for w in self.words(r, of)]
            arguments.append(m.region(size(part), words))
        self.registers, self.vectors = call_whole(m, address, arguments, [(arguments[to], size(result))],
                                                  lambda: self.d.variable(0, mask(64), (0,) * SAMPLES))
        self.covered = m.covered
        self.check(m, arguments[to], result, formula(Residues, *operands), Elements(self.d, of), formula.__name__)

    def operand(self, residues, top, of):
        """Five limbs that hold these residues."""
        numbers = [r * (1 << 260) % P for r in residues]
        limbs = [self.d.variable(0, top if i == 4 else LOW, tuple(n >> 52 * i & LOW for n in numbers)) for i in range(5)]
        of.append(([next(iter(v.form))[0] for v in limbs], [1 << 52 * i for i in range(5)]))
        return limbs

    def words(self, residues, of):
        """Four words of a reduced element."""
        numbers = [r * (1 << 256) % P for r in residues]
        words = [self.d.variable(0, mask(64), tuple(n >> 64 * i & mask(64) for n in numbers)) for i in range(4)]
        of.append(([next(iter(v.form))[0] for v in words], [1 << 64 * i for i in range(4)]))
        return words

    @staticmethod
    def check(m, to, result, want, elements, name):
        """That the result is what the formula wants."""
        word = lambda i: m.load(to + 8 * i, 8)  # noqa: E731
        if result in LAYOUT:
            found = [(c, elements.residue([word(20 * k + 4 * i + j) for i in range(5)], most(c, result), c is not None), (k, j))
                     for k, lanes in enumerate(LAYOUT[result]) for j, c in enumerate(lanes)]
        else:
            found = [(c, elements.reduced([word(4 * c + i) for i in range(4)]), c) for c in range(COORDINATES[result])]
        for c, residues, where in found:
            if c is not None and residues != want[c]:
                raise Refused(f'{name}: coordinate {c} at {where} is not the formula\'s')

    def clobber(self, m):
        clobber(m, self.registers, self.vectors)
