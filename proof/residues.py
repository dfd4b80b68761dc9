"""Proves one operation modulo an odd number: that a slice of the graph computes it for all operands below the modulus.

Every word of the slice becomes an integer polynomial in the operands' limbs and in quotients: the carry out of a sum, the
high half of a product, what a shift drops. A quotient comes with the linear fact that defines it; a product of variables
counts as a variable of its own. Conditions that select words are decided both ways, each way in a slice of its own. What
remains is linear: the difference from the wanted value vanishes modulo m, and the result is in [0, m). Both follow from
the facts over the reals, or else over the integers; z3's `unsat` is trusted.
"""
import functools
import hashlib
import math
import os
import pathlib
import random
from fractions import Fraction

import z3

from theorem import Refused
from values import mask
from words import Column, Word, operand_width, rebuilt, shape, tabulated, with_parts

EFFORT = 1_000_000  # z3's measure of work for one question
z3.set_param('smt.arith.solver', 2)  # others do not return from some of the questions asked here
PROVED, REFUSED = set(), {}
KNOWN, REALS, INTEGERS = range(3)  # how much is tried: lemmas that are proved already, questions about reals, or integers
ZERO = 0, 0, 0, 0


def wanted(kind, x):
    """(v, f): f times the result is v modulo m. 'neg' is of what is not 0."""
    return {'mul': lambda: (x[0] * x[1], 1 << 256), 'mul_sub': lambda: (x[0] * x[1] - x[2] * x[3], 1 << 256),
            'add': lambda: (x[0] + x[1], 1), 'sub': lambda: (x[0] - x[1], 1), 'half': lambda: (x[0], 2),
            'neg': lambda: (x[0].times(-1) if isinstance(x[0], Poly) else -x[0], 1)}[kind]()


class Poly(dict):
    """Sorted tuple of variables -> coefficient, not 0."""

    def __add__(self, other):
        out = Poly(self)
        for m, c in other.items():
            v = out.get(m, 0) + c
            if v:
                out[m] = v
            else:
                out.pop(m, None)
        return out

    def times(self, k):
        return Poly({m: c * k for m, c in self.items()} if k else {})

    def __sub__(self, other):
        return self + other.times(-1)

    def __mul__(self, other):
        out = Poly()
        for m, c in self.items():
            for n, e in other.items():
                k = tuple(sorted(m + n))
                v = out.get(k, 0) + c * e
                if v:
                    out[k] = v
                else:
                    out.pop(k, None)
        return out


def constant(c):
    return Poly({(): c} if c else {})


def number(forms):
    """The number whose limbs these are."""
    out = Poly()
    for i, f in enumerate(forms):
        out = out + f.times(1 << 64 * i)
    return out


def possible(a):
    """The bits that may be set in a word."""
    if not isinstance(a, Word):
        return a
    if a.op == 'shr':
        return mask(a.w) >> a.args[1]
    if a.op == 'shl':
        return mask(a.w) << a.args[1] & mask(a.w)
    if a.op == 'choose':
        return possible(a.args[1]) | possible(a.args[2])
    if a.op == 'join':
        step = a.w // len(a.args)
        return sum(possible(x) << step * i for i, x in enumerate(a.args))
    if a.op == 'and':
        return possible(a.args[0]) & possible(a.args[1])
    return mask(a.w)


