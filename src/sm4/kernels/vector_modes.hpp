// The four block routines on vectors, for any kernel that supplies the steps of a round.
//
// Wide holds Wide::lanes blocks in a vector, of which there are Wide::registers. Four such vectors, transposed, are the
// words X0..X3 of 4 * lanes blocks: a group. Up to `most` groups run side by side, so that the latency of one hides
// behind the others. Straight code is faster only while registers hold the state: up to `unrolled` groups use it, and
// more run in loops, at a fraction of the size. Where all are `resident`, they never leave the registers. Narrow holds
// one block, and is the fastest for a single one: fewer than `fewest` go through it one by one. Both keep state in a
// basis of basis.hpp between load and store; WideKeys enters round keys into that of Wide. Nothing here branches on
// data or looks data up in memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/wipe.hpp"
#include "sm4/constants.hpp"
#include "sm4/kernels.hpp"
#include "sm4/kernels/basis.hpp"

namespace ulmaro::sm4 {
namespace {

enum class Order { forward, backward };

/// A vector of round keys from i on, in the order of use and in the basis of Lanes; i is a multiple of their number.
template <typename Lanes, Order order>
typename Lanes::Vector round_keys(const std::uint32_t* rk, std::size_t i) {
    constexpr bool forward = order == Order::forward;
    const auto* words = reinterpret_cast<const std::uint8_t*>(rk + (forward ? i : 32 - 4 * Lanes::lanes - i));
    auto keys = Lanes::shuffle(Lanes::load(words), forward ? basis::reverse_bytes_of_words : basis::reverse_bytes);
    if constexpr (!forward && Lanes::lanes > 1) keys = Lanes::reverse_lanes(keys);
    return Lanes::enter_key(keys, i);
}

/// The words of one block, each in a vector of its own, through the rounds with the shortest chain of dependent steps.
/// Preparing the round keys anew for every block is not on that chain, and leaves no copy of them in memory.
template <typename Narrow>
struct SerialBlock {
    using Vector = typename Narrow::Vector;
    using Word = decltype(Narrow::template take_word<0>(Vector{}));

    Word x0, x1, x2, x3;

    template <Order order>
    [[gnu::always_inline]] void rounds(const std::uint32_t* rk) {
        Vector keys = round_keys<Narrow, order>(rk, 0);
        auto t = sum(Narrow::add(x1, x2), Narrow::add(x3, Narrow::template take_word<0>(keys)));
#pragma GCC unroll 1
        for (std::size_t i = 0; i < 32; i += 4) {
            round(t, x0, x2, x3, Narrow::template take_word<1>(keys));
            round(t, x1, x3, x0, Narrow::template take_word<2>(keys));
            round(t, x2, x0, x1, Narrow::template take_word<3>(keys));
            keys = round_keys<Narrow, order>(rk, i < 28 ? i + 4 : 28);
            round(t, x3, x1, x2, Narrow::template take_word<0>(keys));
        }
    }

    /// X1 + X2 + X3 + key in two parts, because some instructions add them; one word where Narrow has changed().
    struct Sum {
        Word a, b;
    };
    static auto sum(Word a, Word b) {
        if constexpr (requires { Narrow::changed(a, a, b); })
            return Narrow::add(a, b);
        else
            return Sum{a, b};
    }

    /// The sum of this round becomes that of the next, where X4 and u = X2, v = X3 are added: all but the change of X0,
    /// L(S(t)) = f + (g <<< 24) + (sum <<< 8) + (sum <<< 16), is summed beforehand, and the parts of the change are
    /// added in the order in which they get ready.
    [[gnu::always_inline]] static void round(Sum& t, Word& x, Word u, Word v, Word next_key) {
        const Word others = Narrow::add(Narrow::add(u, v), next_key);
        const Word rest = Narrow::add(x, others);
        Word f, g, sum;
        Narrow::substitute_in_word(t.a, t.b, f, g, sum);
        t.a = Narrow::add(Narrow::add(rest, f), Narrow::template rotate_word<3>(g));
        t.b = Narrow::add(Narrow::template rotate_word<1>(sum), Narrow::template rotate_word<2>(sum));
        x = Narrow::add(others, Narrow::add(t.a, t.b));
    }

