"""Compares the meanings of instructions with the processor, x86-64 natively and aarch64 under qemu, on random operands.

    check_instructions.py LIBRARY...

One instance of every form of instruction in the libraries that the model knows (mnemonic, kinds of operands, which
registers are the same, constants) is assembled and run from random registers, flags and memory. The model runs it from
the same state, once on integers and once on hidden ones, which take the ways that symbols take. All registers, the
memory, where a branch goes and the flags that the model claims to know must agree.
"""
import os
import random
import re
import struct
import subprocess
import sys
import tempfile

import arm
import x86
from library import Library
from machine import Fault
from values import OPERATIONS, Domain, Join, Leak, Part, Unsupported, mask

SAMPLES = 8
BUFFER, SIZE = 0x1000_0000, 512
SPOT = BUFFER + 256  # where the operands in memory are
TARGET = BUFFER + 0x1_0000  # where branches go
SIGILL = 4

HARNESS = r'''
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>
extern void run(void (*form)(void));
extern void (*const forms[])(void);
extern unsigned char state[], result[], buffer[];
extern uint64_t was_taken;
static sigjmp_buf back;
static unsigned char stack[1 << 16];
static void caught(int number) { siglongjmp(back, number); }
int main(void) {
    stack_t alternate = {.ss_sp = stack, .ss_size = sizeof stack};
    sigaltstack(&alternate, NULL);
    struct sigaction action = {.sa_handler = caught, .sa_flags = SA_ONSTACK};
    const int signals[] = {SIGILL, SIGSEGV, SIGBUS, SIGFPE, SIGTRAP};
    for (int i = 0; i < 5; ++i) sigaction(signals[i], &action, NULL);
#ifdef __x86_64__
    __asm__ volatile("mov %0, %%fs:0x28" : : "r"(UINT64_C(0x57acc0de)));
#endif
    uint64_t form;
    while (fread(&form, 8, 1, stdin) == 1 && fread(state, STATE, 1, stdin) == 1 && fread(buffer, SIZE, 1, stdin) == 1) {
        uint64_t outcome[2] = {0, 0};  // a signal; whether the branch was taken
        was_taken = 0;
        const int number = sigsetjmp(back, 1);
        if (number == 0) run(forms[form]);
        outcome[0] = (uint64_t)number;
        outcome[1] = was_taken != 0;
        fwrite(outcome, 16, 1, stdout);
        fwrite(result, STATE, 1, stdout);
        fwrite(buffer, SIZE, 1, stdout);
    }
    fflush(stdout);
    _exit(0);
}
'''
DATA = '''.section .buffer,"aw"
.globl buffer, state, result, was_taken, forms, run
buffer: .skip 256
spot: .skip 0xf00
state: .skip 0x1000
result: .skip 0x1000
was_taken: .quad 0
saved: .quad 0
own: .quad 0
.section .note.GNU-stack,"",@progbits
.section .forms,"ax"
'''


