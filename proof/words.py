"""A domain of symbolic words: a hash-consed graph in which every word also carries its values for a few sample inputs.

The samples only guide: they say where in the graph a value may be found, and which way a branch goes where that is
allowed. What is claimed of a word is proved from its definition. The rewriting rules below are identities of OPERATIONS;
`rules_agree` tries them on random operands before every proof.
"""
import random

import z3

from theorem import Refused
from values import OPERATIONS, Domain, Leak, mask

COMMUTATIVE = 'add', 'carry', 'mul', 'high', 'and', 'or', 'xor'
BITS = 'carry', 'borrow', 'zero', 'less_signed'  # their result is one bit, whatever the operands' width


class Word:
    """An operation on words and integers, or a symbol; 'cut' has (whole, low bit) and 'join' equal parts, lowest first."""
    __slots__ = 'op', 'w', 'args', 'sample', 'id'

    def __init__(self, op, w, args, sample, number):
        self.op, self.w, self.args, self.sample, self.id = op, w, args, sample, number

    def __repr__(self):
        return f'{self.op}#{self.id}'


class Words(Domain):
    def __init__(self, samples):
        self.samples = samples
        self.table = {}
        self.at = {}  # values for the samples -> words of 64 bits that have them, oldest first
        self.decisions = None  # a list, if branches on symbols may follow the samples ..
        self.turned = ()  # .. but for these places in it, where they go the other way
        self.sealed = False  # set: what is made from now on is not looked for in `at`

    def symbol(self, w, sample):
        return self._enter('symbol', w, (len(self.table),), tuple(sample))

    def make(self, op, w, *args):
        """The word for an operation, without rewriting."""
        found = self.table.get((op, w, args))
        if found is None:
            columns = [a.sample if type(a) is Word else (a,) * self.samples for a in args]
            if op == 'cut':
                low, m = args[1], mask(w)
                sample = tuple([x >> low & m for x in columns[0]])
            elif op == 'join':
                step = w // len(args)
                sample = tuple([sum(x << step * i for i, x in enumerate(v)) for v in zip(*columns)])
            else:
                f = OPERATIONS[op]
                sample = tuple([f(w, *v) for v in zip(*columns)])
            found = self._enter(op, w, args, sample)
        return found

    def _enter(self, op, w, args, sample):
        word = self.table[op, w, args] = Word(op, 1 if op in BITS else w, args, sample, len(self.table))
        if w == 64 and not self.sealed:
            self.at.setdefault(sample, []).append(word)
        return word

    def decide(self, bit):
        if self.decisions is None or len(set(bit.sample)) != 1:
            raise Leak('a branch depends on a symbol')
        self.decisions.append((bit, bit.sample[0] ^ (len(self.decisions) in self.turned)))
        return self.decisions[-1][1]

    # -- rewriting
    def symbolic(self, op, w, *args):
        if op in ('add', 'carry', 'sub', 'borrow') and len(args) == 2:
            args = *args, 0
        words = [a for a in args if type(a) is Word]
        if len(words) == 1 and op != 'choose':
            only = words[0]
            if only.op == 'choose' and isinstance(only.args[1], int) and isinstance(only.args[2], int):
                x, y = (self.op(op, w, *(v if a is only else a for a in args)) for v in only.args[1:])
                return self.op('choose', 1 if op in BITS else w, only.args[0], x, y)
        if op in COMMUTATIVE:
            a, b = args[:2]
            if isinstance(a, int) or not isinstance(b, int) and a.id > b.id:
                args = b, a, *args[2:]
        rule = getattr(self, '_' + op, None)
        found = rule(w, *args) if rule else None
        if found is None and op in ('and', 'or', 'xor'):
            found = self._one_condition(op, w, *args)
        if found is None:
            found = self.make(op, w, *args)
        return found

    def _add(self, w, a, b, c):
        if b == 0 and c == 0:
            return a
        if isinstance(a, int) and b == 0 and a == 0:
            return self.op('choose', w, c, 1, 0)
        if type(c) is Word and isinstance(a, int) and isinstance(b, int):
            return self.op('choose', w, c, (a + b + 1) & mask(w), (a + b) & mask(w))
        return None

    def _carry(self, w, a, b, c):
        if b == 0 and c == 0:
            return 0
        if type(c) is Word and isinstance(a, int) and isinstance(b, int):
            return self.op('choose', 1, c, a + b + 1 >> w, a + b >> w)
        return None

    def _sub(self, w, a, b, c):
        if b == 0 and c == 0:
            return a
        if a is b or isinstance(a, int) and isinstance(b, int):
            d = 0 if a is b else a - b
            return self.op('choose', w, c, d - 1 & mask(w), d & mask(w))
        return None

    def _borrow(self, w, a, b, c):
        if b == 0 and c == 0:
            return 0
        if a is b:
            return c
        if isinstance(a, int) and isinstance(b, int):
            return self.op('choose', 1, c, int(a < b + 1), int(a < b))
        return None

    def _mul(self, w, a, b):
        return {0: 0, 1: a}.get(b) if isinstance(b, int) else None

    def _high(self, w, a, b):
        return 0 if isinstance(b, int) and b < 2 else None

    def _and(self, w, a, b):
        if a is b or b == mask(w):
            return a
        if b == 0:
            return 0
        if b == 1:
            return self.op('choose', w, self.cut(1, w, a, 0), 1, 0)
        for x, y in ((a, b), (b, a)):
            if type(x) is Word and x.op == 'choose' and set(x.args[1:]) == {0, mask(w)}:
                if (both := self._two_masks('and', w, a, b)) is not None:
                    return both
                return self.op('choose', w, x.args[0], y if x.args[1] else 0, 0 if x.args[1] else y)
        return self._two_masks('and', w, a, b)

    def _or(self, w, a, b):
        if a is b or b == 0:
            return a
        return b if b == mask(w) else self._two_masks('or', w, a, b)

    def _xor(self, w, a, b):
        if a is b:
            return 0
        if isinstance(b, int):
            return a if b == 0 else self.op('not', w, a) if b == mask(w) else None
        for x, y in ((a, b), (b, a)):
            if y.op == 'xor' and x in y.args:
                return y.args[1] if y.args[0] is x else y.args[0]
            if y.op == 'choose' and 0 in y.args and any(v is x or type(v) is Word and v.op == 'xor' and x in v.args for v in y.args):
                return self.op('choose', w, y.args[0], *(self.op('xor', w, x, v) for v in y.args[1:]))
        return self._two_masks('xor', w, a, b)

    def _two_masks(self, op, w, a, b):
        """Both are 0 or one constant, as conditions say."""
        if w > 1 and type(b) is Word and a.op == b.op == 'choose':
            values = {*a.args[1:], *b.args[1:]}
            if len(values) == 2 and 0 in values and all(isinstance(v, int) for v in values):
                bits = [x.args[0] if x.args[1] else self.op('not', 1, x.args[0]) for x in (a, b)]
                return self.op('choose', w, self.op(op, 1, *bits), max(values), 0)
        return None

    def _one_condition(self, op, w, a, b):
        """One bit decides both, and each way one of them is a number."""
        if type(b) is Word and a.op == b.op == 'choose' and a.args[0] is b.args[0]:
            pairs = list(zip(a.args[1:], b.args[1:]))
            if all(isinstance(x, int) or isinstance(y, int) for x, y in pairs):
                return self.op('choose', w, a.args[0], *(self.op(op, w, x, y) for x, y in pairs))
        return None

    def _not(self, w, a):
        return a.args[0] if a.op == 'not' else None

    def _shl(self, w, a, k):
        if k == w - 1:
            return self.op('choose', w, self.cut(1, w, a, 0), 1 << k, 0)
        return a if k == 0 else None

    def _shr(self, w, a, k):
        if k == w - 1:
            return self.op('choose', w, self.cut(1, w, a, k), 1, 0)
        return a if k == 0 else None

    def _sar(self, w, a, k):
        return self.op('choose', w, self.cut(1, w, a, k), mask(w), 0) if k == w - 1 else None

    def _zero(self, w, a):
        return self.op('not', 1, a) if w == 1 else None

    def _choose(self, w, c, a, b):
        if isinstance(c, int):
            return a if c else b
        if a is b or isinstance(a, int) and a == b:
            return a
        if c.op == 'not':
            return self.op('choose', w, c.args[0], b, a)
        if w == 1 and isinstance(a, int) and isinstance(b, int):
            return c if a else self.op('not', 1, c)
        for i, x in enumerate((a, b)):
            if type(x) is Word and x.op == 'choose' and x.args[0] is c:
                return self.op('choose', w, c, *((x.args[1], b) if i == 0 else (a, x.args[2])))
        return None

    def cut(self, w, of, a, low):
        if isinstance(a, int):
            return a >> low & mask(w)
        if w == of or a is None:  # None: a register that nothing has written, which no operation accepts
            return a
        if a.op == 'cut':
            return self.cut(w, a.args[0].w, a.args[0], a.args[1] + low)
        if a.op == 'join':
            step = of // len(a.args)
            if low % step + w <= step:
                return self.cut(w, step, a.args[low // step], low % step)
            if low % step == 0 and w % step == 0:
                return self.join(step, a.args[low // step:(low + w) // step])
        if a.op == 'choose':
            x, y = a.args[1:]
            if isinstance(x, int) and isinstance(y, int):
                return self.op('choose', w, a.args[0], self.cut(w, of, x, low), self.cut(w, of, y, low))
        if a.op in ('and', 'or', 'xor', 'not') and w == 8:  # a flag in a byte register, no limb
            return self.op(a.op, w, *(self.cut(w, of, x, low) for x in a.args))
        if a.op == 'shr' and low + w + a.args[1] <= of:
            return self.cut(w, of, a.args[0], low + a.args[1])
        return self.make('cut', w, a, low)

    def join(self, w, parts):
        if len(parts) == 1:
            return parts[0]
        if all(isinstance(p, int) for p in parts):
            return sum(p << w * i for i, p in enumerate(parts))
        first, total = parts[0], w * len(parts)
        if type(first) is Word and first.op == 'cut' and all(
                type(p) is Word and p.op == 'cut' and p.args[0] is first.args[0] and p.args[1] == first.args[1] + w * i
                for i, p in enumerate(parts)):
            return self.cut(total, first.args[0].w, *first.args)
        conditions = {p.args[0] if p.op == 'choose' else p if w == 1 else None for p in parts if type(p) is Word}
        if len(conditions) == 1 and None not in conditions:  # parts that one condition decides
            c, = conditions
            x, y = (self.join(w, [p if isinstance(p, int) else v if p is c else p.args[2 - v] for p in parts]) for v in (1, 0))
            return self.op('choose', total, c, x, y)
        if total == 64 and type(first) is Word and first.op in ('and', 'or', 'xor', 'not') and all(
                type(p) is Word and p.op == first.op for p in parts):  # lanes of a limb
            return self.op(first.op, total, *(self.join(w, values) for values in zip(*(p.args for p in parts))))
        steps = [w // len(p.args) for p in parts if type(p) is Word and p.op == 'join']
        if steps:
            step = min(steps)
            parts = [self.cut(step, w, p, k) for p in parts for k in range(0, w, step)]
        return self.make('join', total, *parts)


def rules_agree(rounds=10_000, seed=1):
    """Tries the rules: what a random expression was rewritten into has the values of the expression."""
    rnd = random.Random(seed)
    d = Words(16)
    pools = {w: [d.symbol(w, [rnd.getrandbits(w) for _ in range(16)]) for _ in range(4)] + [0, 1, mask(w)] for w in (1, 8, 32, 64)}
    count = {'add': 2, 'carry': 2, 'sub': 2, 'borrow': 2, 'mul': 2, 'high': 2, 'and': 2, 'or': 2, 'xor': 2, 'not': 1, 'zero': 1}
    for _ in range(rounds):
        w = rnd.choice((1, 8, 32, 64))
        op = rnd.choice([*count, 'choose', 'shl', 'shr', 'sar', 'cut', 'join'])
        recent = lambda v: rnd.choice(pools[v][-12:] + pools[v][:8])  # noqa: E731
        column = lambda x: x.sample if type(x) is Word else (x,) * 16  # noqa: E731
        if op == 'cut':
            a, low = recent(64), rnd.choice((0, 1, 8, 32, 55, 63))
            w = 1 if low % 8 else rnd.choice((8, 32)) if low % 32 == 0 else 8
            v, want = d.cut(w, 64, a, low), [x >> low & mask(w) for x in column(a)]
        elif op == 'join':
            step = rnd.choice((1, 8, 32))
            lane = rnd.choice((lambda: recent(step), lambda: 0, lambda: d.op('and', step, recent(step), recent(step)),
                               lambda: d.op('not', step, recent(step))))
            parts = [lane() or recent(step), *(lane() for _ in range(64 // step - 1))]
            w, v = 64, d.join(step, parts)
            want = [sum(x << step * i for i, x in enumerate(xs)) for xs in zip(*map(column, parts))]
        else:
            if op == 'choose':
                args = [rnd.choice((recent(1), pools[1][0])), recent(w), recent(w)]
            elif op in ('shl', 'shr', 'sar'):
                args = [recent(w), rnd.choice((0, w - 1, w // 2))]
            else:
                args = [recent(w) for _ in range(count[op])] + ([recent(1)] if op in ('add', 'carry', 'sub', 'borrow') else [])
            v, want = d.op(op, w, *args), [OPERATIONS[op](w, *xs) for xs in zip(*map(column, args))]
            w = 1 if op in BITS else w
        if list(column(v)) != list(want):
            raise Refused(f'a rule for {op} disagrees with its meaning')
        pools[w].append(v)


# -- slices of the graph
def rebuilt(d, outs, known):
    """The words `outs` with those in `known` replaced; the definition of a replaced word is not looked at."""
    memo = dict(known)

    def value(a):
        if type(a) is not Word:
            return a
        if a not in memo:
            args = [value(x) for x in a.args] if a.op != 'symbol' else a.args
            memo[a] = a if all(x is y for x, y in zip(args, a.args)) else again(d, a, args)
        return memo[a]
    return [value(a) for a in outs]


def again(d, a, args):
    """The operation of a on other operands."""
    if a.op == 'cut':
        return d.cut(a.w, a.args[0].w, args[0], a.args[1])
    if a.op == 'join':
        return d.join(a.w // len(args), args)
    return d.op(a.op, operand_width(a), *args)


def operand_width(a):
    """What OPERATIONS takes as w: the result's width, or for a single bit the operands'."""
    if a.op in BITS:
        return max((x.w for x in a.args[:2] if type(x) is Word), default=64)
    return a.w


def shape(outs, cuts):
    """A key that two slices share only if they differ in nothing but which words their cuts and symbols are."""
    number = {c: i for i, c in enumerate(cuts) if type(c) is Word}
    lines = []

    def visit(a):
        n = number.get(a)
        if n is None:
            if a.op == 'symbol' or len(lines) > 5000:
                raise Refused('it depends on more than its operands')
            args = tuple([visit(x) if type(x) is Word else x for x in a.args])
            lines.append((a.op, operand_width(a), a.w, tuple([type(x) is Word for x in a.args]), args))
            n = number[a] = len(cuts) + len(lines) - 1
        return n
    heads = tuple([(visit(a),) if type(a) is Word else a for a in outs])
    pattern = tuple([c if not isinstance(c, Word) else (number[c],) for c in cuts])
    return heads, pattern, tuple(lines)


class Column:
    """A word's values for a list of cases: integers or words. Bits outside of `known` are not determined, and 0 here."""
    __slots__ = 'w', 'known', 'values', 'plain'

    def __init__(self, w, values, known=None):
        self.w, self.values, self.known = w, values, mask(w) if known is None else known
        self.plain = all(type(v) is int for v in values)


def with_parts(known):
    """Columns for the parts of joined words too: rewriting may have gone past the word to them."""
    for a, c in list(known.items()):
        if a.op == 'join' and all(type(v) is int for v in c.values):
            step = a.w // len(a.args)
            for i, part in enumerate(a.args):
                if type(part) is Word:
                    known.setdefault(part, Column(step, [v >> step * i & mask(step) for v in c.values], c.known >> step * i & mask(step)))
    return known


def tabulated(d, outs, known, cases):
    """The columns of `outs`, given columns for some words, e.g. a scalar's limbs of which only a window is known; what is
    computed on the way is added to them."""
    memo = known

    def column(a, w=None):
        if type(a) is not Word:
            return Column(w or 64, [a] * cases)
        if a not in memo:
            memo[a] = Column(a.w, [a] * cases) if a.op == 'symbol' else combined(a)
        return memo[a]

    def combined(a):
        w, of = a.w, operand_width(a)
        args = [column(x) if type(x) is Word else None for x in a.args]
        partial = [c for c in args if c is not None and c.known != mask(c.w)]
        if partial:
            return transfer(a, [x if c is None else c for x, c in zip(a.args, args)])
        columns = [[x] * cases if c is None else c.values for x, c in zip(a.args, args)]
        if all(c is None or c.plain for c in args) and a.op not in ('cut', 'join'):
            f = OPERATIONS[a.op]
            return Column(w, [f(of, *v) for v in zip(*columns)])
        return Column(w, [again(d, a, v) for v in zip(*columns)])

    def transfer(a, args):
        full = mask(a.w)
        spread = [(x.known, x.values) if type(x) is Column else (full, [x] * cases) for x in args]
        if not all(type(x) is int for _, column_values in spread for x in column_values):
            raise Refused(f'{a} of bits outside of the window and other words')
        (k, v), (l, u) = spread[0], spread[-1]
        if a.op in ('shl', 'shr', 'cut'):
            s = a.args[1]
            if a.op == 'shl':
                k, v = (k << s | mask(s)) & full, [x << s & full for x in v]
            else:
                k, v = (k >> s | (mask(a.w) << (a.w - s) & full if a.op == 'shr' else 0)) & full, [x >> s & full for x in v]
        elif a.op == 'not':
            v = [~x & k for x in v]
        elif a.op == 'xor':
            k, v = k & l, [(x ^ y) & k & l for x, y in zip(v, u)]
        elif a.op in ('and', 'or'):
            # decided wherever it is in every case
            sure = [(k & l | k & ~x | l & ~y) if a.op == 'and' else (k & l | k & x | l & y) for x, y in zip(v, u)]
            k = full
            for s in sure:
                k &= s
            v = [(x & y if a.op == 'and' else x | y) & k for x, y in zip(v, u)]
        elif a.op == 'join':
            step = a.w // len(args)
            spread = [(x.known, x.values) if type(x) is Column else (mask(step), [x] * cases) for x in args]
            k = sum((p & mask(step)) << step * i for i, (p, _) in enumerate(spread))
            v = [sum(x << step * i for i, x in enumerate(xs)) for xs in zip(*(q for _, q in spread))]
        elif a.op == 'choose' and all(isinstance(x, int) for x in a.args[1:]):
            k = full & ~(a.args[1] ^ a.args[2])
            v = [a.args[2] & k] * cases
        else:
            raise Refused(f'{a.op} of bits outside of the window')
        return Column(a.w, v, k)
    return [column(a) for a in outs]


# -- bit vectors
def vector(a, env, w=64):
    """The z3 term of a word, over the terms that env has for the cut words."""
    if type(a) is not Word:
        return z3.BitVecVal(a, w)
    if a not in env:
        env[a] = _term(a, env)
    return env[a]


def _term(a, env):
    w = operand_width(a)
    if a.op in ('symbol', 'high'):
        raise Refused(f'it also depends on {a}')
    if a.op == 'cut':
        x = vector(a.args[0], env)
        return z3.Extract(a.args[1] + a.w - 1, a.args[1], x)
    if a.op == 'join':
        step = a.w // len(a.args)
        return z3.Concat(*(vector(x, env, step) for x in reversed(a.args)))
    if a.op == 'choose':
        c, x, y = vector(a.args[0], env, 1), vector(a.args[1], env, w), vector(a.args[2], env, w)
        return z3.If(c == 1, x, y)
    x = [vector(v, env, w) for v in a.args[:2]]
    if a.op in ('add', 'sub', 'carry', 'borrow'):
        c = vector(a.args[2], env, 1)
        if a.op in ('add', 'sub'):
            c = z3.ZeroExt(w - 1, c) if w > 1 else c
            return x[0] + x[1] + c if a.op == 'add' else x[0] - x[1] - c
        x, c = [z3.ZeroExt(1, v) for v in x], z3.ZeroExt(w, c)
        return z3.Extract(w, w, x[0] + x[1] + c if a.op == 'carry' else x[0] - x[1] - c)
    if a.op == 'zero':
        return z3.If(x[0] == 0, z3.BitVecVal(1, 1), z3.BitVecVal(0, 1))
    if a.op == 'less_signed':
        return z3.If(x[0] < x[1], z3.BitVecVal(1, 1), z3.BitVecVal(0, 1))
    if a.op == 'rol':
        return z3.RotateLeft(x[0], a.args[1])
    if a.op in ('shl', 'shr', 'sar'):
        k = a.args[1]
        return x[0] << k if a.op == 'shl' else z3.LShR(x[0], k) if a.op == 'shr' else x[0] >> k
    return {'and': lambda: x[0] & x[1], 'or': lambda: x[0] | x[1], 'xor': lambda: x[0] ^ x[1], 'not': lambda: ~x[0],
            'mul': lambda: x[0] * x[1]}[a.op]()