    [[gnu::always_inline]] static void round(Word& t, Word& x, Word u, Word v, Word next_key) {
        const Word others = Narrow::add(u, next_key, v);
        t = Narrow::changed(t, x, others);
        x = Narrow::add(t, others);
    }

    static SerialBlock load(Vector block) {
        const Vector v = Narrow::enter(block);
        return {Narrow::template take_word<0>(v), Narrow::template take_word<1>(v), Narrow::template take_word<2>(v),
                Narrow::template take_word<3>(v)};
    }

    /// The block that the reverse transform makes from the words.
    Vector reversed() const { return Narrow::leave(Narrow::join_words(x3, x2, x1, x0)); }
};

template <typename Wide, typename Narrow, std::size_t most, std::size_t unrolled, bool resident = false,
          typename WideKeys = Narrow, std::size_t fewest = 2>
struct VectorModes {
    using Vector = typename Wide::Vector;
    using Block = typename Narrow::Vector;
    using Group = Vector[4];

    static constexpr std::size_t group_blocks = 4 * Wide::lanes;
    static constexpr std::size_t vector_bytes = 16 * Wide::lanes;

    /// What a group leaves in the frames of run and its callees: its state in both and, where registers are few, once
    /// more on its way from one to the other. Resident ones fill the registers where there are four, so that a compiler
    /// may spill some; fewer leave nothing.
    static constexpr std::size_t spilled = (Wide::registers < 32 ? 3 : resident ? 1 : 2) * 4 * sizeof(Vector);

    struct Keys {
        alignas(sizeof(typename WideKeys::Vector)) std::uint32_t word[32];
    };

    template <Order order>
    static void prepare(Keys& keys, const std::uint32_t* rk) {
        for (std::size_t i = 0; i < 32; i += 4 * WideKeys::lanes)
            WideKeys::store(reinterpret_cast<std::uint8_t*>(keys.word + i), round_keys<WideKeys, order>(rk, i));
    }

    /// By stores in place: a call takes longer, and so does the string instruction that g++ would choose.
    [[gnu::always_inline]] static void wipe(Keys& keys) {
        for (std::size_t i = 0; i < 32; i += 4 * WideKeys::lanes) {
            WideKeys::store(reinterpret_cast<std::uint8_t*>(keys.word + i), WideKeys::zero());
            __asm__ volatile("" : : "r"(&keys) : "memory");
        }
    }

    /// X0 becomes X4 = X0 + L(S(X1 + (X2 + X3) + key)). X1 may be ready last, so X2 + X3 is summed first.
    [[gnu::always_inline]] static void round(Vector& x0, Vector x1, Vector x2_x3, Vector key) {
        if constexpr (requires { Wide::changed(x1, x0); }) {
            x0 = Wide::changed(Wide::add(x1, x2_x3, key), x0);
        } else if constexpr (requires { Wide::change(x1, x2_x3, key); }) {
            x0 = Wide::add(x0, Wide::change(x1, x2_x3, key));
        } else {
            Vector f, g;
            Wide::substitute(x1, x2_x3, key, f, g);
            const Vector k = Wide::add(f, g);
            x0 = Wide::add(Wide::add(x0, k), Wide::rotate1(k), Wide::rotate2(k));
        }
    }

    /// step(i) for every group: for `room` of them in straight code, or for the first `groups`, not none, in a loop.
    template <std::size_t room, typename Step>
    [[gnu::always_inline]] static void each(std::size_t groups, const Step& step) {
        if constexpr (room <= unrolled) {
#pragma GCC unroll 4
            for (std::size_t i = 0; i < room; ++i) step(i);
        } else {
            if (groups == 0) __builtin_unreachable();
#pragma GCC unroll 1
            for (std::size_t i = 0; i < groups; ++i) step(i);
        }
    }

