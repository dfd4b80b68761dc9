"""What the aarch64 instructions in the library mean."""
import re

from boxes import AES_SBOX, SM4_SBOX
from machine import END, GUARD, STACK, Fault, Machine
from values import Kept, mask

SP, ZR, LINK = 31, 32, 30
KEPT, KEPT_LOW = range(19, 30), range(8, 16)  # a function leaves x19 to x29 and the low half of v8 to v15 as they were
CONDITIONS = {'eq', 'ne', 'cs', 'cc', 'mi', 'pl', 'vs', 'vc', 'hi', 'ls', 'ge', 'lt', 'gt', 'le', 'al'}
OPPOSITE = {'ne': 'eq', 'cc': 'cs', 'pl': 'mi', 'vc': 'vs', 'hi': 'ls', 'ge': 'lt', 'gt': 'le'}
LANE = {'b': 8, 'h': 16, 's': 32, 'd': 64, 'q': 128}

MEANING = {}


def means(*names):
    def enter(f):
        for name in names:
            assert name not in MEANING, name
            MEANING[name] = f
        return f
    return enter


# -- operands
class General:
    def __init__(self, number, bits):
        self.number, self.bits = number, bits

    def get(self, m):
        if self.number == ZR:
            return 0
        return m.r[self.number] if self.bits == 64 else m.d.cut(32, 64, m.r[self.number], 0)

    def put(self, m, v):
        if self.number != ZR:
            m.r[self.number] = v if self.bits == 64 else m.d.join(32, (v, 0))


class Constant:
    def __init__(self, value, shift=0):
        self.value, self.shift = value << shift, shift

    def get(self, m):
        return self.value


class Shifted:
    """A register shifted, or extended from its low bits and then shifted, as an operand of `bits`."""

    def __init__(self, of, kind, by, bits):
        self.of, self.kind, self.by, self.bits = of, kind, by, bits

    def get(self, m):
        v, d, w = self.of.get(m), m.d, self.bits
        if self.kind[1:3] == 'xt':
            part, v = {'b': 8, 'h': 16, 'w': 32, 'x': 64}[self.kind[3]], m.r[self.of.number]
            v = extend(d, d.cut(part, 64, v, 0), part, w, self.kind[0] == 's') if part < w else self.of.get(m)
            return d.op('shl', w, v, self.by) if self.by else v
        return shift(d, self.kind, w, v, self.by)


class Memory:
    """An address in brackets; `after` is what a post-indexed access adds to the base."""

    def __init__(self, text):
        inner, self.before = text.rstrip('!')[1:-1], text[-1] == '!'
        first, *rest = split(inner)
        self.base, self.offset, self.after = register(first).number, None, None
        if rest:
            self.offset = operand(rest[0])
            if len(rest) > 1:
                kind, _, by = rest[1].partition(' #')
                self.offset = Shifted(self.offset, kind, int(by or '0', 0), 64)

    def address(self, m):
        """The address of the access; the base register moves on if it has to."""
        base = m.public(m.r[self.base], 'an address')
        a = base if self.offset is None else base + m.public(self.offset.get(m), 'an address') & mask(64)
        if self.before:
            m.r[self.base] = a
        if self.after is not None:
            m.r[self.base] = a + m.public(self.after.get(m), 'an address') & mask(64)
        return a


class Vector:
    """n lanes of w bits of a vector register; what is above them is cleared by a write."""

    def __init__(self, number, w, n):
        self.number, self.w, self.n = number, w, n


class Element:
    def __init__(self, number, w, index):
        self.number, self.w, self.index = number, w, index


def split(text):
    """The operands: commas inside of brackets do not count."""
    return [t.strip() for t in re.findall(r'(?:\[[^\]]*\]!?|\{[^}]*\}(?:\[\d+\])?|[^,\[{])+', text)]


def register(t):
    if t == 'sp':
        return General(SP, 64)
    return General(ZR if t[1:] == 'zr' else int(t[1:]), 64 if t[0] == 'x' else 32)


