"""Words of 32 bits as polynomials: the domain of SM3.

A word is a constant plus, bit by bit over GF(2), a sum of products of rotated atoms, each product under a mask of the
bits where it counts. Atoms are unknown words, and sums modulo 2^32: a multiset of words with a constant, flattened, in
which products that have no bit in common are joined to their exclusive or. Equal words are one object. All rules are
identities, so words that are the same object are equal for every value of the unknowns; the reverse need not hold.
"""
from values import Domain, Join, Part, Unsupported, mask

ONES = mask(32)
MOST_PRODUCTS = 4096  # far more than a round of the standard has; what exceeds it would never end
UNKNOWN = object()  # a carry, or what a carry went into: nothing may depend on it


class Word:
    """terms: the products, as sorted tuples of 32 * atom + rotation, with their masks."""
    __slots__ = 'terms', 'constant', 'sum', 'products'

    def __init__(self, terms, constant):
        self.terms, self.constant = terms, constant
        self.sum = None  # of an atom that is a sum: its words with their coefficients, its constant
        self.products = any(len(factors) > 1 for factors in terms)


def rotate(a, k):
    return (a << k | a >> (32 - k)) & ONES


class Words(Domain):
    def __init__(self):
        self.words, self.atoms, self.results = {}, {}, {}

    def word(self, terms, constant):
        terms = {t: m for t, m in terms.items() if m}
        if not terms:
            return constant
        key = frozenset(terms.items()), constant
        if key not in self.words:
            self.words[key] = Word(terms, constant)
        return self.words[key]

    def atom(self, name):
        """The unknown word of this name."""
        return self.word({(32 * self.atoms.setdefault(name, len(self.atoms)),): ONES}, 0)

    # -- values of other widths
    def whole(self, a):
        """A value of at most 32 bits as a word with zeros above it."""
        if isinstance(a, (int, Word)):
            return a
        if isinstance(a, Part) and isinstance(a.whole, Word):
            return self.op('and', 32, self.op('shr', 32, a.whole, a.low), mask(a.w))
        if isinstance(a, Join):
            total = 0
            for i, p in enumerate(a.parts):
                total = self.op('xor', 32, total, self.op('shl', 32, self.whole(p), a.w * i))
            return total
        raise Unsupported('a value that no rule describes')

    def symbolic(self, name, w, *args):
        if name in ('carry', 'borrow'):
            return UNKNOWN
        if w > 32:
            return self.wide(name, w, *args)
        if w < 32:
            return self.narrow(name, w, *args)
        args = tuple(map(self.whole, args))
        if all(isinstance(a, int) for a in args):
            return self.op(name, w, *args)
        key = name, *args
        if key not in self.results:
            rule = getattr(self, 'rule_' + name, None)
            if rule is None:
                raise Unsupported(name, w)
            self.results[key] = rule(*args)
        return self.results[key]

    def narrow(self, name, w, *args):
        """Bitwise operations on parts of words."""
        if name not in ('and', 'or', 'xor', 'not'):
            raise Unsupported(name, w)
        parts = [a for a in args if not isinstance(a, int)]
        low = parts[0].low if isinstance(parts[0], Part) else 0
        if all(isinstance(p, Part) and p.low == low for p in parts):
            return self.cut(w, 32, self.op(name, 32, *(a << low if isinstance(a, int) else a.whole for a in args)), low)
        return self.cut(w, 32, self.op(name, 32, *map(self.whole, args)), 0)

    def wide(self, name, w, *args):
        """Operations on words side by side. Of sums, only the lowest word is known."""
        n = w // 32
        if name in ('and', 'or', 'xor', 'not'):
            columns = zip(*(self.regroup(w, [a], 32) for a in args))
            return self.join(32, [self.op(name, 32, *words) for words in columns])
        words = self.regroup(w, args[:1], 32)
        if name == 'add':
            return self.join(32, [self.op('add', 32, words[0], self.cut(32, w, args[1], 0))] + [UNKNOWN] * (n - 1))
        if name == 'shr' and args[1] % 32 == 0:
            return self.join(32, words[args[1] // 32:] + [0] * (args[1] // 32))
        if name == 'shl' and args[1] % 32 == 0:
            return self.join(32, [0] * (args[1] // 32) + words[:n - args[1] // 32])
        raise Unsupported(name, w)

    # -- rules for words; an argument may also be an integer
    def terms(self, a):
        return ({}, a) if isinstance(a, int) else (a.terms, a.constant)

    def bits(self, a):
        """Those that may be set."""
        terms, bits = self.terms(a)
        for m in terms.values():
            bits |= m
        return bits

    def rule_xor(self, a, b):
        (s, c), (t, d) = self.terms(a), self.terms(b)
        total = dict(s)
        for factors, m in t.items():
            total[factors] = total.get(factors, 0) ^ m
        return self.word(total, c ^ d)

    def rule_not(self, a):
        return self.rule_xor(a, ONES)

    def rule_and(self, a, b):
        (s, c), (t, d) = self.terms(a), self.terms(b)
        if self.bits(a) & self.bits(b) == 0:
            return 0
        if len(s) * len(t) > MOST_PRODUCTS:
            raise Unsupported('a product of long sums')
        total = {}
        for p, m in [*s.items(), ((), c)]:
            for q, n in [*t.items(), ((), d)]:
                if m & n:
                    factors = tuple(sorted({*p, *q}))
                    total[factors] = total.get(factors, 0) ^ m & n
        return self.word(total, total.pop((), 0))

    def rule_or(self, a, b):
        return self.op('xor', 32, self.op('xor', 32, a, b), self.op('and', 32, a, b))

    def rule_rol(self, a, k):
        return self.word({tuple(sorted(f & ~31 | f + k & 31 for f in factors)): rotate(m, k)
                          for factors, m in a.terms.items()}, rotate(a.constant, k))

    def rule_shl(self, a, k):
        return self.op('and', 32, self.op('rol', 32, a, k), ONES << k & ONES)

    def rule_shr(self, a, k):
        return self.op('and', 32, self.op('rol', 32, a, -k % 32), ONES >> k)

    def rule_add(self, a, b, carry=0):
        return self.sum(a, b, 1, carry)

    def rule_sub(self, a, b, carry=0):
        return self.sum(a, b, -1, -carry)

    def sum(self, a, b, sign, constant):
        """a + sign * b + constant."""
        total = {}
        for x, factor in ((a, 1), (b, sign)):
            if isinstance(x, int):
                constant += factor * x
                continue
            words, c = x.sum or ({x: 1}, 0)
            constant += factor * c
            for v, n in words.items():
                total[v] = total.get(v, 0) + factor * n & ONES
        self.join_products(total)
        total, constant = {v: n for v, n in total.items() if n}, constant & ONES
        if not total:
            return constant
        if constant == 0 and list(total.values()) == [1]:
            return next(iter(total))
        found = self.atom((frozenset(total.items()), constant))
        found.sum = total, constant
        return found

    def join_products(self, total):
        """Words without a common bit: their sum is their exclusive or."""
        products = [v for v, n in total.items() if n == 1 and v.products]
        for i, p in enumerate(products):
            for q in products[:i]:
                if self.op('and', 32, p, q) == 0:
                    del total[p], total[q]
                    both = self.op('xor', 32, p, q)
                    total[both] = total.get(both, 0) + 1
                    self.join_products(total)
                    return