class Slice:
    """The polynomials of words over the cuts, and the facts about their variables."""

    def __init__(self, cuts, m0=None, inverse=None):
        self.bound, self.facts, self.memo, self.solver = [], [], {}, None
        self.limbs = len(cuts)
        self.unused = {}  # a carry's variable -> whether nothing takes it up
        self.multipliers = []  # of the modulus, chosen to clear limbs
        self.m0, self.inverse = m0, inverse
        for c in cuts:
            self.memo[c] = self.variable(mask(64))

    def variable(self, bound):
        self.bound.append(bound)
        return Poly({(len(self.bound) - 1,): 1})

    def fact(self, p, low, high):
        self.facts.append((p, low, high))

    def form(self, a):
        if not isinstance(a, Word):
            return constant(a)
        if a not in self.memo:
            self.memo[a] = self.made(a)
        return self.memo[a]

    def quotient(self, kind, w, args, bound, total, k, sign=1):
        """q with total = r + sign q 2^k and 0 <= r < 2^k."""
        key = kind, w, args
        if key not in self.memo:
            self.memo[key] = q = self.variable(bound)
            self.fact(total - q.times(sign << k), 0, mask(k))
        return self.memo[key]

    def shifted(self, a, k):
        """a >> k; for k = 1 in terms of the bit that it drops."""
        if k == 1:
            if ('bit', a) not in self.memo:
                self.memo['bit', a] = bit = self.variable(1)
                self.fact(self.form(a) - bit - self.variable(mask(a.w - 1)).times(2), 0, 0)
            return (self.form(a) - self.memo['bit', a]).times(Fraction(1, 2))
        return self.quotient('shifted', k, a, mask(a.w - k), self.form(a), k) if k else self.form(a)

    def cleared(self, a):
        """For the sum of x and the lower half of m0 (x / -m0): the multiple of 2^64 that it is."""
        x, y, c = a.args
        for x, y in ((x, y), (y, x)):
            if c == 0 and isinstance(y, Word) and y.op == 'mul' and self.m0 in y.args:
                q = y.args[0] if y.args[1] is self.m0 else y.args[1]
                if isinstance(q, Word) and q.op == 'mul' and self.inverse in q.args and x in q.args:
                    return self.form(x) + self.form(y)
        return None

    def made(self, a):
        op, args, w = a.op, a.args, operand_width(a)
        if op in ('add', 'carry', 'sub', 'borrow'):
            if self.m0 is not None and op in ('add', 'carry') and (total := self.cleared(a)) is not None:
                if op == 'add':
                    return Poly()
                carry = total.times(Fraction(1, 1 << 64))
                self.fact(carry, 0, 1)
                return carry
            x, y, c = (self.form(v) for v in args)
            up = op in ('add', 'carry')
            total = x + y + c if up else x - y - c
            q = self.quotient(up, w, args, 1, total, w, 1 if up else -1)
            (variable,), = q
            self.unused[variable] = self.unused.get(variable, True) and op in ('add', 'sub')
            return q if op in ('carry', 'borrow') else total - q.times(1 << w if up else -1 << w)
        if op == 'mul' and self.m0 is not None and self.inverse in args:
            q = self.variable(mask(64))
            self.multipliers.append(q)
            return q
        if op in ('mul', 'high'):
            total = self.form(args[0]) * self.form(args[1])
            q = self.quotient('high', w, args, mask(w) - 1, total, w)
            return q if op == 'high' else total - q.times(1 << w)
        if op == 'shr':
            return self.shifted(*args)
        if op == 'shl':
            return (self.form(args[0]) - self.shifted(args[0], w - args[1]).times(1 << w - args[1])).times(1 << args[1])
        if op == 'cut':
            whole, low = args
            above = self.shifted(whole, low + w).times(1 << w) if low + w < whole.w else Poly()
            return self.shifted(whole, low) - above
        if op == 'join':
            step, total = w // len(args), Poly()
            for i, v in enumerate(args):
                total = total + self.form(v).times(1 << step * i)
            return total
        if op == 'choose' and isinstance(args[1], int) and isinstance(args[2], int):
            return self.form(args[0]).times(args[1] - args[2]) + constant(args[2])
        if op == 'not':
            return constant(mask(w)) - self.form(args[0])
        if op == 'or' and possible(args[0]) & possible(args[1]) == 0:
            return self.form(args[0]) + self.form(args[1])
        raise Refused(f'{op} of {w} bits has no place in a field operation')

    # -- questions to z3
    def contradictory(self):
        """Whether the facts exclude each other; afterwards none may be added."""
        self.solver = Question(self, self.facts, z3.Real, 'QF_LRA')
        return self.solver.solver.check() == z3.unsat

    def impossible(self, extra, p, low, high, reals_only=False):
        """Whether the facts and `extra` exclude low <= p <= high."""
        if self.solver.excludes(extra, p, low, high):
            return True
        return not reals_only and Question(self, self.facts, z3.Int, 'QF_LIA').excludes(extra, p, low, high)

    def vanishes(self, extra, p, reals_only=False):
        return self.impossible(extra, p, 1, None, reals_only) and self.impossible(extra, p, None, -1, reals_only)