class X86:
    """State: 16 general registers, flags, mask registers and vector registers as far as this processor has them."""
    name, gnu, options, emulator, decoder, Machine = 'x86-64', '', [], [], x86, x86.X86
    general, flag, stack = 16, 16, x86.RSP

    def __init__(self):
        with open('/proc/cpuinfo') as file:
            have = set(re.search('flags.*', file.read())[0].split())
        wide = {'avx512f', 'avx512bw', 'avx512vl'} <= have
        self.bits, self.vectors, self.masks = (512, 32, 8) if wide else (256 if 'avx' in have else 128, 16, 0)
        self.first = 17 + self.masks
        self.layout = [64] * self.first + [self.bits] * self.vectors

    def source(self):
        move, reg = {512: ('vmovdqu64', 'z'), 256: ('vmovdqu', 'y'), 128: ('movdqu', 'x')}[self.bits]
        at = [sum(self.layout[:k]) // 8 for k in range(len(self.layout))]
        moves = [('kmovq', f'k{k}', at[17 + k]) for k in range(self.masks)]
        moves += [(move, f'{reg}mm{k}', at[self.first + k]) for k in range(self.vectors)]
        general = [('mov', r, 8 * k) for k, r in enumerate(x86.NAMES)]
        keep = 'rbx', 'rbp', 'r12', 'r13', 'r14', 'r15'
        return ['.intel_syntax noprefix', DATA, 'taken: mov QWORD PTR [rip+was_taken], 1', 'done:',
                *(f'{op} [rip+result+{a}], {r}' for op, r, a in general), 'mov rsp, [rip+saved]', 'pushfq',
                'pop QWORD PTR [rip+result+128]', *(f'{op} [rip+result+{a}], {r}' for op, r, a in moves), 'cld',
                *(f'pop {r}' for r in keep[::-1]), 'ret', 'run:', *(f'push {r}' for r in keep), 'mov [rip+saved], rsp',
                'mov [rip+own], rdi', 'push QWORD PTR [rip+state+128]', 'popfq',
                *(f'{op} {r}, [rip+state+{a}]' for op, r, a in moves + general), 'jmp [rip+own]']

    def flags(self, a, b, v, overflow):
        return int(a < b) | int(v == 0) << 6 | (v >> 63) << 7 | overflow << 11 | 0x202

    def load(self, m, i, state, difference, hide):
        m.k = [hide(v, 64) if i.op[0] == 'k' else v for v in state[17:self.first]] or [None] * 8
        m.v += [(64, [0])] * (32 - len(m.v))
        m.cf, m.of = hide(state[16] & 1, 1), hide(state[16] >> 11 & 1, 1)
        m.last = 'sub', 64, *(hide(v, 64) for v in difference)

    def disagreement(self, m, after):
        """What the model has wrong of what it claims to know."""
        if [plain(v, 64) for v in m.k[:self.masks]] != after[17:self.first]:
            return 'a mask'
        cf, zf, sf, of = (after[16] >> k & 1 for k in (0, 6, 7, 11))
        truth = {} if m.cf is None else {'b': cf}
        if m.last and m.last[4] is not None:
            truth |= {'e': zf, 's': sf}
            truth |= {'be': cf | zf} if 'b' in truth else {}
            truth |= {'l': sf ^ of, 'le': zf | (sf ^ of)} if m.last[0] in ('sub', 'and') else {}
        wrong = [c for c, t in truth.items() if plain(m.condition(c), 1) != t]
        return wrong or (m.of is not None and plain(m.of, 1) != of and 'the overflow flag')

    def place(self, i, state, data):
        """Points the operands in memory at SPOT and branches at TARGET; the registers that must be public."""
        x, public = (i.args or [None])[0], {x86.RSP}
        for y in i.args:
            if isinstance(y, x86.Memory) and i.op != 'lea' and y.terms:
                (first, scale), *others = y.terms
                public |= {n for n, _ in y.terms}
                scale += sum(s for n, s in others if n == first)
                offset = y.base + sum(state[n] * s for n, s in others if n != first)
                state[first] = (SPOT - offset) // scale & mask(64)
        if i.op in ('jmp', 'call') and isinstance(x, x86.General):
            state[x.number] = TARGET
            public.add(x.number)
        if i.op == 'ret' or i.op in ('jmp', 'call') and isinstance(x, x86.Memory):
            data[256:264] = struct.pack('<Q', TARGET)
        if i.op == 'leave':
            state[x86.RBP] = SPOT
            public.add(x86.RBP)
        if i.op == 'rep':
            state[x86.RDI], state[x86.RSI], state[x86.RCX] = SPOT, SPOT - 64, state[x86.RCX] % 5
            public |= {x86.RDI, x86.RSI, x86.RCX}
        if i.op == 'div':
            state[x86.RDX] = 0
        return public


class Arm:
    """State: x0 to x30, sp, the flags, 8 bytes of nothing, 32 vector registers."""
    name, gnu, options, decoder, Machine = 'aarch64', 'aarch64-linux-gnu-', ['-march=armv8.5-a+sm4+aes'], arm, arm.Arm
    emulator = ['qemu-aarch64', '-cpu', 'max,pauth-impdef=on']
    general, flag, stack, first, layout = 32, 32, arm.SP, 34, [64] * 34 + [128] * 32

    def source(self):
        keep = [f'x{k}, x{k + 1}, [sp, #{8 * k - 152}]' for k in range(19, 29, 2)] + ['x29, x30, [sp, #80]']
        keep += [f'd{k}, d{k + 1}, [sp, #{8 * k + 32}]' for k in range(8, 16, 2)]
        vectors = [f'q{k}, q{k + 1}, [x30, #{272 + 16 * k}]' for k in range(0, 32, 2)]
        return [DATA, '.arch armv8.5-a+sm4+aes', 'taken: msr tpidr_el0, x30', 'adr x30, was_taken', 'str x30, [x30]',
                'b both', 'done: msr tpidr_el0, x30', 'both: adr x30, result',
                *(f'stp x{k}, x{k + 1}, [x30, #{8 * k}]' for k in range(0, 30, 2)), *(f'stp {v}' for v in vectors),
                'mrs x0, tpidr_el0', 'mov x1, sp', 'stp x0, x1, [x30, #240]', 'mrs x0, nzcv', 'str x0, [x30, #256]',
                'adr x1, saved', 'ldp x2, x3, [x1]', 'mov sp, x2', 'msr tpidr_el0, x3', *(f'ldp {k}' for k in keep),
                'add sp, sp, #160', 'ret', 'run: sub sp, sp, #160', *(f'stp {k}' for k in keep), 'adr x1, saved',
                'mov x2, sp', 'mrs x3, tpidr_el0', 'stp x2, x3, [x1]', 'adr x30, state', *(f'ldp {v}' for v in vectors),
                'ldp x1, x2, [x30, #248]', 'mov sp, x1', 'msr nzcv, x2', 'mov x30, x0',
                *(f'ldr x{k}, state + {8 * k}' for k in range(30)), 'br x30']

    def flags(self, a, b, v, overflow):
        return ((v >> 63) << 3 | int(v == 0) << 2 | int(a >= b) << 1 | overflow) << 28

    def load(self, m, i, state, difference, hide):
        a, b, v = (hide(v, 64) for v in difference)
        m.flags = arm.Flags(m.d, 'sub', 64, a, b, 0, v)

    def disagreement(self, m, after):
        truth = arm.FixedFlags(after[32] >> 28)
        return [c for c in sorted(arm.CONDITIONS - {'al'}) if plain(m.condition(c), 1) != truth.condition(c)]

    def place(self, i, state, data):
        public = {arm.SP}
        for x in i.args:
            if isinstance(x, arm.Memory):
                m = arm.Arm(None, Domain())
                m.r = state[:32]
                offset = x.offset.get(m) if x.offset else 0
                state[x.base] = SPOT - offset & (-16 if x.base == arm.SP else -1) & mask(64)
                parts = [getattr(y, 'of', y) for y in (x.offset, x.after)]
                public |= {x.base} | {y.number for y in parts if isinstance(y, arm.General)}
        if i.op in ('br', 'blr', 'ret'):
            public.add(i.args[0].number if i.args else arm.LINK)
            state[max(public - {arm.SP})] = TARGET
        if i.op in ('paciasp', 'autiasp'):
            state[arm.LINK] &= mask(40)
        return public


# -- forms
# Of meanings that few libraries use.
EXTRA = {
    '{} al': 'seta setbe setge setl setle setns sets',
    '{} rax,rbx,rdi': 'andn sarx',
    '{} rax,rbx': 'bsf tzcnt cmova cmovbe cmovle',
    '{} rax,rbx,3': 'shld',
    '{} rax,3': 'btr ror',
    '{} xmm1,xmm2': 'andps orps xorps packuswb paddd psubd pcmpeqb pcmpeqd pmuludq movhlps vmovaps vmovups',
    '{} xmm1,3': 'pslldq psrldq psllw psrlw psraw psrad',
    '{} xmm1,xmm2,3': 'palignr gf2p8affineqb gf2p8affineinvqb pshufhw pshuflw shufpd vpshufhw vpshuflw vpslldq',
    '{} zmm1,zmm2,3': 'vprord vpsllw vpsllq vpsrad vpsraq vpsraw vpsrlq vpsrlw',
    '{} ymm1,ymm2,ymm3': 'vxorps vpandn vpcmpeqb vpcmpeqq vpmuludq vpaddq vpsubd vpunpckhbw vpunpckhwd vpunpcklbw '
                         'vpunpcklwd',
    '{} zmm1,zmm2,zmm3': 'vpermt2d',
    '{} zmm1,zmm2,xmm3,2': 'vinserti32x4',
    '{} zmm1{{k1}},zmm2,zmm3': 'vpandd vpandnd vpandnq vpandq vpord vporq',
    '{} ymm1,ymm2,ymm3,3': 'valignd vpblendd vperm2i128 vshufps',
    '{} xmm1,eax,1': 'pinsrd pinsrw',
    '{} xmm1,rax,1': 'pinsrq',
    '{} xmm1,xmm2,eax,1': 'vpinsrd',
    '{} xmm1,xmm2,rax,1': 'vpinsrq',
    '{} xmm1,rax': 'vmovq',
    '{} xmm1,QWORD PTR [rax]': 'movhps',
    '{} xmm1,zmm2,2': 'vextracti32x4',
    '{} zmm1,xmm2': 'vbroadcastsd vpbroadcastb vpmovzxbd',
    '{} zmm1,zmm2': 'vmovdqa32 vmovdqu8',
    '{} ymm1,XMMWORD PTR [rax]': 'vbroadcasti128',
    '{} zmm1,XMMWORD PTR [rax]': 'vbroadcasti32x4 vpmovzxbd',
    '{} xmm1,zmm2': 'vpmovdb',
    '{} eax,ymm1': 'vpmovmskb',
    '{} eax,xmm1': 'pmovmskb',
    '{} k1,eax': 'kmovb kmovw kmovd',
    '{} k1,rax': 'kmovq',
    '{} ': 'cqo leave',
}
ARM_EXTRA = {
    '{} x1, x2, x3, ne': 'csinv',
    '{} x1, x2': 'ngcs',
    '{} x1, x2, #3, #5': 'sbfx',
    '{} x1, [x0]': 'ldar ldrsw',
    '{} w1, [x0]': 'sturh',
    '{} v1.4s, v2.4s, #0': 'cmge',
    '{} v1.16b, v2.16b, v3.16b': 'bic',
    '{} v1.4s, #3': 'bic orr',
    '{} {{v1.s}}[1], [x0]': 'ld1 st1',
    '{} {{v1.8b, v2.8b}}, [x0]': 'st2',
    '{} ': 'autiasp',
}


def form(library, op, text):
    """(a key that is equal for instructions of one form, the text to assemble, the operands for the model)."""
    m = re.fullmatch(r'(.*, )?[0-9a-f]+', text)
    if m and re.fullmatch(r'j\w+|call|bl?|b\.\w+|[ct]bn?z', op):
        start = m[1] or ''
        return op + ' ' + names(library, start), f'{op} {start}taken', f'{start}{TARGET:x}'
    if op == 'adrp':
        to = text.split(',')[0]
        return op, f'{op} {to}, buffer', f'{to}, {BUFFER:x}'
    if op in ('paciasp', 'autiasp'):  # one undoes what the other does
        return op, 'paciasp; autiasp', text
    data = r'\[rip\+0x\w+\]'
    key = re.sub(r'(, #-?|[+-])\w+\]', 'D]', re.sub(data, '[rip]', text))
    source, model = re.sub(data, '[rip+spot]', text), re.sub(data, f'[rip+{SPOT:#x}]', text)
    return op + ' ' + names(library, key), f'{op} {source}', model


def names(library, text):
    """The text with registers named in the order of their appearance, but for those with a part of their own."""
    seen = {}

    def rename(m):
        if library.arm or m[0] not in x86.REGISTER:
            shape, number = re.fullmatch(r'(\D+)(\d+)', m[0]).groups()
            return shape + '_' + str(seen.setdefault(('xk'.find(shape.replace('w', 'x')), number), len(seen)))
        number, shape = x86.REGISTER[m[0]]
        own = number in (x86.RSP, x86.RCX, x86.RDX)
        return m[0] if own else f'r{shape}_{seen.setdefault(number, len(seen))}'

    registers = r'[wxvqdsbh]\d+' if library.arm else '|'.join(x86.REGISTER) + r'|[xyz]mm\d+|k\d'
    return re.sub(rf'\b({registers})\b', rename, text)


def forms(library, decoder):
    """({key: (text to assemble, instruction of the model)}, mnemonics without a meaning)."""
    found, unknown = {}, set()
    texts = ARM_EXTRA if library.arm else EXTRA
    extra = [t.format(op).split(' ', 1) for t, ops in texts.items() for op in ops.split()]
    for op, text, *_ in [*library.text.values(), *extra]:
        while not library.arm and op in x86.PREFIXES:
            op, _, text = text.partition(' ')
            text = text.strip()
        if op in ('.inst', 'udf', '(bad)'):
            continue
        key, source, model = form(library, op, text)
        if key not in found:
            try:
                found[key] = source, decoder.Instruction(op, model, 0)
            except NotImplementedError:
                unknown.add(op)
    return found, unknown


# -- the model
class Hidden:
    def __init__(self, value, w):
        self.value, self.w = value, w


def plain(v, w=None):
    """The integer that v stands for; v has w bits."""
    if isinstance(v, int):
        assert w is None or v >> w == 0
        return v
    assert w in (None, v.w * (len(v.parts) if isinstance(v, Join) else 1)), f'not {w} bits'
    if isinstance(v, Hidden):
        return v.value
    if isinstance(v, Join):
        return sum(plain(p, v.w) << v.w * k for k, p in enumerate(v.parts))
    return plain(v.whole, v.of) >> v.low & mask(v.w)


class HiddenIntegers(Domain):
    """What is not public is hidden, and every operand of an operation has the width that the operation says."""

    def symbolic(self, name, w, *args):
        bit = {'choose': 0, 'add': 2, 'carry': 2, 'sub': 2, 'borrow': 2}.get(name)
        shift = 1 if name in ('shl', 'shr', 'sar', 'rol') else None
        widths = [None if k == shift else 1 if k == bit else w for k in range(len(args))]
        values = [a if isinstance(a, bytes) else plain(a, n) for a, n in zip(args, widths)]
        return Hidden(OPERATIONS[name](w, *values), 1 if name in ('carry', 'borrow', 'zero', 'less_signed') else w)

    def decide(self, bit):
        return plain(bit, 1)


class Nothing:
    """What stands for the library: no file."""
    pointers = {}

    def byte(self, address):
        return None


def number(source, bits):
    """Random, or a row of values at the ends of their range."""
    w = source.choice([w for w in (8, 16, 32, 64) if w <= bits])
    ends = 0, 1, mask(w), 1 << (w - 1), mask(w - 1), source.randrange(70)
    kind = source.randrange(4)
    if kind == 0:
        return source.getrandbits(bits)
    if kind == 1:
        return source.choice(ends)
    low = mask(8 if kind == 2 else w)  # in small lanes, indices are in range
    lanes = (source.choice(ends) if source.random() < 0.6 else source.getrandbits(w) for _ in range(0, bits, w))
    return sum((v & low) << w * k for k, v in enumerate(lanes))


def vectors(i):
    """The numbers of the vector registers among the operands."""
    args = [y for x in i.args for y in (x if isinstance(x, list) else [x])]
    return [x.number for x in args if isinstance(x, (x86.Vector, arm.Vector, arm.Element))]


def compare(cpu, i, sample, signal, taken, after, changed, domain, source):
    """What differs between the model and the processor; false if nothing does. Hides all operands, or one."""
    _, state, difference, public, data = sample
    some = [('r', y.number) for y in (getattr(x, 'of', x) for x in i.args) if isinstance(y, (x86.General, arm.General))]
    some += [('v', k) for k in vectors(i)] + ['other']
    one, w = source.choice([None, *some]), source.choice((8, 16, 32, 64))

    def hide(v, w, which='other'):
        return Hidden(v, w) if type(domain) is HiddenIntegers and one in (None, which) else v

    m = cpu.Machine(Nothing(), domain)
    for k, v in enumerate(data):
        m.store(BUFFER + k, hide(v, 8), 1)
    m.r = [v if k in public else hide(v, 64, ('r', k)) for k, v in enumerate(state[:cpu.general])]
    m.v, operands = [], vectors(i)
    for k, v in enumerate(state[cpu.first:]):
        n, bits = w if k in operands else 64, next(bits for bits in (128, 256, 512) if v >> bits == 0)
        lanes = [v >> low & mask(n) for low in range(0, bits, n)]
        m.v.append((n, [hide(x, n, ('v', k)) for x in lanes] if k in operands else lanes))
    cpu.load(m, i, state, difference, hide)
    m.pc = i.next
    i.run(m, i)
    if signal:
        return f'signal {signal}'
    if m.pc != (TARGET if taken else i.next):
        return 'the branch'
    got = [plain(v, 64) for v in m.r] + after[cpu.general:cpu.first]
    got += [sum(plain(x, n) << n * k for k, x in enumerate(values)) for n, values in m.v]
    for k, (v, truth) in enumerate(zip(got, after)):
        if v != truth:
            return f'register {k}: {v:#x}, not {truth:#x}'
    memory = bytes(plain(m.load(BUFFER + k, 1), 8) for k in range(SIZE))
    return memory != changed and 'memory' or cpu.disagreement(m, after)


def build(cpu, texts, directory):
    """The harness with all forms, and the addresses of the instructions after them."""
    program, c, s = (os.path.join(directory, name) for name in ('harness', 'main.c', 'forms.s'))
    restore = 'ldr x30, state + 240' if cpu.name == 'aarch64' else ''
    jump = 'b' if cpu.name == 'aarch64' else 'jmp'
    with open(c, 'w') as file:
        file.write(HARNESS)
    with open(s, 'w') as file:
        print(*cpu.source(), *(f'form{k}: {restore}\n{t}\nnext{k}: {jump} done' for k, t in enumerate(texts)),
              '.balign 8', 'forms:', *(f'.quad form{k}' for k in range(len(texts))), sep='\n', file=file)
    subprocess.run([cpu.gnu + 'gcc', '-O1', '-static', '-no-pie', '-fno-stack-protector', '-Wl,--no-warn-rwx-segments',
                    f'-Wl,--section-start=.buffer={BUFFER:#x},--section-start=.forms={TARGET:#x}',
                    f'-DSTATE={sum(cpu.layout) // 8}', f'-DSIZE={SIZE}', *cpu.options, c, s, '-o', program], check=True)
    symbols = subprocess.run([cpu.gnu + 'nm', program], capture_output=True, text=True, check=True).stdout
    return program, {int(k): int(a, 16) for a, k in re.findall(r'(\w+) \w next(\d+)', symbols)}


def check(cpu, found, directory):
    """Runs all forms: ({key: what is wrong}, keys that this processor lacks, keys of which no sample was compared)."""
    keys, source, samples = list(found), random.Random(1), []
    program, after = build(cpu, [found[k][0] for k in keys], directory)
    base = [number(source, bits) for bits in cpu.layout]
    for n, key in enumerate(keys):
        i = found[key][1]
        i.next = after[n]
        for _ in range(SAMPLES):
            state = list(base)
            for k in {*range(cpu.first), *(cpu.first + k for k in vectors(i))} & set(range(len(state))):
                state[k] = number(source, cpu.layout[k])
            a, b = number(source, 64), number(source, 64)
            b = a if source.random() < 0.2 else b
            v = (a - b) & mask(64)
            state[cpu.flag], state[cpu.stack] = cpu.flags(a, b, v, ((a ^ b) & (a ^ v)) >> 63), SPOT
            data = bytearray(number(source, 8 * SIZE).to_bytes(SIZE, 'little'))
            samples.append((n, state, (a, b, v), cpu.place(i, state, data), data))
    given = bytearray()
    for n, state, _, _, data in samples:
        given += struct.pack('<Q', n)
        for v, bits in zip(state, cpu.layout):
            given += v.to_bytes(bits // 8, 'little')
        given += data
    answer = subprocess.run([*cpu.emulator, program], input=given, stdout=subprocess.PIPE, check=True).stdout
    shape = struct.Struct('<QQ' + ''.join(f'{bits // 8}s' for bits in cpu.layout) + f'{SIZE}s')
    wrong, absent, compared = {}, set(), set()
    for sample, (signal, taken, *registers, memory) in zip(samples, shape.iter_unpack(answer), strict=True):
        key, registers = keys[sample[0]], [int.from_bytes(v, 'little') for v in registers]
        if signal == SIGILL:
            absent.add(key)
            continue
        for domain in Domain(), HiddenIntegers():
            try:
                problem = compare(cpu, found[key][1], sample, signal, taken, registers, memory, domain, source)
                compared.add(key)
            except (Leak, Fault, Unsupported):
                continue
            except Exception as e:  # whatever goes wrong, the form does not agree
                problem = f'{type(e).__name__}: {e}'
            if problem:
                wrong.setdefault(key, f'{found[key][0]}: {problem} ({type(domain).__name__})')
    return wrong, absent, set(keys) - compared - absent


def main():
    libraries, failed = [Library(path) for path in sys.argv[1:]], not sys.argv[1:]
    for cpu in X86(), Arm():
        found, unknown = {}, set()
        for library in libraries:
            if library.arm == (cpu.decoder is arm):
                more, others = forms(library, cpu.decoder)
                found, unknown = more | found, unknown | others
        if not found:
            continue
        with tempfile.TemporaryDirectory() as directory:
            wrong, absent, refused = check(cpu, found, directory)
        compared = set(found) - absent - refused
        idle = set(cpu.decoder.MEANING) - {i.op.partition('.')[0] for _, i in found.values()}
        print(f'{cpu.name}: {len(compared)} forms of instructions compared, {len(wrong)} differ')
        for what, keys in (('not checked, as this processor lacks them', absent), ('refused by the model', refused),
                           ('meanings without a form', idle), ('without a meaning', unknown)):
            if keys:
                print(f'  {what}: {len(keys)} ({", ".join(sorted({k.split()[0] for k in keys}))})')
        for problem in wrong.values():
            print(f'  {problem}')
        failed |= bool(wrong or refused or idle)
    return failed


if __name__ == '__main__':
    sys.exit(main())
