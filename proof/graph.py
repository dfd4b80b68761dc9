"""A graph of what machine code computed, and proofs that a definition computes the same.

A definition runs after the code, on the same unknowns. For a word of the definition the words of the code are found
that agree with it on all samples; each that is proved equal stands for it from then on, and is an unknown in later
proofs. So samples choose what is to be proved, and nothing else.
"""
import z3

from theorem import Refused
from values import OPERATIONS, Domain, Join, Part, mask, signed

SAMPLES = 40


class Node:
    __slots__ = 'name', 'w', 'args', 'samples'

    def __init__(self, name, w, args, samples):
        self.name, self.w, self.args, self.samples = name, w, args, samples


class Graph(Domain):
    def __init__(self):
        self.nodes, self.alike = {}, {}  # alike: samples -> the nodes that have them

    def unknown(self, w, samples):
        return self.enter(Node('unknown', w, (), tuple(samples)))

    def enter(self, node):
        self.alike.setdefault((node.w, node.samples), []).append(node)
        return node

    def whole(self, a):
        """As a node, if it is a part or parts."""
        if isinstance(a, Part):
            return self.make('part', a.w, (self.whole(a.whole), a.low))
        if not isinstance(a, Join):
            return a
        pieces, value = [], 0  # (how far the part is from its place in the word `of`, `of`), and what is kept of that
        for i, p in enumerate(a.parts):
            of, at, kept = (p.whole, p.low, mask(a.w)) if isinstance(p, Part) else (p, 0, mask(a.w))
            if isinstance(of, Node) and of.name == 'and' and isinstance(of.args[2], int):
                of, kept = of.args[1], of.args[2] >> at & mask(a.w)
            if isinstance(of, Node) and of.name == 'part':
                of, at = of.args[1], at + of.args[2]
            pieces.append((a.w * i - at, of))
            value |= kept << a.w * i
        w, first = a.w * len(pieces), pieces[0][1]
        if isinstance(first, Node) and first.w == w and all(piece == (0, first) for piece in pieces):
            return self.op('and', w, first, value)
        return self.make('join', a.w, tuple(map(self.whole, a.parts)))

    def make(self, name, w, args):
        key = name, w, args
        if key not in self.nodes:
            columns = zip(*(a.samples if isinstance(a, Node) else (a,) * SAMPLES for a in args))
            meaning = {**OPERATIONS, 'part': lambda w, a, low: a >> low & mask(w),
                       'join': lambda w, *parts: sum(p << w * i for i, p in enumerate(parts))}[name]
            width = 1 if name in ('carry', 'borrow', 'zero', 'less_signed') else w * len(args) if name == 'join' else w
            self.nodes[key] = self.enter(Node(name, width, (w, *args), tuple(meaning(w, *c) for c in columns)))
        return self.nodes[key]

    def symbolic(self, name, w, *args):
        if name == 'and' and isinstance(args[0], int):
            args = args[::-1]
        if name == 'and' and args[1] == mask(w):
            return args[0]
        return self.make(name, w, tuple(map(self.whole, args)))


