"""The formulas on points as lists of field operations, and that they are the group law.

F has mul, sqr, add, sub, half, mul_sub and mul_sub_sqr: the prover's field, whose operations are looked for in the code,
or polynomials over the rationals, on which `check` compares the results with the chord and the tangent of the affine curve.
A point is a tuple of elements in the order of the C++ record.
"""
from sympy import QQ, ring

from theorem import Refused

P = 2**256 - 2**224 - 2**96 + 2**64 - 1
N = 0xFFFFFFFEFFFFFFFFFFFFFFFFFFFFFFFF7203DF6B21C6052B53BBF40939D54123
B = 0x28E9FA9E9D9F5E344D5A9E4BCF6509A7F39789F515AB8F92DDBCBD414D940E93
G = (0x32C4AE2C1F1981195F9904466A39C9948FE30BBFF2660BE1715A4589334C74C7,
     0xBC3736A2F4F6779C59BDCEE36B692153D0A9877CC62A474002DF32E52139F0A0)


# -- sm2p256
def double_point(F, p):
    x, y, z = p
    zz, yy = F.sqr(z), F.sqr(y)
    m = F.mul(F.sub(x, zz), F.add(x, zz))
    s = F.mul(x, yy)
    slope = F.add(m, F.half(m))
    z = F.mul(y, z)
    x = F.sub(F.sqr(slope), F.add(s, s))
    return x, F.mul_sub_sqr(slope, F.sub(s, x), yy), z


def chord(F, px, py, h, t, hh):
    """(x, y, h^3) of a sum, for the differences h of the x and t of the y."""
    hhh, v = F.mul(h, hh), F.mul(px, hh)
    x = F.sub(F.sub(F.sub(F.sqr(t), hhh), v), v)
    return x, F.mul_sub(t, F.sub(v, x), py, hhh), hhh


def add_jacobian(F, p, q):
    x, y, z = p
    zz = F.sqr(z)
    h = F.sub(F.mul(q[0], zz), x)
    t = F.sub(F.mul(q[1], F.mul(zz, z)), y)
    sx, sy, _ = chord(F, x, y, h, t, F.sqr(h))
    return sx, sy, F.mul(z, h)


def add_vartime(F, p, q):
    if F.is_zero(p[2]):
        return *q, F.one
    total = F.point(add_jacobian, p, q)
    if F.is_zero(total[2]) and F.is_zero(total[0]):
        return F.point(double_point, (*q, F.one))
    return total


def add_extended(F, p, q):
    x, y, zz, zzz = p
    h, t = F.sub(F.mul(q[0], zz), x), F.sub(F.mul(q[1], zzz), y)
    hh = F.sqr(h)
    sx, sy, hhh = chord(F, x, y, h, t, hh)
    return sx, sy, F.mul(zz, hh), F.mul(zzz, hhh)


def twice_and_once(F, p, one):
    """2p and p with the same z, the y of p."""
    x, y = p
    yy = F.sqr(y)
    m = F.mul(F.sub(x, one), F.add(x, one))
    s = F.mul(x, yy), F.sqr(yy)
    slope = F.add(m, F.half(m))
    tx = F.sub(F.sqr(slope), F.add(s[0], s[0]))
    return (tx, F.sub(F.mul(slope, F.sub(s[0], tx)), s[1])), s


def add_same_z(F, twice, p, z):
    """(twice, p + twice, z h, h): both with z h, for p and twice with z."""
    h, t = F.sub(p[0], twice[0]), F.sub(p[1], twice[1])
    hh = F.sqr(h)
    v, tx = F.mul(p[0], hh), F.mul(twice[0], hh)
    ty = F.mul(twice[1], F.sub(v, tx))
    x = F.sub(F.sub(F.sqr(t), v), tx)
    return (tx, ty), (x, F.sub(F.mul(t, F.sub(tx, x)), ty)), F.mul(z, h), h


# -- sm2p256 in lanes, where a point is (x, 2y, z, -3 z^4, 3 x^2 - 3 z^4)
def same_point(F, p):
    return p


def thrice(F, x):
    return F.add(F.add(x, x), x)


def enter_lanes(F, p):
    x, y, z = p
    fourths = thrice(F, F.sqr(F.sqr(z)))
    w = F.sub(F.sub(fourths, fourths), fourths)
    return x, F.add(y, y), z, w, F.add(thrice(F, F.sqr(x)), w)


def leave_lanes(F, p):
    x, u, z, *_ = p
    return x, F.half(u), z


