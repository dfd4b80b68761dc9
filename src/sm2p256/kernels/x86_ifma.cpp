// Multiples of points on the recommended curve on x86-64 with AVX-512 and IFMA: [k]G, [k]P and [s]G + [t]P.
// Shapes as in sm2p256/kernels.hpp: 4 limbs per number, any scalars, P on the curve and reduced; r may be P.
// The processor has: BMI2, ADX, AVX2, AVX-512 with IFMA.
#include <type_traits>

#include "sm2p256/kernels.hpp"
#include "sm2p256/kernels/x86_field.hpp"
#include "sm2p256/kernels/x86_lane_points.hpp"
#include "sm2p256/multiply.hpp"
#include "u256/x86_select.hpp"

namespace ulmaro::sm2p256 {
namespace {

using Field = u256::WithAvx2Select<X86Field>;

/// Tables, and what happens once, are left to limbs of 64 bits.
template <typename, typename Point>
struct SumInLanes {
    Point& point;
    Wiped<std::conditional_t<std::is_same_v<Point, Jacobian>, JacobianLanes, ExtendedLanes>> lanes;

    explicit SumInLanes(Point& p) noexcept : point(p) {}

    void enter(const Point& p) noexcept { sm2p256::enter(*lanes, p); }
    void leave() noexcept { sm2p256::leave(point, *lanes); }
    void add(const Affine& q) noexcept { sm2p256::add(*lanes, q); }
    void double_times(int n) noexcept { sm2p256::double_times(*lanes, n); }
};

/// [s]G + [t]P, or z = 0: for infinity, and where a sum met an equal point.
[[gnu::noinline]] Jacobian sum_in_lanes_vartime(const U256& s, const Affine& p, const U256& t) noexcept {
    Jacobian total = {fe_one, fe_one, fe_zero};
    SumInLanes<Field, Jacobian> sum{total};
    bool begun = false;
    walk_digits_vartime<Field>(
        s, p, t,
        [&] {
            if (begun) sum.double_times(1);
        },
        [&](const Affine& entry) {
            if (begun) {
                sum.add(entry);
            } else {
                sum.enter(jacobian(entry));
            }
            begun = true;
        });
    if (begun) sum.leave();
    return total;
}

/// Equal and opposite points make z = 0, for good, as infinity does: then the other kernel looks at every sum. The
/// frames of the two ways do not lie below each other.
Jacobian multiply_add_in_lanes_vartime(const U256& s, const Affine& p, const U256& t) noexcept {
    const Jacobian total = sum_in_lanes_vartime(s, p, t);
    return is_zero(total.z.w) != 0 ? multiply_add_vartime<Field>(s, p, t) : total;
}

}  // namespace

constinit const Kernels ifma_kernels = {"x86-ifma",
                                        4608,
                                        multiply_base<Field, SumInLanes>,
                                        multiply_base_and_invert<Field, SumInLanes>,
                                        multiply_point<Field, SumInLanes>,
                                        multiply_base_and_point<Field, SumInLanes>,
                                        multiply_add_in_lanes_vartime};

}  // namespace ulmaro::sm2p256