class Bits:
    """Nodes as z3's bit vectors; equality by its decision procedure."""

    def __init__(self):
        self.leaves = {}  # node -> the node that stands for it; a node that stands for itself is an unknown
        self.bounds = {}  # of nodes that are unknowns, as signed integers
        self.same = {}  # pairs asked before; the terms are kept, so that z3 does not give their numbers to others

    def term(self, a, w, known):
        if isinstance(a, int):
            return z3.BitVecVal(a, w)
        while self.leaves.get(a, a) is not a:
            a = self.leaves[a]
        if a not in known:
            unknown = a in self.leaves or a.name == 'unknown'
            known[a] = self.unknown(a, f'v{len(known)}') if unknown else self.operation(a, known)
        return known[a]

    def unknown(self, a, name):
        bits = max((b if b >= 0 else ~b).bit_length() + 1 for b in self.bounds.get(a, (0, mask(64))))
        return z3.SignExt(a.w - bits, z3.BitVec(name, bits)) if bits < a.w else z3.BitVec(name, a.w)

    def operation(self, a, known):
        w, *args = a.args
        if a.name == 'part':
            return z3.Extract(args[1] + w - 1, args[1], self.term(args[0], None, known))
        if a.name == 'join':
            return z3.Concat(*(self.term(p, w, known) for p in reversed(args)))
        if a.name == 'choose':
            return z3.If(self.term(args[0], 1, known) == 1, *(self.term(x, w, known) for x in args[1:]))
        x, *rest = (self.term(x, w, known) for x in args[:2])
        y = rest[0] if rest else None
        bit = lambda b: z3.If(b, z3.BitVecVal(1, 1), z3.BitVecVal(0, 1))
        if a.name in ('add', 'sub', 'carry', 'borrow'):
            c = self.term(args[2], 1, known) if len(args) > 2 else z3.BitVecVal(0, 1)
            x, y, c = z3.ZeroExt(1, x), z3.ZeroExt(1, y), z3.ZeroExt(w, c)
            v = x + y + c if a.name in ('add', 'carry') else x - y - c
            return z3.Extract(w - 1, 0, v) if a.name in ('add', 'sub') else z3.Extract(w, w, v)
        rules = {'and': lambda: x & y, 'or': lambda: x | y, 'xor': lambda: x ^ y, 'not': lambda: ~x,
                 'mul': lambda: x * y, 'shl': lambda: x << y, 'shr': lambda: z3.LShR(x, y), 'sar': lambda: x >> y,
                 'zero': lambda: bit(x == 0), 'less_signed': lambda: bit(x < y)}
        if a.name not in rules:
            raise Refused(f'no rule for {a.name}')
        return rules[a.name]()

    def equal(self, a, b):
        known = {}  # unknowns are numbered anew for each question, so that equal questions look the same
        a, b = (z3.simplify(self.term(x, x.w, known)) for x in (a, b))
        key = a.get_id(), b.get_id()
        if key not in self.same:
            solver = z3.Solver()
            solver.set('rlimit', 10_000_000)
            solver.add(a != b)
            self.same[key] = solver.check() == z3.unsat, a, b
        return self.same[key][0]