def double_lanes(F, p, n):
    x, u, z, w, a = p
    for _ in range(n):
        uu = F.sqr(u)
        z, s, fourth = F.mul(u, z), F.mul(x, uu), F.sqr(uu)
        x = F.sub(F.sqr(a), F.add(s, s))
        d = F.mul(a, F.sub(s, x))
        u, w = F.sub(F.add(d, d), fourth), F.mul(w, fourth)
        a = F.add(thrice(F, F.sqr(x)), w)
    return x, u, z, w, a


def add_lanes(F, p, q):
    x, u, z, w, _ = p
    zz = F.sqr(z)
    h, y = F.sub(F.mul(q[0], zz), x), F.mul(q[1], F.mul(zz, z))
    twice, r = F.add(h, h), F.sub(F.add(y, y), u)
    hh = F.sqr(twice)
    j, v = F.mul(hh, h), F.mul(hh, x)
    x = F.sub(F.sub(F.sqr(r), j), F.add(v, v))
    d = F.sub(F.mul(r, F.sub(v, x)), F.mul(u, j))
    w = F.mul(w, F.sqr(hh))
    return x, F.add(d, d), F.mul(z, twice), w, F.add(thrice(F, F.sqr(x)), w)


# -- ecp256
def double_times(F, a, p, n):
    x, y, z = p
    w = F.mul(a, F.sqr(F.sqr(z)))
    while True:
        yy, xx = F.sqr(y), F.sqr(x)
        s = F.mul(x, yy)
        slope = F.half(F.add(F.add(F.add(xx, xx), xx), w))
        z = F.mul(y, z)
        x = F.sub(F.sqr(slope), F.add(s, s))
        n -= 1
        if n == 0:
            return x, F.mul_sub_sqr(slope, F.sub(s, x), yy), z
        yyyy = F.sqr(yy)
        y = F.sub(F.mul(slope, F.sub(s, x)), yyyy)
        w = F.mul(w, yyyy)


def multiple(F, p):
    zz = F.sqr(p[2])
    return *p, zz, F.mul(zz, p[2])


def add_multiple(F, p, q):
    x, y, z = p
    zz = F.sqr(z)
    px, qx = F.mul(x, q[3]), F.mul(q[0], zz)
    zzz, h = F.mul(zz, z), F.sub(qx, px)
    py, qy = F.mul(y, q[4]), F.mul(q[1], zzz)
    hh, zs, t = F.sqr(h), F.mul(z, q[2]), F.sub(qy, py)
    sx, sy, _ = chord(F, px, py, h, t, hh)
    return sx, sy, F.mul(zs, h)


# -- the group law
class Polynomials:
    mul = staticmethod(lambda a, b: a * b)
    sqr = staticmethod(lambda a: a * a)
    add = staticmethod(lambda a, b: a + b)
    sub = staticmethod(lambda a, b: a - b)
    half = staticmethod(lambda a: a * QQ(1, 2))
    mul_sub = staticmethod(lambda a, b, c, d: a * b - c * d)
    mul_sub_sqr = staticmethod(lambda a, b, c: a * b - c * c)


def fractions():
    """(+, -, *, / of pairs of numerator and denominator)"""
    return (lambda a, b: (a[0] * b[1] + b[0] * a[1], a[1] * b[1]), lambda a, b: (a[0] * b[1] - b[0] * a[1], a[1] * b[1]),
            lambda a, b: (a[0] * b[0], a[1] * b[1]), lambda a, b: (a[0] * b[1], a[1] * b[0]))


