"""Plants faults in what the theorems cover, one at a time; each must be refused.

    faults.py [--all] [--count N] [--seed N] [--only TEXT] LIBRARY...

A fault changes one covered instruction, or one bit of a byte of the file that the proof reads: a carry is dropped, an
operation replaced by another, a selection dropped or turned round, a shift or rotation is one off, a word comes from
beside its place. In a claim of constant time it makes an instruction use its result as an address. Without --all, a
fixed choice of theorems gets one fault each. A fault that is accepted fails the run, unless EQUIVALENT says why it
changes nothing, or the carry that it drops is known to be zero in every run.
"""
import argparse
import collections
import multiprocessing
import random
import re
import signal
import sys

import call
from prove import load, theorems
from secrecy import LOOKS_UP
from theorem import Refused

sys.setrecursionlimit(100_000)

REPLACED = {  # x86-64, then aarch64
    'adc': 'add', 'sbb': 'sub', 'adcx': 'adox', 'adox': 'adcx', 'add': 'sub', 'sub': 'add', 'xor': 'or', 'and': 'or',
    'paddd': 'psubd', 'vpaddd': 'vpsubd', 'pxor': 'por', 'vpxor': 'vpor', 'vpxord': 'vpord', 'pand': 'por',
    'vpand': 'vpor', 'vpandq': 'vporq', 'vpaddq': 'vpsubq', 'vpsubq': 'vpaddq', 'vpmadd52luq': 'vpmadd52huq',
    'vpmadd52huq': 'vpmadd52luq',
    'adcs': 'adds', 'sbcs': 'subs', 'sbc': 'sub', 'adds': 'add', 'eor': 'orr', 'orr': 'eor', 'umulh': 'mul',
    'csel': 'csinv', 'cneg': 'cinv', 'zip1': 'zip2', 'uzp1': 'uzp2', 'trn1': 'trn2',
    'punpckldq': 'punpckhdq', 'vpunpckldq': 'vpunpckhdq', 'punpcklqdq': 'punpckhqdq', 'vpunpcklqdq': 'vpunpckhqdq'}
ONE_OFF = re.compile(r'v?(rol|ror|shl|shr|sar|shld|shrd|rorx|ps[lr]l[dq]|psraq|prold|palignr|permq|pblendd)$|'
                     r'(lsl|lsr|asr|extr|ushr|sri|sli|ext)$')
CARRIES = 'adc', 'sbb', 'adcx', 'adox', 'adcs', 'sbc', 'sbcs'
LOADS = 'mov', 'ldr', 'adc', 'add', 'mulx', 'vmovdqu', 'movdqu'
# Where (a line's text in front of the arrow), and why the fault changes nothing there.
EQUIVALENT = (
    (r'(?s)expand_key.*: (v?punpcklqdq|zip1|uzp1|trn1) ', 'every lane has the same word of the key'),
    (r'constant_vectors[+]0x[0-9a-f]*[0-9ab]: byte', 'SM3SS1 takes the highest of the four words'))


def faults(op, operands):
    """What the instruction may be replaced by, in the words of objdump."""
    parts = [p.strip() for p in operands.split(',')]
    stack = re.match(r'[er]?sp|x29', parts[0])
    if op in REPLACED and not stack and not (len(parts) > 1 and len(set(parts[-2:])) == 1):
        yield REPLACED[op], operands
    if op.startswith('cmov'):
        yield 'nop', ''
        yield ('cmov' + op[5:] if op[4] == 'n' else 'cmovn' + op[4:]), operands
    if op == 'csel':
        yield op, ', '.join((parts[0], parts[2], parts[1], parts[3]))
    immediate = re.search(r'(#?)(0x[0-9a-f]+|\d+)$', operands)
    if ONE_OFF.match(op) and immediate and int(immediate[2], 0) > 1:
        yield op, operands[:immediate.start()] + immediate[1] + hex(int(immediate[2], 0) - 1)
    place = re.search(r'\[(\w+)([+]0x|, #)([0-9a-f]+)\]', operands)
    if op in LOADS and place and not operands.startswith('[') and place[1] not in ('rsp', 'sp', 'rip'):
        base = 16 if 'x' in place[2] else 10
        moved = int(place[3], base) ^ 8
        yield op, operands[:place.start(3)] + (f'{moved:x}' if base == 16 else str(moved)) + operands[place.end(3):]


def leaking(instruction):
    """The same, then a load from the address that is its result."""
    run = instruction.run

    def planted(m, i):
        run(m, i)
        to = i.args[0]
        for v in m.lanes(to) if hasattr(to, 'w') else m.lanes(to, 8) if type(to).__name__ == 'Vector' else [to.get(m)]:
            m.public(v, 'an address')
    instruction.run = planted
    return instruction


def without_carry(instruction):
    """The same, if the carry that comes in is known to be zero."""
    run, op = instruction.run, instruction.op

    def checked(m, i):
        if hasattr(m, 'cf'):
            carry = m.of if op == 'adox' else m.cf
        else:
            carry = m.flags.carry() if op[0] == 'a' else m.flags.borrow()
        if not isinstance(carry, int) or carry:
            raise Refused('a carry comes in')
        run(m, i)
    instruction.run = checked
    return instruction