def whole(p, *bounds):
    """p times the least number that makes its coefficients integers, and bounds with it."""
    d = math.lcm(*[Fraction(c).denominator for c in p.values()]) if p else 1
    return Poly({m: int(c * d) for m, c in p.items()}), *(None if b is None else b * d for b in bounds)


class Question:
    def __init__(self, s, facts, kind, logic):
        self.s, self.kind, self.seen = s, kind, {}
        self.solver = z3.SolverFor(logic)
        self.solver.set('rlimit', EFFORT)
        for f in facts:
            self.add(*f)

    def term(self, m):
        if m not in self.seen:
            self.seen[m] = v = self.kind('_'.join(map(str, m)))
            self.solver.add(v >= 0, v <= math.prod(self.s.bound[i] for i in m))
        return self.seen[m]

    def add(self, p, low, high):
        p, low, high = whole(p, low, high)
        if not p:
            assert (low is None or low <= 0) and (high is None or high >= 0), 'a fact about a constant'
            return
        e = z3.Sum([c * self.term(m) if m else (z3.RealVal if self.kind is z3.Real else z3.IntVal)(c) for m, c in p.items()])
        if low is not None:
            self.solver.add(e >= low)
        if high is not None:
            self.solver.add(e <= high)

    def excludes(self, extra, p, low, high):
        for m in (m for q in (p, *(f[0] for f in extra)) for m in q if m):
            self.term(m)  # declared outside of the question
        self.solver.push()
        for f in extra:
            self.add(*f)
        self.add(p, low, high) if p else None
        if not p and (low is None or low <= 0) and (high is None or high >= 0):
            answer = z3.unknown
        else:
            answer = z3.unsat if not p else self.solver.check()
        self.solver.pop()
        return answer == z3.unsat


# -- cases
def atoms(c):
    if c.op in ('and', 'or', 'xor', 'not'):
        return [a for x in c.args if isinstance(x, Word) for a in atoms(x)]
    return [c]


def conditions(outs, cuts):
    """What decides which words the slice takes; a choice between 0 and a power of 2 by one bit is left to arithmetic."""
    found, seen, stack = set(), set(cuts), [a for a in outs if isinstance(a, Word)]
    while stack:
        a = stack.pop()
        if a in seen:
            continue
        seen.add(a)
        if a.op == 'choose':
            x, y = a.args[1:]
            of = atoms(a.args[0])
            if not (isinstance(x, int) and isinstance(y, int) and 0 in (x, y) and (x + y).bit_count() == 1 and of == [a.args[0]]):
                found.update(of)
        stack += [x for x in a.args if isinstance(x, Word)]
    return sorted(found, key=lambda a: a.id)


def cases(d, outs, cuts, assumed=()):
    """Every way to decide the conditions: the slice then, and the conditions with their bits."""
    undecided = conditions(outs, cuts)
    if not undecided:
        yield outs, assumed
        return
    first = undecided[0]
    for bit in (0, 1):
        known = dict.fromkeys(cuts)
        known.update((c, c) for c in cuts)
        yield from cases(d, rebuilt(d, outs, {**known, first: bit}), cuts, (*assumed, (first, bit)))