class Integers:
    """Nodes as polynomials with integer coefficients in unknowns of known ranges. Among the unknowns are quotients and
    remainders of other polynomials by powers of two. A polynomial is a tuple of (unknowns, coefficient); a value is

        ('word', p, k): bits k to k + 63 of p, in two's complement,
        ('carry', p, q): the carry of the addition of the lowest words of p and q,
        ('top', p, k): the word of bits 64 to 127 of p, shifted left by k,
        ('low', p, k): the lowest word of p, shifted right by k.

    A polynomial of which only the lowest word is used need not be the word's signed number, only the same modulo 2^64.
    For signs, upper halves of products and shifts of sums, exact() makes sure that it is.
    """

    def __init__(self):
        self.leaves = {}  # node -> its value, or the node that stands for it
        self.range = []  # of each unknown
        self.quotients, self.remainders, self.signs = {}, {}, {}

    def unknown(self, low, high):
        self.range.append((low, high))
        return (((len(self.range) - 1,), 1),)

    def sum(self, p, q, times=1):
        total = dict(p)
        for m, c in q:
            total[m] = total.get(m, 0) + times * c
        return tuple(sorted((m, c) for m, c in total.items() if c))

    def product(self, p, q):
        total = {}
        for m, c in p:
            for n, e in q:
                k = tuple(sorted(m + n))
                total[k] = total.get(k, 0) + c * e
        return tuple(sorted((m, c) for m, c in total.items() if c))

    def bounds(self, p):
        low = high = 0
        for m, c in p:
            a = b = c
            for u in m:
                ends = [x * y for x in (a, b) for y in self.range[u]]
                a, b = min(ends), max(ends)
            low, high = low + a, high + b
        return low, high

    def exact(self, p, w=64):
        """p, if it is the signed value of its w bits."""
        low, high = self.bounds(p)
        if not -1 << w - 1 <= low <= high < 1 << w - 1:
            raise Refused(f'a number may exceed {w} bits')
        return p

    def quotient(self, p, k):
        """The floor of p / 2^k."""
        if (p, k) not in self.quotients:
            low, high = self.bounds(p)
            self.quotients[p, k] = self.unknown(low >> k, high >> k)
        return self.quotients[p, k]

    def remainder(self, p, k):
        if (p, k) not in self.remainders:
            self.remainders[p, k] = self.unknown(0, mask(k))
        return self.remainders[p, k]

    def sign(self, p):
        """-1 if p is negative, else 0."""
        if p not in self.signs:
            low, high = self.bounds(p)
            self.signs[p] = self.unknown(-1 if low < 0 else 0, -1 if high < 0 else 0)
        return self.signs[p]

    def value(self, a, known):
        if isinstance(a, int):
            a = signed(64, a)
            return 'word', (((), a),) if a else (), 0
        while isinstance(self.leaves.get(a), Node):
            a = self.leaves[a]
        if a in self.leaves:
            return self.leaves[a]
        if a not in known:
            known[a] = self.operation(a, known)
        return known[a]

    def operation(self, a, known):
        name, args = a.name, a.args[1:]
        known_names = 'add', 'carry', 'sub', 'mul', 'high_signed', 'and', 'or', 'shl', 'shr', 'sar'
        if name not in known_names or a.args[0] != 64:
            raise Refused(f'no rule for {name}')
        if name in ('shl', 'shr', 'sar'):
            kind, p, k = self.value(args[0], known)
            n = args[1]
            if kind == 'word' and isinstance(n, int):
                if name == 'shl':
                    return ('word', self.product(p, (((), 1 << n),)), 0) if k == 0 else ('top', p, n)
                if name == 'shr' and k == 0:
                    return 'low', p, n
                if name == 'sar' and k == 64:
                    return 'word', self.quotient(self.exact(p, 128), n), 64
                if name == 'sar' and k == 0 and n == 63:
                    return 'word', self.sign(self.exact(p)), 0
            raise Refused(f'no rule for {name} of {kind}')
        x, y, *c = (self.value(v, known) for v in args)
        (kind, p, k), (other, q, j) = x, y
        if name in ('or', 'add') and {kind, other} == {'top', 'low'} and p == q and k + j == 64:
            return 'word', self.quotient(p, j if other == 'low' else k), 0
        if kind != 'word' or other != 'word':
            raise Refused(f'no rule for {name} of {kind} and {other}')
        c = c[0] if c and c[0] != ('word', (), 0) else None
        if name == 'add' and c is None and k == j == 0:
            return 'word', self.sum(p, q), 0
        if name == 'add' and c is not None and c[0] == 'carry':
            if k == j == 64 and sorted((p, q)) == sorted(c[1:]):
                return 'word', self.sum(p, q), 64
        if name == 'carry' and c is None and k == j == 0:
            return 'carry', p, q
        if name == 'sub' and c is None and k == j == 0:
            return 'word', self.sum(p, q, -1), 0
        if name == 'mul' and k == j == 0:
            return 'word', self.product(p, q), 0
        if name == 'high_signed' and k == j == 0:
            return 'word', self.product(self.exact(p), self.exact(q)), 64
        if name == 'and' and k == j == 0:
            for p, q in (p, q), (q, p):
                if not q:
                    return 'word', (), 0
                if q in self.signs.values():
                    return 'word', self.product(self.product(p, q), (((), -1),)), 0
                if len(q) == 1 and q[0][0] == () and q[0][1] > 0 and q[0][1] & q[0][1] + 1 == 0:
                    return 'word', self.remainder(p, q[0][1].bit_length()), 0
        raise Refused(f'no rule for {name}')

    def equal(self, a, b):
        known = {}
        return self.value(a, known) == self.value(b, known)