def operand(t):
    if re.fullmatch(r'[wx](\d+|zr)|sp', t):
        return register(t)
    m = re.fullmatch(r'v(\d+)\.(\d+)([bhsd])', t)
    if m:
        return Vector(int(m[1]), LANE[m[3]], int(m[2]))
    m = re.fullmatch(r'([bhsdq])(\d+)', t)
    if m:
        return Vector(int(m[2]), LANE[m[1]], 1)
    m = re.fullmatch(r'v(\d+)\.([bhsd])\[(\d+)\]', t)
    if m:
        return Element(int(m[1]), LANE[m[2]], int(m[3]))
    if t[0] == '[':
        return Memory(t)
    m = re.fullmatch(r'\{v(\d+)\.([bhsd])\}\[(\d+)\]', t)
    if m:
        return [Element(int(m[1]), LANE[m[2]], int(m[3]))]
    if t[0] == '{':
        listed = [operand(x) for x in re.split('[,-]', t[1:-1].replace(' ', ''))]
        if '-' in t:
            first, last = listed
            count = (last.number - first.number) % 32 + 1
            listed = [Vector((first.number + k) % 32, first.w, first.n) for k in range(count)]
        return listed
    return t if t in CONDITIONS else Constant(int(t.lstrip('#'), 0))


class Instruction:
    def __init__(self, op, text, next_address):
        self.op, self.text, self.next = op, text, next_address
        name, _, self.condition = op.partition('.')
        if name not in MEANING:
            raise NotImplementedError(f'{op} {text}')
        self.run, self.args = MEANING[name], []
        if name in ('nop', 'bti', 'paciasp', 'autiasp'):
            return
        tokens = split(text)
        if name in ('b', 'bl', 'cbz', 'cbnz', 'tbz', 'tbnz', 'adrp'):
            tokens[-1] = '0x' + tokens[-1]
        for t in tokens:
            moved = re.fullmatch(r'(lsl|lsr|asr|ror|[us]xt[bhwx])(?: #(\w+))?', t)
            if moved:
                last, by = self.args[-1], int(moved[2] or '0', 0)
                self.args[-1] = Constant(last.value, by) if isinstance(last, Constant) else Shifted(
                    last, moved[1], by, self.args[0].bits)
            elif self.args and isinstance(self.args[-1], Memory):
                self.args[-1].after = operand(t)
            else:
                self.args.append(operand(t))
        if name in VECTOR and isinstance(self.args[0], Vector):
            self.run = VECTOR[name]


# -- flags
class Flags:
    """After an addition ('add') or subtraction ('sub') of w bits with the carry or borrow c, or 'and'."""

    def __init__(self, d, kind, w, a, b, c, result):
        self.d, self.kind, self.w, self.a, self.b, self.c, self.result = d, kind, w, a, b, c, result
        self.out = None

    def carry_or_borrow(self):
        """The carry of an addition, the borrow of a subtraction, computed when it is wanted."""
        if self.out is None:
            name = {'add': 'carry', 'sub': 'borrow'}.get(self.kind)
            self.out = self.d.op(name, self.w, self.a, self.b, self.c) if name else 0
        return self.out

    def carry(self):
        return self.d.op('not', 1, self.carry_or_borrow()) if self.kind == 'sub' else self.carry_or_borrow()

    def borrow(self):
        return self.carry_or_borrow() if self.kind == 'sub' else self.d.op('not', 1, self.carry_or_borrow())

    def top(self, v):
        return self.d.cut(1, self.w, v, self.w - 1)

    def condition(self, c):
        d, result = self.d, self.result
        if c == 'eq':
            return d.op('zero', self.w, result)
        if c == 'cs':
            return self.carry()
        if c == 'mi':
            return self.top(result)
        if c == 'vs':
            if self.kind == 'and':
                return 0
            a, b, sign = self.top(self.a), self.top(self.b), self.top(result)
            b = d.op('xor', 1, b, int(self.kind == 'sub'))
            return d.op('and', 1, d.op('xor', 1, a, sign), d.op('xor', 1, b, sign))
        if c == 'ls':
            return d.op('or', 1, self.borrow(), self.condition('eq'))
        if c == 'lt':
            if self.kind == 'sub' and isinstance(self.c, int) and self.c == 0:
                return d.op('less_signed', self.w, self.a, self.b)
            sign = self.top(result)
            return sign if self.kind == 'and' else d.op('xor', 1, sign, self.condition('vs'))
        if c == 'le':
            return d.op('or', 1, self.condition('lt'), self.condition('eq'))
        return d.op('not', 1, self.condition(OPPOSITE[c]))


