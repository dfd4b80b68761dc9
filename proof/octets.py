"""Bytes as sums of tables: the domain of SM4.

A byte is a constant plus, over GF(2), a sum of tables of 256 bytes, each looked up with an atom, an unknown byte. A
table has 0 for 0. A function of such a sum is again one where the function is affine on the bits that the sum may have.
Otherwise the sum may be M v + f(v) for a linear map M (which may lose bits), a table f and a sum v that enters the
S-box in the standard, one of those that were given to named(): v is an atom itself, and the result is a table for it. M is
read off the table of one atom of v and then checked for all of them. Any other sum under a function becomes an atom of
its own, as does a conjunction of bits of different atoms: values that may be anything.

Every unknown of a block is known by its name within the block, and every byte belongs to a block, or to none if it
comes from the round keys alone. So what was computed for one block is found again for all others. Bytes of several
blocks only have sums and affine maps. Equal bytes are one object. All rules are identities, so bytes that are the same
object are equal for every value of the unknowns; the reverse need not hold.
"""
from values import OPERATIONS, Domain, Unsupported

UNKNOWN = object()  # a carry: nothing may depend on it
IDENTITY, ZERO = bytes(range(256)), bytes(256)
BITS = [bytes(v & 1 << i for v in range(256)) for i in range(8)]


def add_tables(s, t):
    return (int.from_bytes(s, 'little') ^ int.from_bytes(t, 'little')).to_bytes(256, 'little')


class Sum:
    """Within a block: terms by atom; `bits` may be set."""
    __slots__ = 'terms', 'constant', 'bits', 'octets'

    def __init__(self, terms, constant):
        self.terms, self.constant, self.octets = terms, constant, {}
        self.bits = constant
        together = 0
        for t in terms.values():
            together |= int.from_bytes(t, 'little')
        for half in (1024, 512, 256, 128, 64, 32, 16, 8):
            together |= together >> half
        self.bits |= together & 255

    def of(self, block):
        """This sum as a byte of a block."""
        found = self.octets.get(block)
        if found is None:
            found = self.octets[block] = Octet(self, block)
        return found


class Octet:
    __slots__ = 'sum', 'block'

    def __init__(self, sum_, block):
        self.sum, self.block = sum_, block


class Mixed:
    """A sum of bytes of several blocks: block -> Sum without a constant."""
    __slots__ = 'parts', 'constant'

    def __init__(self, parts, constant):
        self.parts, self.constant = parts, constant


