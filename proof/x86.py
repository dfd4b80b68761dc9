"""What the x86-64 instructions in the library mean."""
import re

from boxes import AES_INVERSE, AES_SBOX, affine, after
from machine import END, GUARD, STACK, Fault, Machine
from values import Kept, mask

NAMES = ['rax', 'rcx', 'rdx', 'rbx', 'rsp', 'rbp', 'rsi', 'rdi'] + [f'r{i}' for i in range(8, 16)]
REGISTER = {}  # name -> (number, bits)
for _i, _q in enumerate(NAMES):
    _o = _q[1:] if _i < 8 else _q
    REGISTER[_q] = _i, 64
    REGISTER['e' + _o if _i < 8 else _o + 'd'] = _i, 32
    REGISTER[_o if _i < 8 else _o + 'w'] = _i, 16
    REGISTER[(_o[0] + 'l' if _i < 4 else _o + 'l') if _i < 8 else _o + 'b'] = _i, 8
HIGH_BYTES = {'ah': 0, 'ch': 1, 'dh': 2, 'bh': 3}
RAX, RCX, RDX, RBX, RSP, RBP, RSI, RDI = range(8)
ARGUMENTS = RDI, RSI, RDX, RCX, 8, 9
KEPT = RBX, RBP, 12, 13, 14, 15  # a function leaves them as they were
SIZES = {'BYTE': 8, 'WORD': 16, 'DWORD': 32, 'QWORD': 64, 'XMMWORD': 128, 'YMMWORD': 256, 'ZMMWORD': 512}
PREFIXES = 'cs', 'ds', 'data16', 'bnd', 'notrack', 'addr32'

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
        return m.r[self.number] if self.bits == 64 else m.d.cut(self.bits, 64, m.r[self.number], 0)

    def put(self, m, v):
        if self.bits == 32:
            v = m.d.join(32, (v, 0))
        elif self.bits < 32:
            old = m.r[self.number]
            upper = [0 if old is None else m.d.cut(self.bits, 64, old, k) for k in range(self.bits, 64, self.bits)]
            v = m.d.join(self.bits, (v, *upper))
        m.r[self.number] = v


class HighByte:
    bits = 8

    def __init__(self, number):
        self.number = number

    def get(self, m):
        return m.d.cut(8, 64, m.r[self.number], 8)


class Constant:
    def __init__(self, value):
        self.value = value

    def get(self, m):
        return self.value


