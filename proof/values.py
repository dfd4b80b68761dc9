"""What instructions compute with: integers, and beside them whatever a domain puts in an unknown's place.

A value of w bits is an int in [0, 2^w) or a symbolic object. OPERATIONS is the only meaning that an operation has: a
domain folds operations on integers through it and must agree with it on everything else.
"""


def mask(w):
    return (1 << w) - 1


def signed(w, a):
    return a - (a >> (w - 1) << w)


OPERATIONS = {
    # a + b + c and a - b - c with a carry c of one bit, and the carry and borrow out of them
    'add': lambda w, a, b, c=0: (a + b + c) & mask(w),
    'carry': lambda w, a, b, c=0: (a + b + c) >> w,
    'sub': lambda w, a, b, c=0: (a - b - c) & mask(w),
    'borrow': lambda w, a, b, c=0: int(a < b + c),
    # both halves of the product of 2w bits; high_signed for signed factors
    'mul': lambda w, a, b: (a * b) & mask(w),
    'high': lambda w, a, b: (a * b) >> w,
    'high_signed': lambda w, a, b: (signed(w, a) * signed(w, b) >> w) & mask(w),
    'and': lambda w, a, b: a & b,
    'or': lambda w, a, b: a | b,
    'xor': lambda w, a, b: a ^ b,
    'not': lambda w, a: a ^ mask(w),
    # shifts by k < w
    'shl': lambda w, a, k: a << k & mask(w),
    'shr': lambda w, a, k: a >> k,
    'sar': lambda w, a, k: signed(w, a) >> k & mask(w),
    'rol': lambda w, a, k: (a << k | a >> (w - k)) & mask(w),
    # one bit
    'zero': lambda w, a: int(a == 0),
    'less_signed': lambda w, a, b: int(signed(w, a) < signed(w, b)),
    # a where the bit c is set, else b
    'choose': lambda w, c, a, b: a if c else b,
    # a byte looked up in 256 bytes
    'table': lambda w, a, t: t[a],
}


class Unsupported(Exception):
    """The domain has no rule for this operation on symbols."""


class Leak(Exception):
    """A branch, an address, or the operand of a division depends on a symbol."""


class Kept:
    """What a register holds that a function has to leave as it was; no operation accepts it."""
    __slots__ = ()


class Join:
    """Parts of w bits side by side, lowest first, not all integers and not the whole of one value."""
    __slots__ = 'w', 'parts'

    def __init__(self, w, parts):
        self.w, self.parts = w, parts


class Part:
    """Bits low .. low + w - 1 of a symbol of more bits."""
    __slots__ = 'whole', 'low', 'w', 'of'

    def __init__(self, whole, of, low, w):
        self.whole, self.of, self.low, self.w = whole, of, low, w


class Domain:
    """Folds operations on integers and moves parts of values about; a subclass adds symbolic()."""

    def op(self, name, w, *args):
        for a in args:
            if not isinstance(a, (int, bytes)):
                if any(x is None or isinstance(x, Kept) for x in args):
                    raise Unsupported(name, 'a register that nothing has written')
                return self.symbolic(name, w, *args)
        return OPERATIONS[name](w, *args)

    def symbolic(self, name, w, *args):
        raise Unsupported(name, w)

    def decide(self, bit):
        """Which way a branch on a symbol goes."""
        raise Leak('a branch depends on a symbol')

    def cut(self, w, of, a, low):
        """w bits of a value of `of` bits, from bit `low` up."""
        if isinstance(a, int):
            return a >> low & mask(w)
        if w == of:
            return a
        if a is None or isinstance(a, Kept):
            raise Unsupported('a register that nothing has written')
        if isinstance(a, Join):
            if low % a.w + w <= a.w:
                return self.cut(w, a.w, a.parts[low // a.w], low % a.w)
            if low % a.w == 0 and w % a.w == 0:
                return self.join(a.w, a.parts[low // a.w:(low + w) // a.w])
            return self.join(8, [self.cut(8, of, a, low + 8 * i) for i in range(w // 8)])
        if isinstance(a, Part):
            return Part(a.whole, a.of, a.low + low, w)
        return Part(a, of, low, w)

    def join(self, w, parts):
        """Values of w bits side by side, lowest first."""
        if len(parts) == 1:
            return parts[0]
        if all(isinstance(p, int) for p in parts):
            return sum(p << w * i for i, p in enumerate(parts))
        first = parts[0]
        if isinstance(first, Part) and all(isinstance(p, Part) and p.whole is first.whole and p.w == w
                                           and p.low == first.low + w * i for i, p in enumerate(parts)):
            return self.cut(w * len(parts), first.of, first.whole, first.low)
        if any(isinstance(p, Join) for p in parts):
            step = min(p.w for p in parts if isinstance(p, Join))
            return Join(step, tuple(self.cut(step, w, p, k) for p in parts for k in range(0, w, step)))
        return Join(w, tuple(parts))

    def regroup(self, w, values, to):
        """The same bits as a list of values of `to` bits instead of w."""
        if w == to:
            return values
        if w > to:
            return [self.cut(to, w, v, k) for v in values for k in range(0, w, to)]
        n = to // w
        return [self.join(w, values[i:i + n]) for i in range(0, len(values), n)]

    def reversed_bytes(self, w, a):
        return self.join(8, [self.cut(8, w, a, k) for k in range(w - 8, -8, -8)])