class FixedFlags:
    def __init__(self, nzcv):
        self.n, self.z, self.c, self.v = (nzcv >> k & 1 for k in (3, 2, 1, 0))

    def condition(self, c):
        if c in OPPOSITE:
            return 1 - self.condition(OPPOSITE[c])
        return {'eq': self.z, 'cs': self.c, 'mi': self.n, 'vs': self.v, 'ls': (1 - self.c) | self.z,
                'lt': self.n ^ self.v, 'le': (self.n ^ self.v) | self.z}[c]


class EitherFlags:
    """Those of `one` where the symbolic bit is set, else the fixed flags of `other`."""

    def __init__(self, d, bit, one, other):
        self.d, self.bit, self.one, self.other = d, bit, one, other

    def condition(self, c):
        d, a = self.d, self.one.condition(c)
        return d.op('or', 1, d.op('not', 1, self.bit), a) if self.other.condition(c) else d.op('and', 1, self.bit, a)


class Arm(Machine):
    def reset(self):
        self.r = [None] * 32  # x0 .. x30 and sp
        self.v = [(64, [None, None])] * 32  # (w, values) of 128 bits
        self.flags = None

    def decode(self, address):
        return Instruction(*self.library.text[address])

    def call(self, address, *arguments, result=None):
        """Calls a function; a record that it returns goes to `result`."""
        self.reset()
        self.r[:len(arguments)] = arguments
        self.r[8], self.r[SP], self.r[LINK] = result, STACK, END
        for i in KEPT:
            self.r[i] = Kept()
        for i in KEPT_LOW:
            self.v[i] = 64, [Kept(), None]
        before = list(self.r), list(self.v)
        self.run(address)
        if self.r[SP] != STACK or any(self.r[i] is not before[0][i] for i in KEPT) or any(
                self.d.regroup(self.v[i][0], self.v[i][1], 64)[0] is not before[1][i][1][0] for i in KEPT_LOW):
            raise Fault('the stack pointer or a register is not restored')
        return self.r[0]

    def argument(self, i):
        return self.r[i]

    def leave(self, result=None):
        """Returns from a function that a hook stands for."""
        if result is not None:
            self.r[0] = result
        self.pc = self.r[LINK]

    def jump(self, target):
        if isinstance(target, str):
            self.imports[target](self)
            self.leave()
        else:
            self.pc = self.public(target, 'a jump')

    def condition(self, c):
        return 1 if c == 'al' else self.flags.condition(c)

    # -- vectors
    def lanes(self, x, w=None):
        """The values of a vector operand, in lanes of w bits."""
        have, values = self.v[x.number]
        bits, w = x.w * x.n, w or x.w
        if have > bits:
            have, values = bits, self.d.regroup(have, values, bits)
        return self.d.regroup(have, values[:bits // have], w)

    def put_lanes(self, x, w, values):
        self.v[x.number] = w, list(values) + [0] * (128 // w - len(values))

    def natural(self, w, *operands):
        """The widest lanes, w bits at most, that cut none of the operands' values but integers."""
        for x in operands:
            have, values = self.v[x.number]
            if have < w and not all(isinstance(v, int) for v in values):
                w = have
        return w


def choose(d, w, bit, a, b):
    return (a if bit else b) if isinstance(bit, int) else d.op('choose', w, bit, a, b)


def extend(d, v, w, to, sign):
    """From w to `to` bits."""
    wide = d.join(w, (v, *[0] * (to // w - 1)))
    return d.op('sar', to, d.op('shl', to, wide, to - w), to - w) if sign else wide


def shift(d, kind, w, v, k):
    if k == 0:
        return v
    if kind == 'ror':
        return d.op('rol', w, v, w - k)
    return d.op({'lsl': 'shl', 'lsr': 'shr', 'asr': 'sar'}[kind], w, v, k)


# -- arithmetic on general registers
@means('nop', 'bti', 'paciasp', 'autiasp')
def _(m, i):
    pass


@means('add', 'adds', 'adc', 'adcs', 'sub', 'subs', 'sbc', 'sbcs', 'cmp', 'cmn', 'neg', 'ngcs')
def _(m, i):
    to, d, op = i.args[0], m.d, i.op
    w, a, b = to.bits, 0 if op[0] == 'n' else i.args[0 if op[0] == 'c' else 1].get(m), i.args[-1].get(m)
    if op in ('adc', 'adcs'):
        c = m.flags.carry()
    else:
        c = m.flags.borrow() if op in ('sbc', 'sbcs', 'ngcs') else 0
    kind = 'add' if op[0] == 'a' or op == 'cmn' else 'sub'
    v = d.op(kind, w, a, b, c)
    if op[-1] == 's' or op[0] == 'c':
        m.flags = Flags(d, kind, w, a, b, c, v)
    if op[0] != 'c':
        to.put(m, v)


@means('ccmp')
def _(m, i):
    a, b, other, c = i.args
    bit, other, w = m.condition(c), FixedFlags(other.value), a.bits
    if isinstance(bit, int) and not bit:
        m.flags = other
        return
    a, b = a.get(m), b.get(m)
    one = Flags(m.d, 'sub', w, a, b, 0, m.d.op('sub', w, a, b))
    m.flags = one if isinstance(bit, int) else EitherFlags(m.d, bit, one, other)


@means('and', 'ands', 'bic', 'bics', 'orr', 'orn', 'eor', 'tst', 'mvn')
def _(m, i):
    to, d, op = i.args[0], m.d, i.op
    w, x, y = to.bits, i.args[0 if op == 'tst' else 1], i.args[-1]
    b = y.get(m)
    if op in ('bic', 'bics', 'orn', 'mvn'):
        b = d.op('not', w, b)
    if op == 'mvn':
        v = b
    elif isinstance(y, General) and x.number == y.number and op in ('and', 'ands', 'orr', 'eor', 'tst'):
        v = 0 if op == 'eor' else b
    else:
        name = 'or' if op[0] == 'o' else 'xor' if op[0] == 'e' else 'and'
        v = d.op(name, w, x.get(m), b)
    if op in ('ands', 'bics', 'tst'):
        m.flags = Flags(d, 'and', w, None, None, None, v)
    if op != 'tst':
        to.put(m, v)


@means('lsl', 'lsr', 'asr', 'ror')
def _(m, i):
    to, a, k = i.args
    if isinstance(k, Constant):
        v = shift(m.d, i.op, to.bits, a.get(m), k.value)
    else:
        k = m.d.op('and', to.bits, k.get(m), to.bits - 1)
        if i.op == 'ror':
            k = (to.bits - m.public(k, 'a rotation')) % to.bits
        v = m.d.op({'lsl': 'shl', 'lsr': 'shr', 'asr': 'sar', 'ror': 'rol'}[i.op], to.bits, a.get(m), k)
    to.put(m, v)


@means('extr')
def _(m, i):
    to, high, low, k = i.args
    w, k, a, b = to.bits, k.value, high.get(m), low.get(m)
    if high.number == low.number or k == 0:
        to.put(m, shift(m.d, 'ror', w, b, k))
    else:
        to.put(m, m.d.op('or', w, m.d.op('shl', w, a, w - k), m.d.op('shr', w, b, k)))


@means('ubfx', 'sbfx', 'ubfiz', 'sbfiz')
def _(m, i):
    to, a, low, n = i.args
    w, d, up = to.bits, m.d, to.bits - n.value
    v = a.get(m)
    if i.op[3:] == 'x':  # the field to the top, then down
        v = shift(d, 'lsl', w, v, up - low.value)
        v = shift(d, 'lsr' if i.op[0] == 'u' else 'asr', w, v, up)
    else:
        v = shift(d, 'lsl', w, v, up)
        v = shift(d, 'lsr' if i.op[0] == 'u' else 'asr', w, v, up - low.value)
    to.put(m, v)


@means('bfi', 'bfxil')
def _(m, i):
    to, a, k, n = i.args
    w, d, v = to.bits, m.d, a.get(m)
    v = shift(d, 'lsl', w, v, k.value) if i.op == 'bfi' else shift(d, 'lsr', w, v, k.value)
    field = mask(n.value) << (k.value if i.op == 'bfi' else 0)
    to.put(m, d.op('or', w, d.op('and', w, to.get(m), mask(w) ^ field), d.op('and', w, v, field)))


@means('sxtw')
def _(m, i):
    to, a = i.args
    to.put(m, extend(m.d, a.get(m), 32, 64, True))


@means('rev')
def _(m, i):
    to, a = i.args
    to.put(m, m.d.reversed_bytes(to.bits, a.get(m)))


@means('mul', 'mneg', 'madd', 'msub', 'umulh', 'smulh', 'umaddl')
def _(m, i):
    to, d, w = i.args[0], m.d, i.args[0].bits
    a, b = (x.get(m) for x in i.args[1:3])
    if i.op == 'umaddl':
        a, b = (d.join(32, (x, 0)) for x in (a, b))
    v = d.op({'umulh': 'high', 'smulh': 'high_signed'}.get(i.op, 'mul'), w, a, b)
    if i.op in ('mneg', 'msub'):
        v = d.op('sub', w, 0 if i.op == 'mneg' else i.args[3].get(m), v)
    elif len(i.args) > 3:
        v = d.op('add', w, v, i.args[3].get(m))
    to.put(m, v)


@means('udiv')
def _(m, i):
    to, a, b = i.args
    a, b = (m.public(x.get(m), 'an operand of a division') for x in (a, b))
    to.put(m, a // b if b else 0)


@means('clz')
def _(m, i):
    to, a = i.args
    to.put(m, to.bits - m.public(a.get(m), 'a count of zeros').bit_length())


@means('csel', 'csinc', 'csinv', 'csneg', 'cinc', 'cinv', 'cneg', 'cset', 'csetm')
def _(m, i):
    to, c, d, op = i.args[0], m.condition(i.args[-1]), m.d, i.op
    w = to.bits
    if op == 'cset':
        to.put(m, d.join(1, (c, *[0] * (w - 1))))
        return
    if op == 'csetm':
        to.put(m, choose(d, w, c, mask(w), 0))
        return
    b = i.args[-2].get(m)
    if op == 'cinc':
        to.put(m, d.op('add', w, b, 0, c))
        return
    if op != 'csel':
        other = d.op('not', w, b) if op[-1] == 'v' else d.op('sub', w, 0, b) if op[-1] == 'g' else d.op('add', w, b, 1)
    if len(i.args) == 3:  # the short names change where the condition holds
        to.put(m, choose(d, w, c, other, b))
    else:
        to.put(m, choose(d, w, c, i.args[1].get(m), b if op == 'csel' else other))


@means('movk')
def _(m, i):
    to, k = i.args
    w, n = to.bits, k.shift // 16
    old = m.d.regroup(w, [to.get(m)], 16)
    to.put(m, m.d.join(16, [k.value >> k.shift if j == n else v for j, v in enumerate(old)]))


@means('adrp')
def _(m, i):
    i.args[0].put(m, i.args[1].value)


# -- branches
@means('b')
def _(m, i):
    if not i.condition or m.taken(m.condition(i.condition)):
        m.pc = i.args[0].value


@means('cbz', 'cbnz', 'tbz', 'tbnz')
def _(m, i):
    x = i.args[0]
    if i.op[0] == 't':
        zero = m.d.op('not', 1, m.d.cut(1, x.bits, x.get(m), i.args[1].value))
    else:
        zero = m.d.op('zero', x.bits, x.get(m))
    if bool(m.taken(zero)) != ('n' in i.op):
        m.pc = i.args[-1].value


@means('bl', 'blr', 'br')
def _(m, i):
    target = i.args[0].get(m)
    if i.op != 'br':
        m.r[LINK] = m.pc
    m.jump(target)


@means('ret')
def _(m, i):
    m.pc = m.public(m.r[i.args[0].number if i.args else LINK], 'a return address')


# -- memory
@means('ldr', 'ldur', 'ldar', 'ldp', 'ldrb', 'ldrsb', 'ldrsh', 'ldrsw')
def _(m, i):
    *registers, place = i.args
    a = place.address(m)
    part = {'b': 8, 'h': 16, 'w': 32}.get(i.op[-1])
    for to in registers:
        if isinstance(to, Vector):
            m.put_lanes(to, *m.load_lanes(a, to.w // 8))
            a += to.w // 8
            continue
        bits = part or to.bits
        v = m.load(a, bits // 8)
        if isinstance(v, str) and v == '__stack_chk_guard':
            v = GUARD
        to.put(m, extend(m.d, v, bits, to.bits, 's' in i.op) if bits < to.bits else v)
        a += bits // 8


@means('str', 'stur', 'stp', 'strb', 'strh', 'sturh')
def _(m, i):
    *registers, place = i.args
    values = [None if isinstance(x, Vector) else x.get(m) for x in registers]
    a = place.address(m)
    part = {'b': 8, 'h': 16}.get(i.op[-1])
    for x, v in zip(registers, values):
        if isinstance(x, Vector):
            w = min(x.w, m.v[x.number][0])
            m.store_lanes(a, w, m.lanes(x, w))
            a += x.w // 8
            continue
        bits = part or x.bits
        m.store(a, m.d.cut(bits, x.bits, v, 0), bits // 8)
        a += bits // 8


@means('ld1', 'st1')
def _(m, i):
    registers, place = i.args
    a = place.address(m)
    for x in registers:
        if isinstance(x, Element):
            if i.op == 'ld1':
                put_element(m, x, m.load(a, x.w // 8))
            else:
                m.store(a, m.lanes(whole(x))[x.index], x.w // 8)
            return
        n = x.w * x.n // 8
        if i.op == 'ld1':
            m.put_lanes(x, *m.load_lanes(a, n))
        else:
            w = min(64, m.v[x.number][0])
            m.store_lanes(a, w, m.lanes(x, w))
        a += n


@means('ld4', 'st2', 'st4')
def _(m, i):
    registers, place = i.args
    a, size, count = place.address(m), registers[0].w // 8, len(registers)
    for j, x in enumerate(registers):
        places = range(a + size * j, a + count * size * x.n, count * size)
        if i.op == 'ld4':
            m.put_lanes(x, x.w, [m.load(p, size) for p in places])
        else:
            for p, v in zip(places, m.lanes(x)):
                m.store(p, v, size)


@means('ld1r', 'ld4r')
def _(m, i):
    registers, place = i.args
    a, size = place.address(m), registers[0].w // 8
    for j, x in enumerate(registers):
        m.put_lanes(x, x.w, [m.load(a + size * j, size)] * x.n)


# -- vectors: moves
VECTOR = {}  # for names that general registers have too


def vector(*names):
    return lambda f: VECTOR.update(dict.fromkeys(names, f))


def rearrange(m, to, w, operands, order):
    """Lanes of w bits of the operands, one after another, in the given order; narrower values move whole."""
    have = m.natural(w, *operands)
    values, group = [v for x in operands for v in m.lanes(x, have)], w // have
    m.put_lanes(to, have, [values[k * group + j] for k in order for j in range(group)])


def whole(x):
    """All of the register."""
    return Vector(x.number, x.w, 128 // x.w)


def put_element(m, to, v):
    m.put_lanes(to, to.w, [v if k == to.index else old for k, old in enumerate(m.lanes(whole(to)))])


@means('mov', 'fmov')
def _(m, i):
    to, x = i.args
    if isinstance(to, General):
        if isinstance(x, (Vector, Element)):
            v = m.lanes(whole(x))[getattr(x, 'index', 0)]
        else:
            v = x.get(m)
        to.put(m, v & mask(to.bits) if isinstance(x, Constant) else v)
    elif isinstance(to, Element):
        n = 128 // to.w
        if isinstance(x, General):
            put_element(m, to, x.get(m))
        else:
            rearrange(m, to, to.w, [whole(to), whole(x)], [n + x.index if k == to.index else k for k in range(n)])
    elif isinstance(x, General):
        m.put_lanes(to, to.w, [x.get(m)])
    elif isinstance(x, Element):
        rearrange(m, to, to.w, [whole(x)], [x.index])
    else:
        rearrange(m, to, x.w, [x], range(x.n))


@means('movi')
def _(m, i):
    to, k = i.args
    m.put_lanes(to, to.w, [k.value] * to.n)


@means('dup')
def _(m, i):
    to, x = i.args
    if isinstance(x, General):
        m.put_lanes(to, to.w, [m.d.cut(to.w, x.bits, x.get(m), 0)] * to.n)
    else:
        rearrange(m, to, to.w, [whole(x)], [x.index] * to.n)


@means('ext')
def _(m, i):
    to, a, b, k = i.args
    w = min(64, m.natural(64, a, b))
    while 8 * k.value % w:
        w //= 2
    n = to.n * 8 // w
    rearrange(m, to, w, [a, b], range(8 * k.value // w, 8 * k.value // w + n))


@means('zip1', 'zip2', 'uzp1', 'uzp2', 'trn1', 'trn2')
def _(m, i):
    to, a, b = i.args
    n, second = to.n, int(i.op[3]) - 1
    if i.op[0] == 'z':
        order = [x + j + n // 2 * second for j in range(n // 2) for x in (0, n)]
    elif i.op[0] == 'u':
        order = range(second, 2 * n, 2)
    else:
        order = [x + j + second for j in range(0, n, 2) for x in (0, n)]
    rearrange(m, to, to.w, [a, b], order)


@means('rev64', 'rev32')
def _(m, i):
    to, x = i.args
    n = int(i.op[3:]) // to.w
    rearrange(m, to, to.w, [x], [k ^ n - 1 for k in range(to.n)])


@means('tbl', 'tbx')
def _(m, i):
    to, registers, indices = i.args
    table = [v for x in registers for v in m.lanes(x)]
    old, out = m.lanes(to) if i.op == 'tbx' else [0] * to.n, []
    for j, index in enumerate(m.lanes(indices)):
        if isinstance(index, int):
            out.append(table[index] if index < len(table) else old[j])
            continue
        known = bytes(m.public(v, 'a table') for v in table)
        v = m.d.op('table', 8, index, known + bytes(256 - len(known)))
        out.append(v if i.op == 'tbl' else m.d.op('choose', 8, m.d.op('borrow', 8, index, len(known)), v, old[j]))
    m.put_lanes(to, 8, out)


# -- vectors: operations in every lane
@vector('add', 'sub', 'and', 'bic', 'orr', 'eor')
def _(m, i):
    to, x, y = i.args if len(i.args) == 3 else (i.args[0], *i.args)
    constant = isinstance(y, Constant)
    if i.op == 'eor' and x.number == y.number:
        m.put_lanes(to, 64, [0] * (to.w * to.n // 64))
        return
    w = to.w if constant or i.op in ('add', 'sub') else m.natural(64, x, y)
    name = {'orr': 'or', 'eor': 'xor', 'bic': 'and'}.get(i.op, i.op)
    others = [y.value] * to.n if constant else m.lanes(y, w)
    if i.op == 'bic':
        others = [m.d.op('not', w, b) for b in others]
    m.put_lanes(to, w, [m.d.op(name, w, a, b) for a, b in zip(m.lanes(x, w), others)])


@means('bsl', 'bit', 'bif')
def _(m, i):
    to, x, y = i.args
    d, w = m.d, m.natural(64, to, x, y)
    out = []
    for t, a, b in zip(*(m.lanes(o, w) for o in i.args)):
        bits, one, other = {'bsl': (t, a, b), 'bit': (b, a, t), 'bif': (b, t, a)}[i.op]
        if isinstance(bits, int) and bits in (0, mask(w)):
            out.append(one if bits else other)
        else:
            out.append(d.op('or', w, d.op('and', w, one, bits), d.op('and', w, other, d.op('not', w, bits))))
    m.put_lanes(to, w, out)


@means('cmeq', 'cmge')
def _(m, i):
    to, x, y = i.args
    d, w = m.d, to.w
    out = []
    for a, b in zip(m.lanes(x), [y.value & mask(w)] * to.n if isinstance(y, Constant) else m.lanes(y)):
        if i.op == 'cmeq':
            bit = d.op('zero', w, d.op('xor', w, a, b))
        else:
            bit = d.op('not', 1, d.op('less_signed', w, a, b))
        out.append(choose(d, w, bit, mask(w), 0))
    m.put_lanes(to, w, out)


@means('shl', 'ushr', 'sri')
def _(m, i):
    to, x, k = i.args
    d, w, k = m.d, to.w, k.value
    v = [shift(d, 'lsl' if i.op == 'shl' else 'lsr', w, a, k) if k < w else 0 for a in m.lanes(x)]
    if i.op == 'sri':
        kept = mask(w) ^ mask(w) >> k
        v = [d.op('or', w, d.op('and', w, old, kept), a) for old, a in zip(m.lanes(to), v)]
    m.put_lanes(to, w, v)


# -- vectors: ciphers and hashes
@means('aese')
def _(m, i):
    to, key = i.args
    state = [m.d.op('xor', 8, a, b) for a, b in zip(m.lanes(to), m.lanes(key))]
    m.put_lanes(to, 8, [m.d.op('table', 8, state[j + 4 * (j & 3) & 15], AES_SBOX) for j in range(16)])


def rotated_sum(d, v, *by):
    """v xor its rotations to the left."""
    total = v
    for k in by:
        total = d.op('xor', 32, total, d.op('rol', 32, v, k))
    return total


@means('sm4e', 'sm4ekey')
def _(m, i):
    d, x, keys = m.d, m.lanes(i.args[-2]), m.lanes(i.args[-1])
    for k in keys:
        v = k
        for word in x[1:]:
            v = d.op('xor', 32, v, word)
        v = d.join(8, [d.op('table', 8, d.cut(8, 32, v, j), SM4_SBOX) for j in (0, 8, 16, 24)])
        v = rotated_sum(d, v, *((2, 10, 18, 24) if i.op == 'sm4e' else (13, 23)))
        x = [*x[1:], d.op('xor', 32, v, x[0])]
    m.put_lanes(i.args[0], 32, x)


def total(d, first, *others):
    for v in others:
        first = d.op('add', 32, first, v)
    return first


@means('sm3ss1')
def _(m, i):
    n, k, a = (m.lanes(x)[3] for x in i.args[1:])
    m.put_lanes(i.args[0], 32, [0, 0, 0, m.d.op('rol', 32, total(m.d, m.d.op('rol', 32, n, 12), k, a), 7)])


@means('sm3tt1a', 'sm3tt1b', 'sm3tt2a', 'sm3tt2b')
def _(m, i):
    to, n, word = i.args
    d, word, n = m.d, m.lanes(whole(word))[word.index], m.lanes(n)[3]
    v0, v1, v2, v3 = m.lanes(to)
    if i.op[-1] == 'a':
        f = d.op('xor', 32, v1, d.op('xor', 32, v3, v2))
    elif i.op[5] == '1':
        f = d.op('or', 32, d.op('or', 32, d.op('and', 32, v3, v1), d.op('and', 32, v3, v2)), d.op('and', 32, v1, v2))
    else:
        f = d.op('or', 32, d.op('and', 32, v3, v2), d.op('and', 32, d.op('not', 32, v3), v1))
    if i.op[5] == '1':
        v = total(d, f, v0, d.op('xor', 32, n, d.op('rol', 32, v3, 12)), word)
    else:
        v = rotated_sum(d, total(d, f, v0, n, word), 9, 17)
    m.put_lanes(to, 32, [v1, d.op('rol', 32, v2, 9 if i.op[5] == '1' else 19), v3, v])


@means('sm3partw1', 'sm3partw2')
def _(m, i):
    d, (x, n, k) = m.d, (m.lanes(o) for o in i.args)
    if i.op == 'sm3partw1':
        v = [d.op('xor', 32, a, b) for a, b in zip(x, n)]
        v = [rotated_sum(d, d.op('xor', 32, a, d.op('rol', 32, b, 15)), 15, 23) for a, b in zip(v[:3], k[1:])] + v[3:]
        v[3] = rotated_sum(d, d.op('xor', 32, v[3], d.op('rol', 32, v[0], 15)), 15, 23)
    else:
        t = [d.op('xor', 32, a, d.op('rol', 32, b, 7)) for a, b in zip(n, k)]
        v = [d.op('xor', 32, a, b) for a, b in zip(x, t)]
        v[3] = d.op('xor', 32, v[3], rotated_sum(d, d.op('rol', 32, t[0], 15), 15, 23))
    m.put_lanes(i.args[0], 32, v)