    /// From X0..X3 to X32..X35. A pair of words is summed once for two rounds.
    template <std::size_t room>
    [[gnu::always_inline]] static void all_rounds(Group (&x)[room], std::size_t groups, const Keys& keys) {
#pragma GCC unroll 1
        for (std::size_t r = 0; r < 32; r += 4) {
            Vector pair[room];
            Vector key = Wide::broadcast(keys.word + r);
            each<room>(groups, [&](std::size_t i) {
                pair[i] = Wide::add(x[i][2], x[i][3]);
                round(x[i][0], x[i][1], pair[i], key);
            });
            key = Wide::broadcast(keys.word + r + 1);
            each<room>(groups, [&](std::size_t i) { round(x[i][1], x[i][0], pair[i], key); });
            key = Wide::broadcast(keys.word + r + 2);
            each<room>(groups, [&](std::size_t i) {
                pair[i] = Wide::add(x[i][0], x[i][1]);
                round(x[i][2], x[i][3], pair[i], key);
            });
            key = Wide::broadcast(keys.word + r + 3);
            each<room>(groups, [&](std::size_t i) { round(x[i][3], x[i][2], pair[i], key); });
        }
    }

    template <std::size_t room>
    [[gnu::always_inline]] static void copy(Group (&to)[room], const Group (&from)[room]) {
#pragma GCC unroll 4
        for (std::size_t i = 0; i < room; ++i) {
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) to[i][j] = from[i][j];
        }
    }

    template <std::size_t room>
    [[gnu::noinline]] static void rounds(Group (&x)[room], std::size_t groups, const Keys& keys) {
        if constexpr (room <= unrolled) {
            Group local[room];  // compilers would store x in every round
            copy(local, x);
            all_rounds(local, groups, keys);
            copy(x, local);
        } else {
            all_rounds(x, groups, keys);
        }
    }

    /// The same with the chain of SerialBlock: less latency for more work.
    template <std::size_t room>
    [[gnu::always_inline]] static void short_rounds(Group (&x)[room], const Keys& keys) {
        Vector t[room];
        for (std::size_t i = 0; i < room; ++i)
            t[i] = Wide::add(Wide::add(x[i][1], x[i][2], x[i][3]), Wide::broadcast(keys.word));
#pragma GCC unroll 1
        for (std::size_t r = 0; r < 32; r += 4) {
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) {
                const Vector next_key = Wide::broadcast(keys.word + (r + j + 1) % 32);
#pragma GCC unroll 4
                for (std::size_t i = 0; i < room; ++i) {
                    const Vector others = Wide::add(x[i][(j + 2) % 4], next_key, x[i][(j + 3) % 4]);
                    t[i] = Wide::changed(t[i], x[i][j], others);
                    x[i][j] = Wide::add(t[i], others);
                }
            }
        }
    }

    /// Vector j of `blocks` blocks at p; the last vectors may be partial or empty.
    static Vector load_some(const std::uint8_t* p, std::size_t j, std::size_t blocks) {
        const std::size_t first = j * Wide::lanes;
        return first < blocks ? Wide::load_blocks(p + 16 * first, blocks - first) : Wide::zero();
    }

    static void store_some(std::uint8_t* p, Vector v, std::size_t j, std::size_t blocks) {
        const std::size_t first = j * Wide::lanes;
        if (first < blocks) Wide::store_blocks(p + 16 * first, v, blocks - first);
    }

    /// The words of `blocks` blocks, and of zeros up to end, for at least one group.
    [[gnu::noinline]] static void load(Group* x, const Group* end, const std::uint8_t* in, std::size_t blocks) {
        if (x == end) __builtin_unreachable();
#pragma GCC unroll 1
        for (; x != end; ++x, in += 16 * group_blocks) {
            if (unrolled <= 2 && blocks < (most > 1 ? 1 : fewest)) __builtin_unreachable();  // see assume_fitting
            Group v;
            if (blocks >= group_blocks) {
#pragma GCC unroll 4
                for (std::size_t j = 0; j < 4; ++j) v[j] = Wide::load(in + vector_bytes * j);
                blocks -= group_blocks;
            } else {
#pragma GCC unroll 4
                for (std::size_t j = 0; j < 4; ++j) v[j] = load_some(in, j, blocks);
                blocks = 0;
            }
#pragma GCC unroll 4
            for (Vector& w : v) w = Wide::enter(w);
            Wide::transpose(v[0], v[1], v[2], v[3]);
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) (*x)[j] = v[j];
        }
    }

    /// The blocks that the reverse transform makes from the words of a group.
    [[gnu::always_inline]] static void reverse(Group& v, const Group& x) {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j) v[j] = x[3 - j];
        Wide::transpose(v[0], v[1], v[2], v[3]);