def check():
    """That the formulas are the group law: identities of polynomials, in which the curve's equation is not used. Their z
    vanishes only for a sum of points that share x, for a point with y = 0 doubled, and for infinity."""
    F = Polynomials
    _, x1, y1, z1, x2, y2, z2, a = ring('x1,y1,z1,x2,y2,z2,a', QQ)
    one = x1**0
    plus, minus, times, over = fractions()

    def is_law(name, result, zz, zzz, slope, p, qx):
        """result, over zz and zzz, is the third point of the line with this slope through p and a point with x = qx."""
        x = minus(minus(times(slope, slope), p[0]), qx)
        y = minus(times(slope, minus(p[0], x)), p[1])
        for have, want in (((result[0], zz), x), ((result[1], zzz), y)):
            require(have[0] * want[1] - have[1] * want[0], name)

    def require(polynomial, name):
        if polynomial != 0:
            raise Refused(f'{name} is not the group law')

    def tangent(p, a4):
        xx = times(p[0], p[0])
        return over(plus(plus(xx, plus(xx, xx)), (a4, one)), plus(p[1], p[1]))

    def slope(p, q):
        return over(minus(q[1], p[1]), minus(q[0], p[0]))

    p, q = ((x1, z1**2), (y1, z1**3)), ((x2, z2**2), (y2, z2**3))
    affine_p, affine_q = ((x1, one), (y1, one)), ((x2, one), (y2, one))
    r = double_point(F, (x1, y1, z1))
    is_law('double_point', r, r[2]**2, r[2]**3, tangent(p, -3 * one), p, p[0])
    require(r[2] - y1 * z1, 'double_point')
    r = add_jacobian(F, (x1, y1, z1), (x2, y2))
    is_law('add(Jacobian, Affine)', r, r[2]**2, r[2]**3, slope(p, affine_q), p, affine_q[0])
    require(r[2] - z1 * (x2 * z1**2 - x1), 'add(Jacobian, Affine)')
    r = add_extended(F, (x1, y1, z1**2, z1**3), (x2, y2))
    is_law('add(Extended, Affine)', r, r[2], r[3], slope(p, affine_q), p, affine_q[0])
    require(r[2]**3 - r[3]**2, 'add(Extended, Affine)')
    require(r[3] - (z1 * (x2 * z1**2 - x1))**3, 'add(Extended, Affine)')
    # In lanes: what enters has the form that doublings and sums assume and keep.
    lanes = enter_lanes(F, (x1, y1, z1))
    for name, r, line in (('double_lanes', double_lanes(F, lanes, 1), (tangent(p, -3 * one), p, p[0])),
                          ('add_lanes', add_lanes(F, lanes, (x2, y2)), (slope(p, affine_q), p, affine_q[0]))):
        is_law(name, leave_lanes(F, r), r[2]**2, r[2]**3, *line)
        for have, want in zip(r, enter_lanes(F, leave_lanes(F, r))):
            require(have - want, name)
    require(double_lanes(F, lanes, 1)[2] - 2 * y1 * z1, 'double_lanes')
    require(add_lanes(F, lanes, (x2, y2))[2] - 2 * z1 * (x2 * z1**2 - x1), 'add_lanes')
    twice, once = twice_and_once(F, (x1, y1), one)
    is_law('twice', twice, y1**2, y1**3, tangent(affine_p, -3 * one), affine_p, affine_p[0])
    require(once[0] - x1 * y1**2, 'once')
    require(once[1] - y1 * y1**3, 'once')
    twice, total, z, h = add_same_z(F, (x2, y2), (x1, y1), z1)
    same = ((x2, z1**2), (y2, z1**3))
    is_law('add_same_z', total, z**2, z**3, slope(p, same), p, same[0])
    require(twice[0] - x2 * h**2, 'add_same_z')
    require(twice[1] - y2 * h**3, 'add_same_z')
    require(z - z1 * (x1 - x2), 'add_same_z')
    r = double_times(F, a, (x1, y1, z1), 1)
    is_law('double_times', r, r[2]**2, r[2]**3, tangent(p, a), p, p[0])
    require(r[2] - y1 * z1, 'double_times')
    # A further turn begins with (x, y, z) and w = a z^4 as the first one does: twice at once is twice one after the other.
    for have, want in zip(double_times(F, a, (x1, y1, z1), 2), double_times(F, a, double_times(F, a, (x1, y1, z1), 1), 1)):
        require(have - want, 'double_times')
    r = add_multiple(F, (x1, y1, z1), (x2, y2, z2, z2**2, z2**3))
    is_law('add(Jacobian, Multiple)', r, r[2]**2, r[2]**3, slope(p, q), p, q[0])
    require(r[2] - z1 * z2 * (x2 * z1**2 - x1 * z2**2), 'add(Jacobian, Multiple)')
    # Where the x agree, x of a sum is the square of the difference of the y: zero only for equal points.
    require(add_jacobian(F, (x2 * z1**2, y1, z1), (x2, y2))[0] - (y2 * z1**3 - y1)**2, 'add(Jacobian, Affine)')
    require(sum(v - w for v, w in zip(multiple(F, (x1, y1, z1)), (x1, y1, z1, z1**2, z1**3))), 'multiple')
    t = y2 * z1**3 - y1 * z2**3
    require(add_multiple(F, (x1 * z1**2, y1, z1), (x1 * z2**2, y2, z2, z2**2, z2**3))[0] - t**2, 'add(Jacobian, Multiple)')