def attempt(job):
    """The job, the instructions covered and the bytes read, or what the theorem says to the fault."""
    path, index, fault = job
    theorem = theorems(path)[index]
    library = load(path)[0]
    original, read = library.byte, set()

    def byte(address):
        if address not in library.text:
            read.add(address)
        value = original(address)
        return value ^ fault[2] if fault and fault[0] == 'byte' and address == fault[1] and value is not None else value

    library.byte = byte
    if fault and fault[0] == 'code':
        library.text[fault[1]] = (*fault[2], library.text[fault[1]][2])
    elif fault and fault[0] in ('leak', 'carry'):
        change = leaking if fault[0] == 'leak' else without_carry
        decode = call.architecture(library.arm).decode
        call.architecture(library.arm).decode = lambda m, a: change(decode(m, a)) if a == fault[1] else decode(m, a)
    signal.signal(signal.SIGALRM, lambda *_: (_ for _ in ()).throw(TimeoutError('it does not end')))
    signal.alarm(300)
    try:
        covered = theorem.run()
        return job, covered, {a for a in read if original(a) is not None}, None
    except NotImplementedError:
        return job, None, None, 'unknown'
    except Exception as e:
        return job, None, None, f'{type(e).__name__}: {" | ".join(map(str, e.args))}'[:300]


def choices(library, theorem, covered, read):
    """All faults of a theorem."""
    if theorem.time:
        for a in sorted(covered):
            op, operands = library.text[a][:2]
            zero = len(set(operands.replace(' ', '').split(',')[-2:])) == 1  # whatever the register holds
            if not zero and re.match(r'v?p?(adcx?|sbb|xor|eor|mulx|umulh|xord|addd|shufb|rold|rol|ror)s?$', op):
                yield 'leak', a, None
        return
    for a in sorted(covered):
        if a in library.text:
            for changed in faults(*library.text[a][:2]):
                yield 'code', a, changed
    for a in sorted(read):
        yield 'byte', a, 0x90 if library.byte(a) == 0x80 else 0x10  # a shuffle looks at no other bit of 0x80


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--all', action='store_true', help='every fault of every theorem: hours')
    parser.add_argument('--count', type=int, default=40, help='how many theorems get a fault; whole runs on the recommended curve, which take long, only by --only')
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--only', default='', help='the theorems whose line contains this')
    parser.add_argument('libraries', nargs='+')
    options = parser.parse_args()
    source = random.Random(options.seed)
    jobs = []
    for path in options.libraries:
        mine = [(path, i, None) for i, t in enumerate(theorems(path))
                if options.only in str(t) and t.claim != LOOKS_UP
                and (options.all or options.only or t.family != 'sm2p256' or t.time)]
        source.shuffle(mine)
        jobs += mine if options.all else mine[:options.count // len(options.libraries)]
    results = collections.Counter()
    # Each attempt has a process of its own: nothing that a proof remembers reaches another.
    with multiprocessing.Pool(maxtasksperchild=1) as pool:
        planted = []
        for (path, index, _), covered, read, problem in pool.imap_unordered(attempt, jobs, 1):
            if problem:
                print(f'{path} {theorems(path)[index]}: refused without a fault: {problem}')
                results['failed'] += 1
                continue
            some = list(choices(load(path)[0], theorems(path)[index], covered, read))
            if not options.all:  # mostly in the code: there is more data
                in_code = [f for f in some if f[0] != 'byte']
                some = [source.choice(in_code if in_code and source.random() < 0.8 else some)] if some else []
            planted += [(path, index, f) for f in some]
        for (path, index, fault), covered, _, problem in pool.imap_unordered(attempt, sorted(planted, key=str), 1):
            library, (kind, address, changed) = load(path)[0], fault
            was = ' '.join(library.text[address][:2]) if address in library.text else f'byte {library.byte(address):#x}'
            what = {'byte': 'one bit flipped', 'leak': 'uses its result as an address'}.get(kind) or ' '.join(changed)
            where = f'{address:x} in {library.owner(address)}' if kind != 'byte' else library.place(address)
            line = f'{path}  {theorems(path)[index]}\n    {where}: {was} -> {what}'
            if problem == 'unknown':
                continue
            if problem:
                results['refused'] += 1
                print(f'refused   {line}\n    {problem}', flush=True)
                continue
            op = was.split()[0]
            reason = next((r for pattern, r in EQUIVALENT if re.search(pattern, line)), None)
            if op in CARRIES and not pool.apply(attempt, ((path, index, ('carry', address, None)),))[3]:
                reason = 'the carry is always zero'
            results['equivalent' if reason else 'ACCEPTED'] += 1
            print(f'{"equivalent" if reason else "ACCEPTED"}  {line}  {reason or ""}', flush=True)
    print(', '.join(f'{n} {what}' for what, n in results.items()))
    return bool(results['ACCEPTED'] or results['failed'] or not results['refused'])


if __name__ == '__main__':
    sys.exit(main())
