"""Constant time: what a kernel computes from a secret reaches no branch, no address, no count and no division.

Every bit is either known or secret, and whatever is computed from a secret is secret. Each function that takes a secret
runs whole, from its entry to its return, with all that its pointers lead to secret: scalars, points, curves, keys,
schedules, states and data. Known are only the pointers, which do not overlap unless they are equal, the counts of
blocks and the strides. A branch, an address, a count of repetitions, or an operand of a division or of a count of zeros
that is secret refuses the claim. So a call executes the same instructions and addresses the same memory whatever the
secrets are. The curves' kernels use no more of the stack than their records say, which is what is wiped after a call.

Taken for granted is that every other instruction takes the same time for all operands: among them multiplications,
shifts and rotations by a register, and conditional moves.
"""
from call import ROOM, call, machine
from prove import RECORDS, functions
from theorem import Refused, Theorem
from values import Domain, Leak


class Secret:
    """Of any width."""


SECRET = Secret()


class Secrets(Domain):
    def symbolic(self, name, w, *args):
        return SECRET

    def cut(self, w, of, a, low):
        return SECRET if a is SECRET else super().cut(w, of, a, low)

    def join(self, w, parts):
        return SECRET if all(p is SECRET for p in parts) else super().join(w, parts)


def secrets(m, count, size):
    return m.region(count * size, [SECRET] * count, size)


# Each yields the arguments of the calls of one kernel.
def limbs(*counts):
    """One call with pointers to so many limbs."""
    return lambda m, kernel: [[secrets(m, n, 8) for n in counts]]


def messages(m, kernel):
    return [(secrets(m, 8, 4), secrets(m, 64 * n, 1), n) for n in (0, 1, 2, 3)]


def lanes(m, kernel):
    return m.library.word(m.library.records('sm3')[kernel][0] + 16)


def words_of_lanes(m, kernel):
    return [[secrets(m, 68 * lanes(m, kernel), 4)]]


def lanes_of_messages(m, kernel):
    """As the key derivation calls it: own words and none in common, or also a column of others', or only those."""
    n = lanes(m, kernel)
    columns = min(n, 8)
    for row, stride in (n, 0), (n, columns), (0, columns):
        v, words, common = secrets(m, 8 * n, 4), secrets(m, 68 * n, 4), secrets(m, 68 * columns, 4)
        for result in v, m.region(32 * n):
            yield v, result, words, row, common, stride


def key(m, kernel):
    return [(secrets(m, 4, 4), secrets(m, 32, 4))]


def blocks(m, kernel, wide=True):
    """Of each count up to one more than the kernel's widest loop takes at a time, half of them in place."""
    for n in range(66) if kernel == 'x86-gfni512' and wide else range(18):
        data = secrets(m, 16 * n, 1)
        yield data, data if n & 2 else m.region(16 * n), n, secrets(m, 32, 4), secrets(m, 16, 1)


CALLS = {
    ('sm2p256', 'multiply_base'): limbs(8, 4),
    ('sm2p256', 'multiply_base_and_invert'): limbs(4, 4, 4),
    ('sm2p256', 'multiply_point'): limbs(8, 8, 4),
    ('sm2p256', 'multiply_base_and_point'): limbs(8, 8, 8, 4),
    ('ecp256', 'multiply_point'): limbs(17, 8, 4, 12),
    ('sm3', 'compress'): messages,
    ('sm3', 'expand_lanes'): words_of_lanes,
    ('sm3', 'compress_lanes'): lanes_of_messages,
    ('sm4', 'expand_key'): key,
    ('sm4', 'encrypt_blocks'): blocks,
    ('sm4', 'decrypt_blocks'): blocks,
    ('sm4', 'cbc_encrypt'): lambda m, kernel: blocks(m, kernel, False),
    ('sm4', 'cbc_decrypt'): blocks,
}
# What looks data up in memory, as docs/security.md says. That this is noticed shows that leaks are.
LOOKS_UP = 'looks secrets up in memory'
LEAKS = {('sm4', 'portable', f) for f in ('encrypt_blocks', 'decrypt_blocks', 'cbc_encrypt', 'cbc_decrypt')}


def run_all(library, family, kernel, function, address):
    m, stack = machine(library, Secrets()), ROOM
    if 'stack' in RECORDS[family]:
        stack = library.word(library.records(family)[kernel][0] + 8 * RECORDS[family].index('stack'))
    for arguments in CALLS[family, function](m, kernel):
        call(m, address, arguments, m.regions, stack=stack)
    return m.covered


def leaks(library, family, kernel, function, address):
    try:
        run_all(library, family, kernel, function, address)
    except Leak as e:
        if e.args[0] != 'an address depends on a symbol':
            raise
        return {address}
    raise Refused(f'{function} of {kernel} is constant-time, and docs/security.md says that it is not')


def theorems(library):
    for family in 'sm2p256', 'ecp256', 'sm3', 'sm4':
        for kernel, function, address in functions(library, family):
            if 'vartime' in function:
                continue
            name = family, kernel, function
            prove, claim = (leaks, LOOKS_UP) if name in LEAKS else (run_all, 'constant time')
            yield Theorem(*name, claim, lambda p=prove, n=name, a=address: p(library, *n, a), time=True)