# -- one operation
def counterexample(d, kind, outs, ins, modulus, count=48):
    """Operands for which the slice is wrong, if a few extreme ones tell."""
    rnd = random.Random(1)
    small = lambda top: rnd.getrandbits(rnd.randrange(1, 257)) % top  # noqa: E731
    if isinstance(modulus, int):
        moduli = [modulus] * count
    else:
        moduli = [rnd.choice((rnd.getrandbits(256), (1 << 256) - small(1 << 200) - 1, small(1 << 256))) | 3 for _ in range(count)]
    columns = {}

    def enter(limbs, values):
        for i, a in enumerate(limbs):
            if isinstance(a, Word):
                columns[a] = Column(64, [v >> 64 * i & mask(64) for v in values])
        return [sum((columns[a].values[j] if isinstance(a, Word) else a) << 64 * i for i, a in enumerate(limbs))
                for j in range(count)]

    if not isinstance(modulus, int):
        enter(modulus[0], moduli)
        columns[modulus[1]] = Column(64, [-pow(m, -1, 1 << 64) & mask(64) for m in moduli])
    x = []
    for limbs in ins:
        known = next((v for other, v in x if other == limbs), None)
        x.append((limbs, known or enter(limbs, [rnd.choice((m - 1 - small(m), small(m), m - 1, rnd.randrange(m))) for m in moduli])))
    got = tabulated(d, outs, with_parts(columns), count)
    for j, m in enumerate(moduli):
        operands = [v[j] for _, v in x]
        if any(v >= m for v in operands) or kind == 'neg' and not operands[0]:
            continue
        value = sum(g.values[j] << 64 * i for i, g in enumerate(got))
        want, factor = wanted(kind, operands)
        if value >= m or (value * factor - want) % m:
            return f'{kind}({", ".join(map(hex, operands))}) modulo {m:#x} gives {value:#x}'
    return None


def prove(d, kind, outs, ins, modulus, effort=None):
    """That outs, four limbs, is the operation of the operands ins, for all of them below the modulus: a number, or the limbs
    of any odd one and -1 / m modulo 2^64. Raises Refused."""
    cuts = [a for t in ins for a in t if isinstance(a, Word)]
    if not isinstance(modulus, int):
        cuts += [*modulus[0], modulus[1]]
    key = kind, isinstance(modulus, int) and modulus, [len(t) for t in ins], shape(outs, [a for t in ins for a in t] + cuts)
    key = hashlib.sha256(repr(key).encode()).hexdigest()
    if key in PROVED or cached(key):
        return
    effort = INTEGERS if effort is None else effort
    if effort == KNOWN:
        raise Refused('not known')
    if (key, effort) in REFUSED:
        raise Refused(REFUSED[key, effort])
    try:
        prove_anew(d, kind, outs, ins, modulus, cuts, effort == INTEGERS)
    except Refused as e:
        REFUSED[key, effort] = str(e)
        raise
    PROVED.add(key)
    remember(key)


def prove_anew(d, kind, outs, ins, modulus, cuts, integers):
    wrong = counterexample(d, kind, outs, ins, modulus)
    if wrong:
        raise Refused(wrong)
    distinct = list(dict.fromkeys(cuts))
    for slice_outs, assumed in cases(d, outs, distinct):
        prove_case(kind, slice_outs, ins, modulus, distinct, assumed, integers)