class Octets(Domain):
    def __init__(self):
        self.sums, self.mixtures, self.results = {}, {}, {}
        self.atoms = self.anything = 0  # atoms are counted up; those that may be anything, down
        self.pivots = {}  # atom -> the named sums in which its table is invertible: (terms, constant, inverse, atom)
        self.functions, self.affine_on, self.tables = {}, {}, {}

    # -- making bytes
    def sum(self, terms, constant):
        if not terms:
            return constant
        key = frozenset(terms.items()), constant
        found = self.sums.get(key)
        if found is None:
            found = self.sums[key] = Sum(terms, constant)
        return found

    def fresh(self):
        """A new unknown, as a sum of a block."""
        self.atoms += 1
        return self.sum({self.atoms: IDENTITY}, 0)

    def named(self, a):
        """Marks a sum that enters the S-box in the standard. Returns it."""
        self.name(a.sum)
        return a

    def name(self, s):
        """Makes a sum an atom of its own."""
        self.atoms += 1
        pivot = max((k for k, t in s.terms.items() if len(set(t)) == 256), default=None)
        if pivot is not None:
            inverse = bytes(s.terms[pivot].index(v) for v in range(256))
            self.pivots.setdefault(pivot, []).append((s.terms, s.constant, inverse, self.atoms))
        return self.atoms

    # -- functions of one atom
    def known(self, s):
        """(atom, table) if the sum is that function of an atom there is, else None."""
        if s not in self.functions:
            self.functions[s] = self.find(s)
        return self.functions[s]

    def find(self, s):
        if len(s.terms) == 1:
            (atom, t), = s.terms.items()
            return atom, bytes(v ^ s.constant for v in t)
        if min(s.terms) < 0:
            return None
        for pivot in sorted(s.terms, reverse=True):
            for terms, constant, inverse, atom in self.pivots.get(pivot, ()):
                m = inverse.translate(s.terms[pivot])
                if (self.affine(m, 255) and all(t.translate(m) == s.terms.get(k, ZERO) for k, t in terms.items())
                        and all(k in terms or k == atom for k in s.terms)):
                    direct = s.terms.get(atom, ZERO)
                    return atom, bytes(v ^ w ^ m[constant] ^ s.constant for v, w in zip(m, direct))
        return None

    def function(self, s):
        """(atom, table) such that the sum is that function of the atom: a new one, if need be."""
        if self.known(s) is None:
            atom = self.name(self.sum(s.terms, 0))
            self.functions[s] = atom, bytes(v ^ s.constant for v in range(256))
        return self.functions[s]

    def affine(self, table, bits):
        """Whether the table is an affine map of the bytes that have no other bits."""
        key = table, bits
        if key not in self.affine_on:
            span, origin = {0: 0}, table[0]
            for i in range(8):
                if bits >> i & 1:
                    image = table[1 << i] ^ origin
                    span |= {v ^ 1 << i: w ^ image for v, w in span.items()}
            self.affine_on[key] = all(table[v] == w ^ origin for v, w in span.items())
        return self.affine_on[key]

    def from_function(self, atom, table):
        origin = table[0]
        table = bytes(v ^ origin for v in table) if origin else table
        return self.sum({atom: table} if any(table) else {}, origin)

    # -- operations
    def symbolic(self, name, w, *args):
        if name == 'carry':
            return UNKNOWN
        if w > 8:
            return self.wide(name, w, *args)
        block, key = None, [name, w]
        for a in args:
            if a.__class__ is Octet:
                if block is None:
                    block = a.block
                elif a.block is not None and a.block != block:
                    return self.mixed(name, w, *args)
                key.append(a.sum)
            elif isinstance(a, (int, bytes)):
                key.append(a)
            else:
                return self.mixed(name, w, *args)
        key = tuple(key)
        found = self.results.get(key)
        if found is None:
            found = self.results[key] = self.apply(*key)
        return found if isinstance(found, int) else found.of(block)

    def apply(self, name, w, *args):
        """An operation within a block, on sums and integers."""
        sums = [a for a in args if isinstance(a, Sum)]
        if not sums:
            return OPERATIONS[name](w, *args)
        if len(sums) == 1:
            return self.map(sums[0], self.table(name, w, *(None if a is sums[0] else a for a in args)))
        if name == 'xor' or name == 'or' and sums[0].bits & sums[1].bits == 0:
            return self.add(*args)
        found = [self.known(s) for s in sums]
        if all(f and f[0] == found[0][0] for f in found):
            tables = [next(f[1] for f, s in zip(found, sums) if s is a) if isinstance(a, Sum) else [a] * 256
                      for a in args]
            return self.from_function(found[0][0], bytes(OPERATIONS[name](w, *v) for v in zip(*tables)))
        if name == 'and':
            return self.conjunction(*args)
        if name == 'or':
            return self.add(self.add(*args), self.conjunction(*args))
        raise Unsupported(name, w)

    def table(self, *key):
        """An operation as a table for the one argument that is None."""
        if key not in self.tables:
            name, w, *args = key
            self.tables[key] = bytes(OPERATIONS[name](w, *(v if a is None else a for a in args)) for v in range(256))
        return self.tables[key]

    def map(self, s, table):
        """table[s]."""
        if self.affine(table, s.bits):
            origin = table[0]
            linear = bytes(v ^ origin for v in table) if origin else table
            terms = {k: v for k, t in s.terms.items() if any(v := t.translate(linear))}
            return self.sum(terms, table[s.constant])
        atom, values = self.function(s)
        return self.from_function(atom, values.translate(table))

    def add(self, a, b):
        if isinstance(a, int):
            a, b = b, a
        if isinstance(a, int):
            return a ^ b
        if isinstance(b, int):
            return self.sum(a.terms, a.constant ^ b)
        terms = dict(a.terms)
        for k, t in b.terms.items():
            if k not in terms:
                terms[k] = t
            elif terms[k] == t:
                del terms[k]
            else:
                terms[k] = add_tables(terms[k], t)
        return self.sum(terms, a.constant ^ b.constant)

    def conjunction(self, a, b):
        total = 0
        for i in range(8):
            bit = 1 << i
            if not a.bits & b.bits & bit:
                continue
            x, y = self.map(a, BITS[i]), self.map(b, BITS[i])
            if isinstance(x, int) or isinstance(y, int):
                both = y if x == bit else x if y == bit else 0
            else:
                f, g = self.known(x), self.known(y)
                if f and g and f[0] == g[0]:
                    both = self.from_function(f[0], bytes(v & w for v, w in zip(f[1], g[1])))
                else:
                    self.anything -= 1
                    both = self.sum({self.anything: BITS[i]}, 0)
            total = self.add(total, both)
        return total

    def bits(self, a):
        """Those that may be set."""
        return a if isinstance(a, int) else a.sum.bits if isinstance(a, Octet) else 255

    def mixed(self, name, w, *args):
        """Sums and affine maps of bytes of several blocks."""
        if w != 8 or not all(isinstance(a, (int, bytes, Octet, Mixed)) for a in args):
            raise Unsupported(name, w)
        if name == 'xor':
            (parts, c), (others, d) = (self.parts(a) for a in args)
            parts = dict(parts)
            for block, s in others.items():
                parts[block] = self.add(parts.get(block, 0), s)
            return self.mixture(parts, c ^ d)
        symbols = [a for a in args if isinstance(a, (Octet, Mixed))]
        if len(symbols) != 1:
            raise Unsupported(f'{name} of bytes of several blocks')
        table = self.table(name, 8, *(None if a is symbols[0] else a for a in args))
        parts, constant = self.parts(symbols[0])
        bits = constant
        for s in parts.values():
            bits |= s.bits
        if not self.affine(table, bits):
            raise Unsupported(f'{name} of bytes of several blocks')
        linear = bytes(v ^ table[0] for v in table) if table[0] else table
        return self.mixture({block: self.map(s, linear) for block, s in parts.items()}, table[constant])

    def parts(self, a):
        if isinstance(a, int):
            return {}, a
        if isinstance(a, Octet):
            return {a.block: self.sum(a.sum.terms, 0)}, a.sum.constant
        return a.parts, a.constant

    def mixture(self, parts, constant):
        parts = {block: s for block, s in parts.items() if not isinstance(s, int)}  # those are zero
        if not parts:
            return constant
        if len(parts) == 1:
            (block, s), = parts.items()
            return self.add(s, constant).of(block)
        key = frozenset(parts.items()), constant
        if key not in self.mixtures:
            self.mixtures[key] = Mixed(parts, constant)
        return self.mixtures[key]

    def wide(self, name, w, *args):
        """Bitwise operations and shifts of several bytes."""
        if name in ('and', 'or', 'xor', 'not'):
            return self.join(8, [self.op(name, 8, *v) for v in zip(*(self.regroup(w, [a], 8) for a in args))])
        if name == 'add':
            a, b = (self.regroup(w, [v], 8) for v in args[:2])
            if any(args[2:]) or a != b and any(self.bits(v) & self.bits(u) for v, u in zip(a, b)):
                raise Unsupported(name, w)
            return self.op('shl', w, args[0], 1) if a == b else self.op('xor', w, *args[:2])  # no bit in common
        if name not in ('shl', 'shr', 'rol'):
            raise Unsupported(name, w)
        a, n = self.regroup(w, args[:1], 8), w // 8
        places, k = divmod(args[1] if name != 'shr' else w - args[1], 8)
        # Rotated to the left, without the bits that came round in a shift.
        a = [a[(i - places) % n] for i in range(n)]
        if k:
            a = [self.op('xor', 8, self.op('shl', 8, v, k), self.op('shr', 8, below, 8 - k))
                 for v, below in zip(a, a[-1:] + a)]
        if name != 'rol':
            kept = OPERATIONS[name](w, (1 << w) - 1, args[1])
            a = [self.op('and', 8, v, kept >> 8 * i & 255) for i, v in enumerate(a)]
        return self.join(8, a)
