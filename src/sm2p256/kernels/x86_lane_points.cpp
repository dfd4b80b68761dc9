// The products of a formula that do not depend on each other are one vector operation. A comment behind a statement
// says what its lanes hold, "." where that does not matter; letters are those of point.hpp.
#include "sm2p256/kernels/x86_lane_points.hpp"

#include "sm2p256/kernels/x86_lanes.hpp"

namespace ulmaro::sm2p256 {

void enter(JacobianLanes& r, const Jacobian& p) noexcept {
    const Lanes in = folded(load(p.y, p.y, p.x, p.z));           // Y Y X Z
    const Lanes squared = lanes<3, 3, 2, 3>(in);                 // Z Z X Z
    const Lanes squares = carried(product(squared, squared));    // . ZZ XX .
    const Lanes fourth = only<6, 1>(product(squares, squares));  // 0 Z^4 Z^4 0
    const Lanes once = only<4, 2>(squares);                      // 0 0 XX 0
    const Lanes twice = blend<9>(once, lanes<0, 0, 0, 0>(in));   // Y 0 XX Y
    r.xz = in;
    r.uwau = folded(limbs([&](int i) {
        const Vector triple = add(fourth.l[i], add(fourth.l[i], fourth.l[i]));
        const Vector offset = each(0, difference_offset(8, i), difference_offset(8, i), 0);
        return sub(add(add(twice.l[i], twice.l[i]), add(once.l[i], offset)), triple);
    }));
}

void leave(Jacobian& r, const JacobianLanes& p) noexcept {
    const Lanes factors = limbs([](int i) {  // 2^256 modulo p, for U half of it
        const std::uint64_t one = limb52(fe_one.w, i), half = i == 4 ? std::uint64_t{1} << 47 : 0;
        return each(half, half, one, one);
    });
    Vector w[4];
    store(w, blend<12>(p.uwau, p.xz), factors);
    set_row(r.x, w[2]);
    set_row(r.y, w[0]);
    set_row(r.z, w[3]);
}

void enter(ExtendedLanes& r, const Extended& p) noexcept { r.l = folded(load(p.x, p.y, p.zz, p.zzz)); }

void leave(Extended& r, const ExtendedLanes& p) noexcept {
    const Lanes factors = limbs([](int i) { return repeated(limb52(fe_one.w, i)); });
    Vector w[4];
    store(w, p.l, factors);
    set_row(r.x, w[0]);
    set_row(r.y, w[1]);
    set_row(r.zz, w[2]);
    set_row(r.zzz, w[3]);
}

// S = X U^2, X' = A^2 - 2S, U' = 2A (S - X') - U^4, Z' = U Z, W' = W U^4.
void double_times(JacobianLanes& p, int n) noexcept {
    Lanes uwau = p.uwau, xz = p.xz;
    do {
        const Lanes a = lanes<2, 2, 2, 2>(uwau), x = lanes<2, 2, 2, 2>(xz);
        const Lanes squares = carried(product(uwau, blend<8>(uwau, xz)));  // UU . . Z'
        const Lanes uu = lanes<0, 0, 0, 0>(squares), xax = blend<4>(x, a);
        const Lanes s = product(blend<2>(xax, uu), blend<11>(xax, uu));  // S U^4 AA S
        const Lanes other = blend<4>(only<13, 2>(s), only<4, 0>(s));     // AA 0 S AA
        const Lanes next = folded(limbs([&](int i) {
            const Vector six =
                add(_mm256_sllv_epi64(s.l[i], each(1, 0, 0, 1)), _mm256_sllv_epi64(s.l[i], each(2, 64, 64, 2)));
            const Vector offset = each(difference_offset(16, i), 0, difference_offset(8, i), difference_offset(16, i));
            return sub(add(six, offset), add(other.l[i], other.l[i]));
        }));                                                                  // 2(S - X') U^4 X' 2(S - X')
        const Lanes last = product(blend<6>(a, next), blend<2>(next, uwau));  // 2A(S - X') W' X'X' 2A(S - X')
        const Lanes fourth = only<9, 1>(next), w = only<4, 1>(last);
        xz = blend<8>(next, squares);
        uwau = folded(limbs([&](int i) {
            const Vector offset = each(difference_offset(4, i), 0, 0, difference_offset(4, i));
            const Vector two = _mm256_sllv_epi64(last.l[i], each(64, 64, 1, 64));
            return sub(add(add(last.l[i], offset), add(w.l[i], two)), fourth.l[i]);
        }));
    } while (--n > 0);
    p.uwau = uwau;
    p.xz = xz;
}

// With twice the usual Z, from H = 2h and R = 2t: J = h H^2, V = X H^2, X' = R^2 - J - 2V,
// U' = 2 (R (V - X') - U J), Z' = Z H, W' = W H^4.
void add(JacobianLanes& p, const Affine& q) noexcept {
    const Lanes in = load(q.x, q.y, q.x, q.x);
    const Lanes z = lanes<3, 3, 3, 3>(p.xz), x = only<13, 2>(p.xz), u = only<2, 0>(p.uwau);
    const Lanes zz = carried(product(z, z));
    const Lanes at_q = product(zz, blend<2>(in, z));  // x ZZ, ZZZ, x ZZ, x ZZ
    const Lanes h = folded(limbs([&](int i) {
        const Vector offset = each(difference_offset(4, i), 0, difference_offset(4, i), difference_offset(4, i));
        const Vector once_or_twice = each(0, 0, 1, 1);
        return sub(add(_mm256_sllv_epi64(at_q.l[i], once_or_twice), offset), _mm256_sllv_epi64(x.l[i], once_or_twice));
    }));                                                         // h ZZZ H H
    const Lanes yhz = product(h, blend<2>(blend<8>(h, z), in));  // . y ZZZ, HH, Z'
    const Lanes r = folded(limbs([&](int i) {
        const Vector offset = each(0, difference_offset(4, i), 0, 0);
        return sub(add(_mm256_sllv_epi64(yhz.l[i], each(0, 1, 0, 0)), offset), u.l[i]);
    }));  // . R HH Z'
    const Lanes hh = lanes<2, 2, 2, 2>(r);
    const Lanes jrv = product(blend<2>(hh, r), blend<2>(blend<1>(blend<4>(hh, p.xz), h), r));  // J RR V H^4
    const Lanes j_up = only<4, 0>(jrv), j_down = only<2, 0>(jrv);
    const Lanes swapped = blend<4>(only<2, 2>(jrv), only<4, 1>(jrv));  // 0 V RR 0
    const Lanes x3 = folded(limbs([&](int i) {
        const Vector plus = add(add(jrv.l[i], _mm256_sllv_epi64(jrv.l[i], each(64, 64, 1, 64))), j_up.l[i]);
        const Vector minus = add(j_down.l[i], _mm256_sllv_epi64(swapped.l[i], each(0, 1, 0, 0)));
        return sub(add(plus, each(0, difference_offset(16, i), difference_offset(8, i), 0)), minus);
    }));  // J X' V-X' H^4
    const Lanes factors = blend<8>(blend<4>(blend<2>(p.uwau, x3), lanes<1, 1, 1, 1>(r)), lanes<1, 1, 1, 1>(p.uwau));
    const Lanes last = product(x3, factors);      // UJ X'X' R(V-X') W'
    const Lanes moved = lanes<2, 3, 1, 2>(last);  // R(V-X') W' X'X' R(V-X')
    const Lanes xx = only<4, 1>(last), w = only<4, 3>(last), uj = only<9, 0>(last);
    p.uwau = folded(limbs([&](int i) {
        const Vector offset = each(difference_offset(8, i), 0, 0, difference_offset(8, i));
        const Vector plus = add(_mm256_sllv_epi64(moved.l[i], each(1, 0, 1, 1)), add(xx.l[i], w.l[i]));
        return sub(add(plus, offset), add(uj.l[i], uj.l[i]));
    }));
    p.xz = blend<8>(lanes<1, 1, 1, 1>(x3), r);
}

void add(ExtendedLanes& p, const Affine& q) noexcept {
    const Lanes in = p.l;
    const Lanes at_q = product(lanes<2, 3, 2, 3>(in), load(q.x, q.y, q.x, q.y));  // x ZZ, y ZZZ
    const Lanes ht = folded(
        limbs([&](int i) { return add(at_q.l[i], sub(repeated(difference_offset(4, i)), in.l[i])); }));  // h t . .
    const Lanes squares = carried(product(ht, ht));                                                      // hh tt . .
    const Lanes hh = lanes<0, 0, 0, 0>(squares);
    const Lanes hvz = product(hh, blend<4>(blend<2>(ht, lanes<0, 0, 0, 0>(in)), in));  // hhh v ZZ' .
    const Lanes h_up = only<2, 0>(hvz), h_down = only<8, 0>(hvz), v = only<8, 1>(hvz), tt = only<8, 1>(squares);
    const Lanes x3 = folded(limbs([&](int i) {
        const Vector same = _mm256_maskz_mov_epi64(7, hvz.l[i]), two = _mm256_sllv_epi64(hvz.l[i], each(64, 1, 64, 64));
        const Vector plus = add(add(same, two), add(h_up.l[i], tt.l[i]));
        const Vector minus = add(add(h_down.l[i], add(v.l[i], v.l[i])), _mm256_maskz_mov_epi64(2, squares.l[i]));
        return sub(add(plus, each(0, difference_offset(4, i), 0, difference_offset(16, i))), minus);
    }));                                                                       // hhh v-X' ZZ' X'
    const Lanes factors = blend<8>(blend<2>(lanes<1, 1, 1, 1>(in), ht), in);   // Y t . ZZZ
    const Lanes last = product(blend<8>(x3, lanes<0, 0, 0, 0>(x3)), factors);  // Y hhh, t(v-X'), ., ZZZ'
    const Lanes yh = only<2, 0>(last);
    const Lanes y3 = folded(limbs(
        [&](int i) { return sub(add(last.l[i], each(0, difference_offset(4, i), 0, 0)), yh.l[i]); }));  // . Y' . ZZZ'
    p.l = blend<4>(blend<1>(y3, lanes<3, 3, 3, 3>(x3)), x3);
}

}  // namespace ulmaro::sm2p256