def prove_case(kind, outs, ins, modulus, cuts, assumed, integers):
    fixed = isinstance(modulus, int)
    s = Slice(cuts) if fixed else Slice(cuts, modulus[0][0], modulus[1])
    x = [number(map(s.form, t)) for t in ins]
    m = constant(modulus) if fixed else number(map(s.form, modulus[0]))
    result = number(map(s.form, outs))
    for a, bit in assumed:
        s.fact(s.form(a), bit, bit)
    known = [(v, 0, None) for v in x] + [(m - v, 1, None) for v in x]
    if kind in ('mul', 'mul_sub'):
        for a, b in zip(x[::2], x[1::2]):
            # 0 <= a b <= (m - 1)^2, or for an unknown modulus what is linear in m: a b <= (m - 1) (2^256 - 1)
            known += [(a * b, 0, None), (constant((modulus - 1) ** 2) - a * b if fixed else
                                         (m - constant(1)).times(mask(256)) - a * b, 0, None)]
    if not fixed:
        known.append((s.form(modulus[0][0]) - s.variable(mask(63)).times(2), 1, 1))  # m is odd
    if kind == 'neg':
        known.append((x[0], 1, None))
    for q in s.multipliers:
        known += [(q * m, 0, None), (m.times(mask(64)) - q * m, 0, None)]
    for p, low, high in known:
        if any(p):  # not for a constant, which holds or is an error
            s.fact(p, low, high)
        else:
            assert p.get((), 0) >= low, 'a constant operand is not below the modulus'
    if s.contradictory():
        return
    target, factor = wanted(kind, x)
    difference = result.times(factor) - target
    if fixed:
        rest = {n: c % modulus for n, c in whole(difference)[0].items() if c % modulus}
        sign = {n: (c, 1) if c < modulus - c else (modulus - c, -1) for n, c in rest.items()}
    else:
        rest = whole(remainder(difference, m, s.form(modulus[0][0])))[0]
        sign = {n: (abs(c), 1 if c > 0 else -1) for n, c in rest.items()}
    if any(len(n) > 1 and all(v < s.limbs for v in n) for n in rest):
        raise Refused(f'{kind}: not the product of the operands')
    extra = []
    for v, unused in sorted(s.unused.items()):  # mostly zero; some cancel against others
        if unused and s.impossible(extra, Poly({(v,): 1}), 1, None, True):
            extra.append((Poly({(v,): 1}), 0, 0))
            sign.pop((v,), None)
    groups = {}
    for n, (c, k) in sign.items():
        groups.setdefault(c, Poly())[n] = k
    for group in sorted(groups.values(), key=lambda g: max(max(n, default=-1) for n in g)):
        vanish(s, kind, group, extra, integers)
    for p, low, high in ((result - m, 0, None), (result, None, -1)):
        if not s.impossible(extra, p, low, high, not integers):
            raise Refused(f'{kind}: the result may be outside of [0, m)')


def remainder(p, m, lowest):
    """p modulo m, which is monic in its lowest limb."""
    (variable,), = lowest
    rest, out = (m - lowest).times(-1), Poly()
    for n, c in p.items():
        term = Poly({tuple(v for v in n if v != variable): c})
        for _ in range(n.count(variable)):
            term = term * rest
        out = out + term
    return out


def vanish(s, kind, group, extra, integers):
    """That the terms of a group add up to zero: each alone, or in pairs that cancel, or together."""
    left = [n for n in sorted(group)]
    for size in (1, 2):
        for n in list(left):
            for o in list(left) if size == 2 else [n]:
                if n in left and o in left and len(left) > size and (size == 1 or n < o and group[n] == -group[o]) and (n and o):
                    part = Poly({v: group[v] for v in (n, o)})
                    if s.vanishes(extra, part, True):
                        extra.append((part, 0, 0))
                        left = [v for v in left if v not in part]
    part = Poly({n: group[n] for n in left})
    if part and not s.vanishes(extra, part, not integers):
        raise Refused(f'{kind}: not the right residue')
    extra.append((part, 0, 0))


# -- lemmas on disk: a slice's shape by its hash, together with the text of the program
@functools.cache
def store():
    files = [p for p in sorted(pathlib.Path(__file__).parent.glob('*.py')) if p.name in ('residues.py', 'words.py', 'values.py')]
    text = hashlib.sha256(b''.join(p.read_bytes() for p in files)).hexdigest()[:16]
    return pathlib.Path(os.environ.get('XDG_CACHE_HOME', pathlib.Path.home() / '.cache')) / 'ulmaro-proof' / text


def cached(key):
    return 'PROOF_NO_CACHE' not in os.environ and (store() / key).exists()


def remember(key):
    if 'PROOF_NO_CACHE' not in os.environ:
        store().mkdir(parents=True, exist_ok=True)
        (store() / key).touch()
