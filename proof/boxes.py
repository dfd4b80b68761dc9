"""The substitution boxes that instructions have built in, as inversions and affine maps over GF(2)."""


def product(a, b, modulus):
    """In GF(2)[x] modulo a polynomial of degree 8."""
    total = 0
    while b:
        total ^= a if b & 1 else 0
        a = a << 1 ^ (modulus if a & 0x80 else 0)
        b >>= 1
    return total


def inverses(modulus):
    return bytes(next((b for b in range(256) if product(a, b, modulus) == 1), 0) for a in range(256))


def affine(matrix, constant):
    """The table of an affine map as GF2P8AFFINEQB has it: bit i of the result by byte 7 - i of the matrix."""
    rows = [matrix >> 8 * (7 - i) & 255 for i in range(8)]
    return bytes(sum((bin(rows[i] & x).count('1') & 1) << i for i in range(8)) ^ constant for x in range(256))


def after(f, g):
    """The table of f(g(x))."""
    return bytes(f[v] for v in g)


AES_INVERSE = inverses(0x11b)
AES_SBOX = after(affine(0xf1e3c78f1f3e7cf8, 0x63), AES_INVERSE)
_SM4_MAP = affine(0xa74f9e3d7af4e9d3, 0xd3)
SM4_SBOX = after(_SM4_MAP, after(inverses(0x1f5), _SM4_MAP))