#pragma GCC unroll 4
        for (Vector& w : v) w = Wide::leave(w);
    }

    [[gnu::noinline]] static void store(const Group* x, std::uint8_t* out, std::size_t blocks) {
#pragma GCC unroll 1
        for (; blocks >= group_blocks; blocks -= group_blocks, ++x, out += 16 * group_blocks) {
            Group v;
            reverse(v, *x);
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) Wide::store(out + vector_bytes * j, v[j]);
        }
        if (blocks == 0) return;
        Group v;
        reverse(v, *x);
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j) store_some(out, v[j], j, blocks);
    }

    /// For CBC: the words came from in; chain is the block before it, and afterwards its last. Reading runs one vector
    /// ahead of writing, because out may be in or lie below it.
    [[gnu::noinline]] static void store_chained(const Group* x, std::uint8_t* out, std::size_t blocks,
                                                const std::uint8_t* in, Block& chain) {
        Vector before = Wide::load_behind(chain, in, blocks);
        chain = Narrow::load(in + 16 * (blocks - 1));
#pragma GCC unroll 1
        for (; blocks > group_blocks; blocks -= group_blocks, ++x, in += 16 * group_blocks, out += 16 * group_blocks) {
            Group v;
            reverse(v, *x);
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) {
                const Vector plain = Wide::add(v[j], before);
                before = j < 3 ? Wide::load(in - 16 + vector_bytes * (j + 1)) : load_some(in - 16, 4, blocks);
                Wide::store(out + vector_bytes * j, plain);
            }
        }
        Group v;
        reverse(v, *x);
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j) {
            const Vector plain = Wide::add(v[j], before);
            before = load_some(in - 16, j + 1, blocks);
            store_some(out, plain, j, blocks);
        }
    }

    /// The blocks that fit into `room` groups and are too many for fewer: compilers drop the tests that this decides.
    template <std::size_t room>
    [[gnu::always_inline]] static void assume_fitting(std::size_t blocks) {
        constexpr std::size_t least = room > 2 ? 2 * group_blocks + 1 : room > 1 ? group_blocks + 1 : fewest;
        if (blocks < least || blocks > room * group_blocks) __builtin_unreachable();
    }

    /// All blocks are read before the first is written. chain is null for ECB.
    template <std::size_t room>
    [[gnu::noinline]] static void run(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const Keys& keys,
                                      Block* chain) {
        assume_fitting<room>(blocks);
        Group x[room];
        const std::size_t groups = room <= unrolled ? room : (blocks + group_blocks - 1) / group_blocks;
        load(x, x + groups, in, blocks);
        rounds<room>(x, groups, keys);
        if (chain == nullptr)
            store(x, out, blocks);
        else
            store_chained(x, out, blocks, in, *chain);
    }

    /// The same for groups that are resident.
    template <std::size_t room>
    [[gnu::noinline]] static void run_resident(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                               const Keys& keys, Block* chain) {
        assume_fitting<room>(blocks);
        Group x[room];
#pragma GCC unroll 4
        for (std::size_t i = 0; i < room; ++i) {
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) x[i][j] = Wide::enter(load_some(in, 4 * i + j, blocks));
            Wide::transpose(x[i][0], x[i][1], x[i][2], x[i][3]);
        }
        if constexpr (room <= 2)
            short_rounds(x, keys);
        else
            all_rounds(x, room, keys);
        Vector before = Wide::zero();
        if (chain != nullptr) {
            before = Wide::load_behind(*chain, in, blocks);
            *chain = Narrow::load(in + 16 * (blocks - 1));
        }