class Memory:
    def __init__(self, text, next_address):
        self.bits = SIZES.get(text.split()[0], 64)
        self.broadcast = ' BCST ' in text or '{1to' in text
        inner = re.search(r'\[(.*)\]', text)
        self.base = GUARD - 0x28 if 'fs:' in text else 0
        self.terms = []
        if inner is None:  # fs:0x28
            self.base += int(text.split('fs:')[1], 0)
            return
        for sign, term in re.findall(r'([+-]?)([^+-]+)', inner[1]):
            name, _, scale = term.partition('*')
            if name in REGISTER:
                self.terms.append((REGISTER[name][0], int(scale or 1)))
            elif name == 'rip':
                self.base += next_address
            elif name not in ('riz', 'eiz'):
                self.base += -int(name, 0) if sign == '-' else int(name, 0)

    def address(self, m):
        a = self.base
        for number, scale in self.terms:
            a += m.public(m.r[number], 'an address') * scale
        return a & mask(64)

    def get(self, m):
        if m.lookups:
            known = [(m.r[number], scale) for number, scale in self.terms if isinstance(m.r[number], int)]
            unknown = [(m.r[number], scale) for number, scale in self.terms if not isinstance(m.r[number], int)]
            if len(unknown) == 1:
                base = self.base + sum(v * scale for v, scale in known) & mask(64)
                return m.look_up(base, *unknown[0], self.bits // 8)
        return m.load(self.address(m), self.bits // 8)

    def put(self, m, v):
        m.store(self.address(m), v, self.bits // 8)


class Vector:
    def __init__(self, number, bits):
        self.number, self.bits = number, bits


class MaskRegister:
    def __init__(self, number):
        self.number = number

    def get(self, m):
        return m.k[self.number]

    def put(self, m, v):
        m.k[self.number] = v


class Instruction:
    """One decoded instruction; mask is a mask register's number or None."""

    def __init__(self, op, text, next_address):
        while op in PREFIXES:
            op, _, text = text.partition(' ')
            text = text.strip()
        self.op, self.text, self.next = op, text, next_address
        if op not in MEANING:
            raise NotImplementedError(f'{op} {text}')
        self.run = MEANING[op]
        m = re.search(r'\{(k\d)\}', text)
        self.mask, self.zeroing = int(m[1][1]) if m else None, '{z}' in text
        self.args = []
        if op == 'rep' or 'nop' in op:
            return
        for t in re.sub(r'\{(k\d|z)\}', '', text).split(',') if text else ():
            t = t.strip()
            if '[' in t or 'fs:' in t:
                self.args.append(Memory(t, next_address))
            elif t in REGISTER:
                self.args.append(General(*REGISTER[t]))
            elif t in HIGH_BYTES:
                self.args.append(HighByte(HIGH_BYTES[t]))
            elif re.fullmatch(r'[xyz]mm\d+', t):
                self.args.append(Vector(int(t[3:]), {'x': 128, 'y': 256, 'z': 512}[t[0]]))
            elif re.fullmatch(r'k\d', t):
                self.args.append(MaskRegister(int(t[1])))
            else:
                self.args.append(Constant(int(t, 16) if op == 'call' or op[0] == 'j' else int(t, 0)))


class X86(Machine):
    def reset(self):
        self.r = [None] * 16
        self.v = [(64, [None] * 8)] * 32  # (w, values); what is missing at the top is zero
        self.k = [None] * 8
        self.cf = self.of = self.last = None  # last: (kind, w, a, b, result), for the other flags

    def decode(self, address):
        return Instruction(*self.library.text[address])

    def call(self, address, *arguments, result=None):
        """Calls a function; a record that it returns goes to `result`."""
        self.reset()
        if result is not None:
            arguments = result, *arguments
        for number, value in zip(ARGUMENTS, arguments):
            self.r[number] = value
        for number in KEPT:
            self.r[number] = Kept()
        before = list(self.r)
        self.r[RSP] = STACK - 8
        self.store(self.r[RSP], END, 8)
        self.run(address)
        if self.r[RSP] != STACK or any(self.r[i] is not before[i] for i in KEPT):
            raise Fault('the stack pointer or a register is not restored')
        return self.r[RAX]

    def argument(self, i):
        return self.r[ARGUMENTS[i]]

    def leave(self, result=None):
        """Returns from a function that a hook stands for."""
        if result is not None:
            self.r[RAX] = result
        self.pc = self.pop()

    def push(self, v):
        self.r[RSP] -= 8
        self.store(self.r[RSP], v, 8)

    def pop(self):
        v = self.load(self.r[RSP], 8)
        self.r[RSP] += 8
        return v

    def jump(self, target):
        if isinstance(target, str):
            self.imports[target](self)
            self.leave()
        else:
            self.pc = self.public(target, 'a jump')

    # -- flags
    def flags(self, kind, w, a, b, result, cf, of=None):
        self.cf, self.of, self.last = cf, of, (kind, w, a, b, result)

    def overflow(self, of=None):
        """The overflow flag alone changes, so that the last result no longer tells signed comparisons."""
        self.of, self.last = of, self.last and (None, *self.last[1:])

    def sign(self):
        _, w, _, _, result = self.last
        return self.d.cut(1, w, result, w - 1)

    def less(self):
        kind, w, a, b, _ = self.last
        if kind == 'sub':
            return self.d.op('less_signed', w, a, b)
        if kind == 'and':
            return self.sign()
        raise Fault('a signed condition of an unexpected kind')

    def condition(self, c):
        d = self.d
        if c in ('c', 'nc'):
            c = {'c': 'b', 'nc': 'ae'}[c]
        if c[0] == 'n' and c not in ('ne',):
            return d.op('not', 1, self.condition(c[1:]))
        if c in ('ne', 'ae', 'a', 'g', 'ge'):
            return d.op('not', 1, self.condition({'ne': 'e', 'ae': 'b', 'a': 'be', 'g': 'le', 'ge': 'l'}[c]))
        if c == 'b':
            return self.cf
        if c == 's':
            return self.sign()
        if c == 'l':
            return self.less()
        zero = d.op('zero', self.last[1], self.last[4])
        return zero if c == 'e' else d.op('or', 1, zero, self.cf if c == 'be' else self.less())

    # -- vectors
    def lanes(self, x, w, bits=None):
        """The values of a vector operand, in lanes of w bits."""
        if isinstance(x, Vector):
            have, values = self.v[x.number]
            bits = bits or x.bits
            n = bits // have
            values = values[:n] if len(values) >= n else values + [0] * (n - len(values))
        elif x.broadcast:
            return [x.get(self)] * (bits // w)
        else:
            bits = bits or x.bits
            have, values = self.load_lanes(x.address(self), bits // 8)
        return self.d.regroup(have, values, w)

    def blended(self, w, bits, values, others):
        """The first values where a mask has a bit, else the second."""
        if isinstance(bits, int):
            return [v if bits >> j & 1 else u for j, (v, u) in enumerate(zip(values, others))]
        return [self.d.op('choose', w, self.d.cut(1, 64, bits, j), v, u) for j, (v, u) in enumerate(zip(values, others))]

    def put_lanes(self, i, w, values, vex=True):
        """Writes the first operand; a masked write only in lanes of w bits whose mask bit is set."""
        x = i.args[0]
        if i.mask is not None:
            if isinstance(x, Memory):
                bits = self.public(self.k[i.mask], 'a mask')
                for j, v in enumerate(values):
                    if bits >> j & 1:
                        self.store(x.address(self) + w // 8 * j, v, w // 8)
                return
            old = [0] * len(values) if i.zeroing else self.lanes(x, w)
            values = self.blended(w, self.k[i.mask], values, old)
        if isinstance(x, Memory):
            self.store_lanes(x.address(self), w, values)
            return
        have, old = self.v[x.number]
        if not vex and have * len(old) > 128:
            upper = old[128 // have:]
            known = any(v is not None for v in upper)
            values = values + (self.d.regroup(have, upper, w) if known else [None] * (have * len(upper) // w))
        self.v[x.number] = w, values


def sources(i):
    """The operands read: legacy instructions also read the first."""
    return i.args[1:] if i.op[0] == 'v' else i.args


# -- moves and arithmetic on general registers
@means('nop', 'endbr64', 'vzeroupper')
def _(m, i):
    if i.op == 'vzeroupper':
        m.v = [(w, values[:128 // w] if k < 16 else values) for k, (w, values) in enumerate(m.v)]


@means('mov', 'movabs')
def _(m, i):
    to, source = i.args
    v = source.get(m)
    i.args[0].put(m, v & mask(to.bits) if isinstance(source, Constant) else v)


@means('movzx', 'movsx', 'movsxd')
def _(m, i):
    to, source = i.args
    v = source.get(m)
    if i.op != 'movzx':
        to.put(m, extend(m.d, v, source.bits, to.bits))
    else:
        to.put(m, m.d.join(source.bits, (v, *[0] * (to.bits // source.bits - 1))))


def extend(d, v, w, to):
    """Sign extension from w to `to` bits."""
    wide = d.join(w, (v, *[0] * (to // w - 1)))
    return d.op('sar', to, d.op('shl', to, wide, to - w), to - w)


@means('cdqe', 'cqo')
def _(m, i):
    if i.op == 'cdqe':
        m.r[RAX] = extend(m.d, m.d.cut(32, 64, m.r[RAX], 0), 32, 64)
    else:
        m.r[RDX] = m.d.op('sar', 64, m.r[RAX], 63)


@means('lea')
def _(m, i):
    to, source = i.args
    v, d = source.base & mask(64), m.d
    for number, scale in source.terms:
        t = m.r[number]
        if to.bits == 32:
            t = d.cut(32, 64, t, 0)
        t = d.op('shl', to.bits, t, scale.bit_length() - 1) if scale > 1 else t
        v = d.op('add', to.bits, v & mask(to.bits) if isinstance(v, int) else v, t)
    to.put(m, v & mask(to.bits) if isinstance(v, int) else v)


@means('push')
def _(m, i):
    m.push(i.args[0].get(m))


@means('pop')
def _(m, i):
    i.args[0].put(m, m.pop())


@means('leave')
def _(m, i):
    m.r[RSP] = m.r[RBP]
    m.r[RBP] = m.pop()


@means('xchg')
def _(m, i):
    if i.text == 'ax,ax':  # a nop of two bytes
        return
    a, b = (x.get(m) for x in i.args)
    i.args[0].put(m, b)
    i.args[1].put(m, a)


def same(i):
    """Whether both operands are one register."""
    a, b = i.args
    return isinstance(a, General) and isinstance(b, General) and a.number == b.number


def both(m, i):
    """The width and the two operands of an instruction, the second an immediate perhaps."""
    w = i.args[0].bits
    if i.op in ('xor', 'sub', 'sbb') and same(i):  # whatever the register holds
        return w, 0, 0
    b = i.args[1].get(m)
    return w, i.args[0].get(m), b & mask(w) if isinstance(i.args[1], Constant) else b


@means('add', 'adc', 'sub', 'sbb', 'cmp')
def _(m, i):
    w, a, b = both(m, i)
    c = m.cf if i.op in ('adc', 'sbb') else 0
    kind, out = ('add', 'carry') if i.op[0] == 'a' else ('sub', 'borrow')
    v = m.d.op(kind, w, a, b, c)
    m.flags(kind if c == 0 else None, w, a, b, v, m.d.op(out, w, a, b, c))
    if i.op != 'cmp':
        i.args[0].put(m, v)


@means('adcx', 'adox')
def _(m, i):
    w, a, b = both(m, i)
    c = m.cf if i.op == 'adcx' else m.of
    carry = m.d.op('carry', w, a, b, c)
    i.args[0].put(m, m.d.op('add', w, a, b, c))
    if i.op == 'adcx':
        m.cf = carry
    else:
        m.overflow(carry)


@means('inc', 'dec')
def _(m, i):
    w, a = i.args[0].bits, i.args[0].get(m)
    kind = 'add' if i.op == 'inc' else 'sub'
    v = m.d.op(kind, w, a, 1)
    m.flags(None, w, a, 1, v, m.cf)
    i.args[0].put(m, v)


@means('neg')
def _(m, i):
    w, a = i.args[0].bits, i.args[0].get(m)
    v = m.d.op('sub', w, 0, a)
    m.flags('sub', w, 0, a, v, m.d.op('borrow', w, 0, a, 0))
    i.args[0].put(m, v)


@means('and', 'or', 'xor', 'test')
def _(m, i):
    w, a, b = both(m, i)
    name = 'and' if i.op == 'test' else i.op
    v = a if same(i) else m.d.op(name, w, a, b)
    m.flags('and', w, a, b, v, 0, 0)
    if i.op != 'test':
        i.args[0].put(m, v)


@means('not')
def _(m, i):
    i.args[0].put(m, m.d.op('not', i.args[0].bits, i.args[0].get(m)))


@means('shl', 'shr', 'sar', 'rol', 'ror')
def _(m, i):
    w, a = i.args[0].bits, i.args[0].get(m)
    k = m.public(i.args[1].get(m), 'a shift') % (64 if w == 64 else 32) if len(i.args) > 1 else 1
    if k == 0:
        i.args[0].put(m, a)
        return
    if i.op in ('rol', 'ror'):
        i.args[0].put(m, m.d.op('rol', w, a, k % w if i.op == 'rol' else (w - k) % w))
        m.cf = None
        m.overflow()
        return
    v = m.d.op(i.op, w, a, k)
    m.flags('shift', w, a, k, v, m.d.cut(1, w, a, w - k if i.op == 'shl' else k - 1))
    i.args[0].put(m, v)


@means('shld', 'shrd')
def _(m, i):
    w, a, b = i.args[0].bits, i.args[0].get(m), i.args[1].get(m)
    k = m.public(i.args[2].get(m), 'a shift') % (64 if w == 64 else 32)
    if k == 0:
        i.args[0].put(m, a)
        return
    left, right = (k, w - k) if i.op == 'shld' else (w - k, k)
    high, low = (a, b) if i.op == 'shld' else (b, a)
    i.args[0].put(m, m.d.op('or', w, m.d.op('shl', w, high, left), m.d.op('shr', w, low, right)))
    m.flags(None, w, a, b, None, None)


@means('rcr')
def _(m, i):
    w, a = i.args[0].bits, i.args[0].get(m)
    assert len(i.args) == 1 or i.args[1].value == 1
    top = m.d.op('shl', w, m.d.join(1, (m.cf, *[0] * (w - 1))), w - 1)
    m.cf = m.d.cut(1, w, a, 0)
    m.overflow()
    i.args[0].put(m, m.d.op('or', w, m.d.op('shr', w, a, 1), top))


@means('rorx')
def _(m, i):
    to, source, k = i.args
    to.put(m, m.d.op('rol', to.bits, source.get(m), -k.value % to.bits))


@means('shlx', 'shrx', 'sarx')
def _(m, i):
    to, source, by = i.args
    k = m.d.op('and', 64, m.d.join(by.bits, (by.get(m), *[0] * (64 // by.bits - 1))), to.bits - 1)
    to.put(m, m.d.op(i.op[:3], to.bits, source.get(m), k))


@means('andn')
def _(m, i):
    to, a, b = i.args
    v = m.d.op('and', to.bits, m.d.op('not', to.bits, a.get(m)), b.get(m))
    m.flags('and', to.bits, None, None, v, 0, 0)
    to.put(m, v)


@means('bswap')
def _(m, i):
    i.args[0].put(m, m.d.reversed_bytes(i.args[0].bits, i.args[0].get(m)))


@means('btr')
def _(m, i):
    w, a, k = i.args[0].bits, i.args[0].get(m), i.args[1].get(m)
    m.cf, m.of, m.last = m.d.cut(1, w, a, k), None, None
    i.args[0].put(m, m.d.op('and', w, a, mask(w) ^ 1 << k))


@means('mulx')
def _(m, i):
    high, low, source = i.args
    a, b, w = m.r[RDX] if high.bits == 64 else m.d.cut(32, 64, m.r[RDX], 0), source.get(m), high.bits
    low.put(m, m.d.op('mul', w, a, b))
    high.put(m, m.d.op('high', w, a, b))


@means('mul', 'imul')
def _(m, i):
    w = i.args[0].bits
    if len(i.args) == 1:
        a, b = m.d.cut(w, 64, m.r[RAX], 0), i.args[0].get(m)
        General(RAX, w).put(m, m.d.op('mul', w, a, b))
        General(RDX, w).put(m, m.d.op('high' if i.op == 'mul' else 'high_signed', w, a, b))
    else:
        a, b = (x.get(m) for x in i.args[-2:])
        i.args[0].put(m, m.d.op('mul', w, a, b & mask(w) if isinstance(i.args[-1], Constant) else b))
    m.flags(None, w, None, None, None, None)


@means('div')
def _(m, i):
    w = i.args[0].bits
    a = (m.public(General(RDX, w).get(m), 'a dividend') << w) + m.public(General(RAX, w).get(m), 'a dividend')
    b = m.public(i.args[0].get(m), 'a divisor')
    if a >> w >= b:
        raise Fault('a quotient that does not fit')
    q, r = divmod(a, b)
    General(RAX, w).put(m, q)
    General(RDX, w).put(m, r)
    m.flags(None, w, None, None, None, None)


@means('tzcnt', 'bsf', 'bsr')
def _(m, i):
    a = m.public(i.args[1].get(m), 'a count of zeros')
    if a == 0 and i.op != 'tzcnt':
        raise Fault('the first bit of zero')
    lowest = (a & -a).bit_length() - 1 if a else i.args[0].bits
    i.args[0].put(m, a.bit_length() - 1 if i.op == 'bsr' else lowest)
    m.flags(None, 64, None, None, None, None)


for _c in 'e ne b ae a be s ns l ge g le'.split():
    def _set(m, i, c=_c):
        i.args[0].put(m, m.d.join(1, (m.condition(c), *[0] * 7)))

    def _move(m, i, c=_c):
        to, source = i.args
        bit, a, b = m.condition(c), source.get(m), to.get(m)
        to.put(m, (a if bit else b) if isinstance(bit, int) else m.d.op('choose', to.bits, bit, a, b))

    def _jump(m, i, c=_c):
        if m.taken(m.condition(c)):
            m.jump(i.args[0].value)

    MEANING |= {'set' + _c: _set, 'cmov' + _c: _move, 'j' + _c: _jump}


@means('jmp')
def _(m, i):
    m.jump(i.args[0].get(m))


@means('call')
def _(m, i):
    target = i.args[0].get(m)
    m.push(m.pc)
    m.jump(target)


@means('ret')
def _(m, i):
    m.pc = m.public(m.pop(), 'a return address')


@means('rep')
def _(m, i):
    op, size = re.match(r'(\w+)\s+(\w+)', i.text).groups()
    n, w = m.public(m.r[RCX], 'a count'), SIZES[size] // 8
    for k in range(n):
        if op == 'stos':
            m.store(m.r[RDI], m.d.cut(8 * w, 64, m.r[RAX], 0), w)
        else:
            assert op == 'movs'
            m.store(m.r[RDI], m.load(m.r[RSI], w), w)
            m.r[RSI] += w
        m.r[RDI] += w
    m.r[RCX] = 0


# -- vectors: moves
@means('movdqa', 'movdqu', 'movaps', 'movups', 'vmovdqa', 'vmovdqu', 'vmovaps', 'vmovups', 'vmovdqa32', 'vmovdqa64',
       'vmovdqu8', 'vmovdqu64')
def _(m, i):
    to, source = i.args
    w, bits = {'8': 8, '2': 32, '4': 64}.get(i.op[-1]), to.bits if isinstance(to, Vector) else source.bits
    if i.mask is not None:
        if isinstance(source, Memory):  # bytes behind the mask are not read
            present, a = m.public(m.k[i.mask], 'a mask'), source.address(m)
            values = [m.load(a + w // 8 * j, w // 8) if present >> j & 1 else 0 for j in range(bits // w)]
        else:
            values = m.lanes(source, w)
        m.put_lanes(i, w, values)
    elif isinstance(source, Memory):
        m.put_lanes(i, *m.load_lanes(source.address(m), bits // 8), i.op[0] == 'v')
    else:
        have, values = m.v[source.number]
        values = values[:bits // have]
        m.put_lanes(i, have, values + [0] * (bits // have - len(values)), i.op[0] == 'v')


@means('movd', 'movq', 'vmovd', 'vmovq')
def _(m, i):
    to, source = i.args
    w = 32 if i.op[-1] == 'd' else 64
    v = m.lanes(source, w, 128)[0] if isinstance(source, Vector) else source.get(m)
    if isinstance(to, Vector):
        m.put_lanes(i, w, [v] + [0] * (128 // w - 1), i.op[0] == 'v')
    else:
        to.put(m, v)


@means('movhps', 'movhlps')
def _(m, i):
    to, source = i.args
    if isinstance(to, Memory):
        to.put(m, m.lanes(source, 64)[1])
    elif i.op == 'movhps':
        m.put_lanes(i, 64, [m.lanes(to, 64)[0], source.get(m)], False)
    else:
        m.put_lanes(i, 64, [m.lanes(source, 64)[1], m.lanes(to, 64)[1]], False)


@means('vpbroadcastd', 'vpbroadcastq', 'vpbroadcastb', 'vbroadcastsd', 'vbroadcasti128', 'vbroadcasti32x4')
def _(m, i):
    to, source = i.args
    w = {'8': 128, '4': 128, 'd': 32, 'q': 64, 'b': 8}[i.op[-1] if i.op != 'vbroadcastsd' else 'q']
    if w == 128:
        have, values = m.load_lanes(source.address(m), 16)
        m.put_lanes(i, have, values * (to.bits // 128))
        return
    if isinstance(source, Vector):
        v = m.lanes(source, w, 128)[0]
    else:
        v = m.d.cut(w, source.bits, source.get(m), 0)
    m.put_lanes(i, w, [v] * (to.bits // w))


@means('vinserti128', 'vinserti32x4')
def _(m, i):
    a, b = m.lanes(i.args[1], 32), m.lanes(i.args[2], 32, 128)
    k = i.args[3].value * 4
    m.put_lanes(i, 32, a[:k] + b + a[k + 4:])


@means('vextracti128', 'vextracti32x4')
def _(m, i):
    k = i.args[2].value * 4
    m.put_lanes(i, 32, m.lanes(i.args[1], 32)[k:k + 4])


@means('vperm2i128')
def _(m, i):
    a, k = m.lanes(i.args[1], 128) + m.lanes(i.args[2], 128), i.args[3].value
    m.put_lanes(i, 128, [0 if k >> s & 8 else a[k >> s & 3] for s in (0, 4)])


@means('pinsrw', 'vpinsrd', 'pinsrd', 'vpinsrq', 'pinsrq')
def _(m, i):
    *_, a, b, k = i.args if i.op[0] == 'v' else (None, i.args[0], *i.args[1:])
    w = {'w': 16, 'd': 32, 'q': 64}[i.op[-1]]
    values = list(m.lanes(a, w, 128))
    values[k.value] = m.d.cut(w, b.bits, b.get(m), 0)
    m.put_lanes(i, w, values, i.op[0] == 'v')


@means('kmovb', 'kmovw', 'kmovd', 'kmovq')
def _(m, i):
    to, source = i.args
    n, bits = {'b': 8, 'w': 16, 'd': 32, 'q': 64}[i.op[-1]], getattr(to, 'bits', 64)
    v = m.d.cut(n, getattr(source, 'bits', 64), source.get(m), 0)
    to.put(m, m.d.join(n, (v, *[0] * (bits // n - 1))))


# -- vectors: the same operation in every lane
def lanewise(m, i, w, f, count=2):
    """f on the lanes of the last `count` operands."""
    bits = i.args[0].bits
    values = zip(*(m.lanes(x, w, bits) for x in sources(i)[-count:]))
    m.put_lanes(i, w, [f(*v) for v in values], i.op[0] == 'v')


for _name, _op, _w in [(v + n, o, w) for n, o, w in (('paddd', 'add', 32), ('paddq', 'add', 64), ('psubd', 'sub', 32),
                                                     ('pmuludq', None, 64)) for v in ('', 'v')] + [('vpsubq', 'sub', 64)]:
    def _lanes(m, i, op=_op, w=_w):
        if op is None:
            lanewise(m, i, 64, lambda a, b: m.d.op('mul', 64, *(m.d.join(32, (m.d.cut(32, 64, x, 0), 0)) for x in (a, b))))
        else:
            lanewise(m, i, w, lambda a, b: m.d.op(op, w, a, b))
    MEANING |= {_name: _lanes}


@means('pxor', 'vpxor', 'vpxord', 'vpxorq', 'xorps', 'vxorps', 'pand', 'vpand', 'vpandd', 'vpandq', 'por', 'vpor', 'vpord',
       'vporq', 'pandn', 'vpandn', 'vpandnd', 'vpandnq', 'orps', 'andps')
def _(m, i):
    name = re.search('xor|andn|and|or', i.op)[0]
    x, y = sources(i)[-2:]
    if name == 'xor' and isinstance(x, Vector) and isinstance(y, Vector) and x.number == y.number:
        m.put_lanes(i, 64, [0] * (i.args[0].bits // 64), i.op[0] == 'v')
        return
    # Bitwise operations keep the lanes that an operand already has.
    w = 32 if i.op[-1] == 'd' and i.op[-4:] != 'pand' else 64 if i.op[-1] == 'q' else min(
        (m.v[o.number][0] for o in (x, y) if isinstance(o, Vector)), default=64)
    w = min(w, 64)
    if name == 'andn':
        lanewise(m, i, w, lambda a, b: m.d.op('and', w, m.d.op('not', w, a), b))
    else:
        lanewise(m, i, w, lambda a, b: m.d.op(name, w, a, b))


@means('vpternlogd', 'vpternlogq')
def _(m, i):
    d, w, k = m.d, 32 if i.op[-1] == 'd' else 64, i.args[3].value
    if k == 0xff:
        m.put_lanes(i, w, [mask(w)] * (i.args[0].bits // w))
        return
    columns = [m.lanes(x, w, i.args[0].bits) for x in i.args[:3]]

    def function(a, b, c):
        """The sum over GF(2) of the products of those of a, b, c that belong to it."""
        total = 0
        for term in range(8):
            if bin(k & sum(1 << s for s in range(8) if s & ~term == 0)).count('1') & 1:
                product = mask(w)
                for bit, x in ((4, a), (2, b), (1, c)):
                    if term & bit:
                        product = x if product == mask(w) else d.op('and', w, product, x)
                total = product if total == 0 else d.op('xor', w, total, product)
        return total

    m.put_lanes(i, w, [function(*v) for v in zip(*columns)])


@means('pcmpeqb', 'pcmpeqd', 'vpcmpeqd', 'vpcmpeqb', 'vpcmpeqq')
def _(m, i):
    w = {'b': 8, 'd': 32, 'q': 64}[i.op[-1]]
    x, y = sources(i)[-2:]
    if isinstance(x, Vector) and isinstance(y, Vector) and x.number == y.number:
        m.put_lanes(i, 64, [mask(64)] * (i.args[0].bits // 64), i.op[0] == 'v')
        return
    lanewise(m, i, w, lambda a, b: m.d.op('choose', w, m.d.op('zero', w, m.d.op('xor', w, a, b)), mask(w), 0))


@means('pmovmskb', 'vpmovmskb')
def _(m, i):
    i.args[0].put(m, m.d.join(1, [m.d.cut(1, 8, v, 7) for v in m.lanes(i.args[1], 8)] + [0] * (
        i.args[0].bits - i.args[1].bits // 8)))


for _n in ('psll', 'psrl', 'psra'):
    for _s, _w in (('w', 16), ('d', 32), ('q', 64)):
        def _shift(m, i, w=_w, op={'psll': 'shl', 'psrl': 'shr', 'psra': 'sar'}[_n]):
            k, x = i.args[-1], i.args[-2]
            k = k.value if isinstance(k, Constant) else m.public(m.lanes(k, 64, 128)[0], 'a shift')
            values = m.lanes(x, w, i.args[0].bits)
            m.put_lanes(i, w, [m.d.op(op, w, v, k) if k < w else 0 for v in values], i.op[0] == 'v')
        MEANING |= {'v' + _n + _s: _shift} | ({_n + _s: _shift} if _n + _s != 'psraq' else {})


@means('vpsllvq')
def _(m, i):
    values, counts = (m.lanes(x, 64, i.args[0].bits) for x in i.args[1:])
    counts = [m.public(k, 'a shift') for k in counts]
    m.put_lanes(i, 64, [m.d.op('shl', 64, v, k) if k < 64 else 0 for v, k in zip(values, counts)])


@means('vpmadd52luq', 'vpmadd52huq')
def _(m, i):
    d, low52 = m.d, mask(52)

    def f(total, a, b):
        a, b = (d.op('and', 64, x, low52) for x in (a, b))
        low = i.op[8] == 'l'
        half = d.op('and', 64, d.op('mul', 64, a, b), low52) if low else d.op('high', 64, d.op('shl', 64, a, 12), b)
        return d.op('add', 64, total, half)

    m.put_lanes(i, 64, [f(*v) for v in zip(*(m.lanes(x, 64, i.args[0].bits) for x in i.args))])


@means('vprold', 'vprord')
def _(m, i):
    k = i.args[2].value if i.op == 'vprold' else -i.args[2].value
    m.put_lanes(i, 32, [m.d.op('rol', 32, v, k % 32) for v in m.lanes(i.args[1], 32, i.args[0].bits)])


# -- vectors: permutations
@means('pshufb', 'vpshufb')
def _(m, i):
    a, b = (m.lanes(x, 8, i.args[0].bits) for x in sources(i)[-2:])
    out, tables = [], {}
    for j, index in enumerate(b):
        base = j & ~15
        if isinstance(index, int):
            out.append(0 if index & 128 else a[base + (index & 15)])
            continue
        if base not in tables:
            row = bytes(m.public(v, 'a table') for v in a[base:base + 16])
            tables[base] = row * 8 + bytes(128)
        out.append(m.d.op('table', 8, index, tables[base]))
    m.put_lanes(i, 8, out, i.op[0] == 'v')


@means('pshufd', 'vpshufd')
def _(m, i):
    a, k = m.lanes(i.args[-2], 32, i.args[0].bits), i.args[-1].value
    m.put_lanes(i, 32, [a[(j & ~3) + (k >> 2 * (j & 3) & 3)] for j in range(len(a))], i.op[0] == 'v')


@means('pshuflw', 'pshufhw', 'vpshuflw', 'vpshufhw')
def _(m, i):
    a, k, high = m.lanes(i.args[-2], 16, i.args[0].bits), i.args[-1].value, 'h' in i.op[5:]
    m.put_lanes(i, 16, [a[(j & ~3) + (k >> 2 * (j & 3) & 3)] if bool(j & 4) == high else a[j] for j in range(len(a))],
                i.op[0] == 'v')


@means('shufps', 'shufpd', 'vshufps')
def _(m, i):
    w = 32 if i.op[-1] == 's' else 64
    a, b = (m.lanes(x, w, i.args[0].bits) for x in (i.args[-3:-1] if i.op[0] == 'v' else i.args[:2]))
    k, n, out = i.args[-1].value, 128 // w, []
    for base in range(0, len(a), n):
        for j in range(n):
            pick = k >> 2 * j & 3 if w == 32 else k >> base + j & 1
            out.append((a if j < n // 2 else b)[base + pick])
    m.put_lanes(i, w, out, i.op[0] == 'v')


for _w, _s in ((8, 'bw'), (16, 'wd'), (32, 'dq'), (64, 'qdq')):
    for _h in 'lh':
        def _unpack(m, i, w=_w, high=_h == 'h'):
            a, b = (m.lanes(x, w, i.args[0].bits) for x in sources(i)[-2:])
            n = 128 // w
            out = [x[base + j + n // 2 * high] for base in range(0, len(a), n) for j in range(n // 2) for x in (a, b)]
            m.put_lanes(i, w, out, i.op[0] == 'v')
        MEANING |= {f'punpck{_h}{_s}': _unpack, f'vpunpck{_h}{_s}': _unpack}


@means('palignr', 'vpalignr')
def _(m, i):
    *_, x, y, k = i.args if i.op[0] == 'v' else (i.args[0], *i.args)
    w = 32 if k.value % 4 == 0 else 8
    a, b = (m.lanes(o, w, i.args[0].bits) for o in (x, y))
    n, k, out = 128 // w, k.value * 8 // w, []
    for base in range(0, len(a), n):
        out += (b[base:base + n] + a[base:base + n] + [0] * n)[k:k + n]
    m.put_lanes(i, w, out, i.op[0] == 'v')


@means('pslldq', 'psrldq', 'vpslldq', 'vpsrldq')
def _(m, i):
    k, w = i.args[-1].value, 32 if i.args[-1].value % 4 == 0 else 8
    a, n, out = m.lanes(i.args[-2], w, i.args[0].bits), 128 // w, []
    k = k * 8 // w
    for base in range(0, len(a), n):
        row = a[base:base + n]
        out += [0] * k + row[:n - k] if 'sll' in i.op else row[k:] + [0] * k
    m.put_lanes(i, w, out, i.op[0] == 'v')


@means('vshufi64x2')
def _(m, i):
    w, k = 64, i.args[3].value
    a, b = (m.lanes(x, w, i.args[0].bits) for x in i.args[1:3])
    n, rows, out = 128 // w, i.args[0].bits // 128, []
    for j in range(rows):
        row = n * (k >> rows // 2 * j & rows - 1)
        out += (a if j < rows // 2 else b)[row:row + n]
    m.put_lanes(i, w, out)


@means('valignq', 'valignd')
def _(m, i):
    w = 64 if i.op[-1] == 'q' else 32
    a, b = (m.lanes(x, w, i.args[0].bits) for x in i.args[1:3])
    m.put_lanes(i, w, (b + a)[i.args[3].value:][:len(a)])


@means('packuswb')
def _(m, i):
    d, out = m.d, []
    for v in m.lanes(i.args[0], 16, 128) + m.lanes(i.args[1], 16, 128):
        fits, low = d.op('zero', 8, d.cut(8, 16, v, 8)), d.cut(8, 16, v, 0)
        if not isinstance(fits, int):
            low = d.op('choose', 8, fits, low, d.op('choose', 8, d.cut(1, 16, v, 15), 0, 255))
        elif not fits:
            low = d.op('choose', 8, d.cut(1, 16, v, 15), 0, 255)
        out.append(low)
    m.put_lanes(i, 8, out, False)


@means('vpblendd')
def _(m, i):
    k, n = i.args[3].value, i.args[0].bits // 32
    pairs = [k >> j & 3 for j in range(0, n, 2)]
    if all(p in (0, 3) for p in pairs):
        w, k = 64, sum((p & 1) << j for j, p in enumerate(pairs))
    else:
        w = 32
    a, b = (m.lanes(x, w, i.args[0].bits) for x in i.args[1:3])
    m.put_lanes(i, w, m.blended(w, k, b, a))


@means('vpblendmq')
def _(m, i):
    a, b = (m.lanes(x, 64, i.args[0].bits) for x in i.args[1:3])
    m.v[i.args[0].number] = 64, m.blended(64, m.k[i.mask], b, a)


@means('vpmovq2m')
def _(m, i):
    signs = [m.d.cut(1, 64, v, 63) for v in m.lanes(i.args[1], 64)]
    i.args[0].put(m, m.d.join(1, signs + [0] * (64 - len(signs))))


@means('vpermq')
def _(m, i):
    k, a = i.args[2].value, m.lanes(i.args[1], 64, i.args[0].bits)
    m.put_lanes(i, 64, [a[(j & ~3) + (k >> 2 * (j & 3) & 3)] for j in range(len(a))])


@means('vpermt2d')
def _(m, i):
    a, index, b = (m.lanes(x, 32, i.args[0].bits) for x in i.args)
    both_tables = a + b
    m.put_lanes(i, 32, [both_tables[m.public(k, 'an index') % len(both_tables)] for k in index])


@means('vpmovzxbd')
def _(m, i):
    n = i.args[0].bits // 32
    source = i.args[1]
    values = m.lanes(source, 8, 128)[:n] if isinstance(source, Vector) else [
        m.load(source.address(m) + j, 1) for j in range(n)]
    m.put_lanes(i, 32, [m.d.join(8, (v, 0, 0, 0)) for v in values])


@means('vpmovdb')
def _(m, i):
    values = [m.d.cut(8, 32, v, 0) for v in m.lanes(i.args[1], 32)]
    m.put_lanes(i, 8, values if isinstance(i.args[0], Memory) else values + [0] * (16 - len(values)))


# -- vectors: the field of AES
AFFINE = {}


@means('vgf2p8affineqb', 'vgf2p8affineinvqb', 'gf2p8affineqb', 'gf2p8affineinvqb')
def _(m, i):
    *_, x, y, c = i.args if i.op[0] == 'v' else (i.args[0], *i.args)
    a, rows = m.lanes(x, 8, i.args[0].bits), m.lanes(y, 64, i.args[0].bits)
    out = []
    for j, v in enumerate(a):
        key = m.public(rows[j // 8], 'a matrix'), c.value, 'inv' in i.op
        if key not in AFFINE:
            table = affine(*key[:2])
            AFFINE[key] = after(table, AES_INVERSE) if key[2] else table
        out.append(m.d.op('table', 8, v, AFFINE[key]))
    m.put_lanes(i, 8, out, i.op[0] == 'v')


@means('aesenclast', 'vaesenclast')
def _(m, i):
    state, key = (m.lanes(x, 8, i.args[0].bits) for x in sources(i)[-2:])
    out = []
    for j in range(len(state)):
        row = j & 15
        v = m.d.op('table', 8, state[(j & ~15) + (row + 4 * (row & 3) & 15)], AES_SBOX)
        out.append(m.d.op('xor', 8, v, key[j]))
    m.put_lanes(i, 8, out, i.op[0] == 'v')
