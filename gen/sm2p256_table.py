#!/usr/bin/env python3
"""Writes the multiples of the recommended curve's generator that src/sm2p256/table.hpp declares.

usage: sm2p256_table.py OUTPUT
"""

import sys

P = 0xFFFFFFFEFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF00000000FFFFFFFFFFFFFFFF
G = (
    0x32C4AE2C1F1981195F9904466A39C9948FE30BBFF2660BE1715A4589334C74C7,
    0xBC3736A2F4F6779C59BDCEE36B692153D0A9877CC62A474002DF32E52139F0A0,
)


def double(a):
    slope = 3 * (a[0] * a[0] - 1) * pow(2 * a[1], -1, P) % P
    x = (slope * slope - 2 * a[0]) % P
    return x, (slope * (a[0] - x) - a[1]) % P


def add(a, b):
    """a + b for points with different x."""
    slope = (b[1] - a[1]) * pow(b[0] - a[0], -1, P) % P
    x = (slope * slope - a[0] - b[0]) % P
    return x, (slope * (a[0] - x) - a[1]) % P


def odd_multiples(a, count):
    twice = double(a)
    multiples = [a]
    while len(multiples) < count:
        multiples.append(add(multiples[-1], twice))
    return multiples


def element(value):
    montgomery = (value << 256) % P
    limbs = (f"0x{montgomery >> 64 * i & 0xFFFFFFFFFFFFFFFF:016x}" for i in range(4))
    return "{{" + ", ".join(limbs) + "}}"


def entries(points):
    return ",\n".join(f"{{{element(x)}, {element(y)}}}" for x, y in points)


def rows(tables):
    return ",\n".join("{" + entries(table) + "}" for table in tables)


def main():
    width = 9
    odd = odd_multiples(G, 1 << (width - 2))
    generator_rows = [odd[i : i + 32] for i in range(0, len(odd), 32)]
    windows = []
    base = G
    for _ in range(41):
        for _ in range(6):
            base = double(base)
        windows.append(odd_multiples(base, 32))
    for _ in range(6):
        base = double(base)
    top = odd_multiples(base, 8)
    with open(sys.argv[1], "w", encoding="ascii") as out:
        out.write("// Made by gen/sm2p256_table.py.\n")
        out.write('#include "sm2p256/table.hpp"\n\nnamespace ulmaro::sm2p256 {\n\n')
        out.write(f"static_assert(comb_windows == 42 && generator_width == {width});\n\n")
        out.write("alignas(64) const Affine generator_odd[4][32] = {" + rows(generator_rows) + "};\n\n")
        out.write("alignas(64) const Affine comb_above[comb_windows - 1][32] = {" + rows(windows) + "};\n\n")
        out.write("alignas(64) const Affine comb_top[8] = {" + entries(top) + "};\n\n")
        out.write("alignas(64) const Affine comb_top_doubled = " + entries([double(top[7])]) + ";\n\n")
        out.write("}  // namespace ulmaro::sm2p256\n")


main()
