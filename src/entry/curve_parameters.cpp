// The custom-curve registry, and the choice between it and the recommended curve.
#include <cstring>

#include "UlmaroAlgrithm.h"
#include "ec/recommended_curve.hpp"

unsigned char g_p_256[32];
unsigned char g_a_256[32];
unsigned char g_b_256[32];
unsigned char g_Gx_256[32];
unsigned char g_Gy_256[32];
unsigned char g_Gn_256[32];

namespace {

constexpr int custom_curve = 7;

}  // namespace

// memmove, in argument order: an argument may be one of the registry's own arrays.
int SM2_Set_Custom_Paramter(const unsigned char* p, const unsigned char* a, const unsigned char* b,
                            const unsigned char* Gx, const unsigned char* Gy, const unsigned char* n) {
    if (p == nullptr || a == nullptr || b == nullptr || Gx == nullptr || Gy == nullptr || n == nullptr) return -1;
    std::memmove(g_p_256, p, 32);
    std::memmove(g_a_256, a, 32);
    std::memmove(g_b_256, b, 32);
    std::memmove(g_Gx_256, Gx, 32);
    std::memmove(g_Gy_256, Gy, 32);
    std::memmove(g_Gn_256, n, 32);
    return 0;
}

int SM2_Get_Paramter(ECCParameter_st* param, int type) {
    if (type != custom_curve) {
        *param = ulmaro::ec::recommended_curve;
        return 0;
    }
    std::memcpy(param->p, g_p_256, 32);
    std::memcpy(param->a, g_a_256, 32);
    std::memcpy(param->b, g_b_256, 32);
    std::memcpy(param->Gx, g_Gx_256, 32);
    std::memcpy(param->Gy, g_Gy_256, 32);
    std::memcpy(param->n, g_Gn_256, 32);
    return 0;
}