#pragma GCC unroll 4
        for (std::size_t i = 0; i < room; ++i) {
            Group v;
            reverse(v, x[i]);
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) {
                const Vector plain = Wide::add(v[j], before);
                if (chain != nullptr) before = load_some(in - 16, 4 * i + j + 1, blocks);
                store_some(out, plain, 4 * i + j, blocks);
            }
        }
    }

    template <std::size_t room>
    static void run_some(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const Keys& keys,
                         Block* chain) {
        if constexpr (resident)
            run_resident<room>(in, out, blocks, keys, chain);
        else
            run<room>(in, out, blocks, keys, chain);
    }

    /// At least `fewest`; what it leaves is fewer.
    template <Order order>
    static void many(const std::uint8_t*& in, std::uint8_t*& out, std::size_t& blocks, const std::uint32_t* rk,
                     Block* chain) {
        const std::size_t count = blocks;
        Keys keys;
        prepare<order>(keys, rk);
        if (blocks < fewest) __builtin_unreachable();
        while (blocks >= fewest) {
            const std::size_t now = blocks < most * group_blocks ? blocks : most * group_blocks;
            if (most > 2 && now > 2 * group_blocks)
                run_some<most>(in, out, now, keys, chain);
            else if (most > 1 && now > group_blocks)
                run_some<(most > 1 ? 2 : 1)>(in, out, now, keys, chain);
            else
                run_some<1>(in, out, now, keys, chain);
            in += 16 * now;
            out += 16 * now;
            blocks -= now;
        }
        wipe(keys);
        if (most > 2 && count > 2 * group_blocks)
            wipe_used_stack(most * spilled + 256);
        else if (!resident)
            wipe_used_stack((most > 1 && count > group_blocks ? 2 : 1) * spilled + 256);
    }

    template <Order order>
    static void all(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                    Block* chain) {
        if (blocks >= fewest) many<order>(in, out, blocks, rk, chain);
        for (; blocks != 0; --blocks, in += 16, out += 16) {
            const Block read = Narrow::load(in);
            auto serial = SerialBlock<Narrow>::load(read);
            serial.template rounds<order>(rk);
            const Block last = serial.reversed();
            Narrow::store(out, chain == nullptr ? last : Narrow::add(last, *chain));
            if (chain != nullptr) *chain = read;
        }
    }

    static void encrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                               const std::uint32_t* rk) noexcept {
        all<Order::forward>(in, out, blocks, rk, nullptr);
    }

    static void decrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                               const std::uint32_t* rk) noexcept {
        all<Order::backward>(in, out, blocks, rk, nullptr);
    }

    static void cbc_decrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                            const std::uint8_t* iv) noexcept {
        Block chain = Narrow::load(iv);
        all<Order::backward>(in, out, blocks, rk, &chain);
    }

    /// The chaining value stays in the basis, one word per vector: a block adds one sum to the chain of its rounds.
    static void cbc_encrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                            const std::uint8_t* iv) noexcept {
        auto v = SerialBlock<Narrow>::load(Narrow::load(iv));
        for (; blocks != 0; --blocks, in += 16, out += 16) {
            const auto p = SerialBlock<Narrow>::load(Narrow::load(in));
            v = {Narrow::add(v.x0, p.x0), Narrow::add(v.x1, p.x1), Narrow::add(v.x2, p.x2), Narrow::add(v.x3, p.x3)};
            v.template rounds<Order::forward>(rk);
            Narrow::store(out, v.reversed());
            v = {v.x3, v.x2, v.x1, v.x0};
        }
    }

    /// Every word stands in all columns of its vector: a row shift changes nothing. As in SerialBlock, all that is
    /// known before the S-box of one round is summed for the next.
    static void expand_key(const std::uint32_t* mk, std::uint32_t* rk) noexcept {
        using Word = decltype(Narrow::broadcast(mk));
        Word k[4];
        for (std::size_t i = 0; i < 4; ++i) k[i] = Narrow::add(Narrow::broadcast(mk + i), Narrow::broadcast(&FK[i]));
        Word t = Narrow::add(Narrow::add(k[1], k[2]), Narrow::add(k[3], Narrow::broadcast(&CK[0])));
#pragma GCC unroll 1
        for (std::size_t i = 0; i < 32; i += 4) {
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) {
                const Word others =
                    Narrow::add(Narrow::add(k[(j + 2) % 4], Narrow::broadcast(&CK[(i + j + 1) % 32])), k[(j + 3) % 4]);
                const Word s = Narrow::substitute_word(t);
                t = Narrow::add(Narrow::add(Narrow::add(k[j], others), s), Narrow::template rotate_left<13>(s),
                                Narrow::template rotate_left<23>(s));
                k[j] = Narrow::add(t, others);
                Narrow::store_word(rk + i + j, k[j]);
            }
        }
    }

    static constexpr Kernels named(const char* name) {
        return {name, expand_key, encrypt_blocks, decrypt_blocks, cbc_encrypt, cbc_decrypt};
    }
};

}  // namespace
}  // namespace ulmaro::sm4
