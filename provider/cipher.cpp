// SM4 in ECB, CBC and counter mode, with OpenSSL's habits: blocks are collected over calls, padding is on unless
// switched off, and an object can be set up again with a key, an iv, both or neither.
#include <algorithm>
#include <array>
#include <optional>

#include "base/wipe.hpp"
#include "dispatch.hpp"
#include "parameters.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

using algrithm::Sm4;
using Block = Sm4::Iv;
constexpr std::size_t block_size = Sm4::block_size;

/// Numbered as EVP_CIPH_*_MODE of <openssl/evp.h>.
enum Mode : unsigned { ecb = 1, cbc = 2, ctr = 5 };

struct Cipher : Object {
    using Object::Object;
    std::optional<Sm4> key;
    Block iv = {};     // as set
    Block chain = {};  // CBC: the last block of ciphertext; CTR: the counter of the next block
    Block held = {};  // ECB and CBC: bytes that wait for the rest of their block; CTR: the key stream of the last block
    std::size_t count = 0;  // bytes waiting in held; CTR: bytes used of it, 0 when it is used up
    bool encrypting = true;
    bool padded = true;
    bool iv_set = false;

    ~Cipher() { secure_wipe(held.data(), block_size); }
};

// g++ 12 misses an instance of destroy() that only the template of the tables below uses.
void destroy_cipher(void* cipher) noexcept { destroy<Cipher>(cipher); }

/// ECB and CBC over whole blocks.
template <Mode mode>
void run(Cipher& c, unsigned char* out, const unsigned char* in, std::size_t size) {
    const View from(in, size);
    const std::span to(out, size);
    if constexpr (mode == ecb) {
        c.encrypting ? c.key->ecb_encrypt(from, to) : c.key->ecb_decrypt(from, to);
    } else {
        c.encrypting ? c.key->cbc_encrypt(c.chain, from, to) : c.key->cbc_decrypt(c.chain, from, to);
    }
}

template <Mode mode>
int set_params(Cipher& c, const OSSL_PARAM* params) {
    if (const auto* p = find(params, OSSL_CIPHER_PARAM_PADDING)) c.padded = count_of(*p) != 0;
    if (const auto* p = find(params, OSSL_CIPHER_PARAM_KEYLEN)) {
        require(count_of(*p) == block_size, Reason::bad_length);
    }
    if (const auto* p = find(params, OSSL_CIPHER_PARAM_NUM)) {
        require(count_of(*p) == 0, Reason::bad_parameter);  // the rest of a key stream can only be dropped
        if (mode == ctr) c.count = 0;
    }
    return 1;
}

template <Mode mode, bool encrypting>
int init(Cipher& c, const unsigned char* key, std::size_t key_size, const unsigned char* iv, std::size_t iv_size,
         const OSSL_PARAM* params) {
    if (mode != ecb && iv != nullptr) {
        require(iv_size == block_size, Reason::bad_length);
        std::copy_n(iv, block_size, c.iv.begin());
        c.chain = c.iv;
        c.iv_set = true;
    }
    // Without a new iv, CBC starts again with the old one, and a counter goes on.
    if (mode == cbc && c.iv_set) c.chain = c.iv;
    if (key != nullptr) {
        require(key_size == block_size, Reason::bad_length);
        c.key.emplace(std::span<const unsigned char, block_size>(key, block_size));
    }
    c.encrypting = encrypting;
    c.count = 0;
    return set_params<mode>(c, params);
}

template <Mode mode>
int update(Cipher& c, unsigned char* out, std::size_t* written, std::size_t capacity, const unsigned char* in,
           std::size_t size) {
    require(c.key.has_value(), Reason::no_key);
    *written = 0;
    if (c.count + size == 0) return 1;
    // The last whole block of a padded ciphertext waits for the end.
    const std::size_t withheld = c.padded && !c.encrypting ? 1 : 0;
    const std::size_t ready = (c.count + size - withheld) / block_size * block_size;
    require(capacity >= ready, Reason::small_buffer);
    if (ready == 0) {
        std::copy_n(in, size, c.held.begin() + static_cast<std::ptrdiff_t>(c.count));
        c.count += size;
        return 1;
    }
    // The output may be the input, and then overwrites it before it is read: the first block, which is partly of
    // earlier calls, is written last, and the bytes beyond the last are kept first.
    Wiped<Block> first, rest;
    const std::size_t rest_size = c.count + size - ready;
    std::copy_n(in + size - rest_size, rest_size, rest->begin());
    const std::size_t first_size = c.count == 0 ? 0 : block_size;
    if (first_size != 0) {
        const std::size_t missing = block_size - c.count;
        std::copy_n(in, missing, c.held.begin() + static_cast<std::ptrdiff_t>(c.count));
        run<mode>(c, first->data(), c.held.data(), block_size);
        in += missing;
    }
    run<mode>(c, out + first_size, in, ready - first_size);
    std::copy_n(first->begin(), first_size, out);
    std::copy_n(rest->begin(), rest_size, c.held.begin());
    c.count = rest_size;
    *written = ready;
    return 1;
}

template <Mode mode>
int final(Cipher& c, unsigned char* out, std::size_t* written, std::size_t capacity) {
    require(c.key.has_value(), Reason::no_key);
    *written = 0;
    if (!c.padded && c.count == 0) return 1;
    if (c.encrypting) {
        require(c.padded, Reason::incomplete_block);
        require(capacity >= block_size, Reason::small_buffer);
        std::fill(c.held.begin() + static_cast<std::ptrdiff_t>(c.count), c.held.end(),
                  static_cast<unsigned char>(block_size - c.count));
        run<mode>(c, out, c.held.data(), block_size);
        *written = block_size;
    } else {
        require(c.count == block_size, Reason::incomplete_block);
        run<mode>(c, c.held.data(), c.held.data(), block_size);
        // A block that was withheld before padding was switched off is part of the message.
        const std::size_t padding = c.padded ? Sm4::padding_of(c.held) : 0;
        require(!c.padded || padding != 0, Reason::bad_padding);
        require(capacity >= block_size - padding, Reason::small_buffer);
        *written = block_size - padding;
        std::copy_n(c.held.begin(), *written, out);
    }
    c.count = 0;
    return 1;
}

/// Whole blocks at once, without padding.
template <Mode mode>
int process(Cipher& c, unsigned char* out, std::size_t* written, std::size_t capacity, const unsigned char* in,
            std::size_t size) {
    require(c.key.has_value(), Reason::no_key);
    require(size % block_size == 0, Reason::bad_length);
    require(capacity >= size, Reason::small_buffer);
    run<mode>(c, out, in, size);
    *written = size;
    return 1;
}

template <>
int process<ctr>(Cipher& c, unsigned char* out, std::size_t* written, std::size_t capacity, const unsigned char* in,
                 std::size_t size) {
    require(c.key.has_value(), Reason::no_key);
    require(capacity >= size, Reason::small_buffer);
    *written = size;
    for (; c.count != 0 && size != 0; --size) {
        *out++ = *in++ ^ c.held[c.count];
        c.count = (c.count + 1) % block_size;
    }
    if (size != 0) c.count = size % block_size;
    c.key->ctr(c.chain, {in, size}, {out, size}, &c.held);
    return 1;
}

template <>
int update<ctr>(Cipher& c, unsigned char* out, std::size_t* written, std::size_t capacity, const unsigned char* in,
                std::size_t size) {
    return process<ctr>(c, out, written, capacity, in, size);
}

template <>
int final<ctr>(Cipher& c, unsigned char*, std::size_t* written, std::size_t) {
    require(c.key.has_value(), Reason::no_key);
    *written = 0;
    return 1;
}

template <Mode mode>
constexpr std::size_t iv_size = mode == ecb ? 0 : block_size;

template <Mode mode>
int get_params(OSSL_PARAM* params) {
    put_count(params, OSSL_CIPHER_PARAM_MODE, mode);
    put_count(params, OSSL_CIPHER_PARAM_KEYLEN, block_size);
    put_count(params, OSSL_CIPHER_PARAM_IVLEN, iv_size<mode>);
    put_count(params, OSSL_CIPHER_PARAM_BLOCK_SIZE, mode == ctr ? 1 : block_size);
    for (const char* absent : {OSSL_CIPHER_PARAM_AEAD, OSSL_CIPHER_PARAM_CUSTOM_IV, OSSL_CIPHER_PARAM_CTS,
                               OSSL_CIPHER_PARAM_TLS1_MULTIBLOCK, OSSL_CIPHER_PARAM_HAS_RAND_KEY}) {
        put_count(params, absent, 0);
    }
    return 1;
}

const OSSL_PARAM* gettable_params(void*) noexcept {
    static constexpr OSSL_PARAM list[] = {
        number(OSSL_CIPHER_PARAM_MODE),          number(OSSL_CIPHER_PARAM_KEYLEN),
        number(OSSL_CIPHER_PARAM_IVLEN),         number(OSSL_CIPHER_PARAM_BLOCK_SIZE),
        integer(OSSL_CIPHER_PARAM_AEAD),         integer(OSSL_CIPHER_PARAM_CUSTOM_IV),
        integer(OSSL_CIPHER_PARAM_CTS),          integer(OSSL_CIPHER_PARAM_TLS1_MULTIBLOCK),
        integer(OSSL_CIPHER_PARAM_HAS_RAND_KEY), end_of_list};
    return list;
}

template <Mode mode>
int get_ctx_params(Cipher& c, OSSL_PARAM* params) {
    put_count(params, OSSL_CIPHER_PARAM_KEYLEN, block_size);
    put_count(params, OSSL_CIPHER_PARAM_IVLEN, iv_size<mode>);
    put_count(params, OSSL_CIPHER_PARAM_PADDING, c.padded ? 1 : 0);
    put_count(params, OSSL_CIPHER_PARAM_NUM, mode == ctr ? c.count : 0);
    put_lasting_octets(params, OSSL_CIPHER_PARAM_IV, View(c.iv).first(iv_size<mode>));
    put_lasting_octets(params, OSSL_CIPHER_PARAM_UPDATED_IV, View(c.chain).first(iv_size<mode>));
    return 1;
}

const OSSL_PARAM* gettable_ctx_params(void*, void*) noexcept {
    static constexpr OSSL_PARAM list[] = {number(OSSL_CIPHER_PARAM_KEYLEN),
                                          number(OSSL_CIPHER_PARAM_IVLEN),
                                          number(OSSL_CIPHER_PARAM_PADDING),
                                          number(OSSL_CIPHER_PARAM_NUM),
                                          octets(OSSL_CIPHER_PARAM_IV),
                                          octets(OSSL_CIPHER_PARAM_UPDATED_IV),
                                          end_of_list};
    return list;
}

const OSSL_PARAM* settable_ctx_params(void*, void*) noexcept {
    static constexpr OSSL_PARAM list[] = {number(OSSL_CIPHER_PARAM_PADDING), number(OSSL_CIPHER_PARAM_KEYLEN),
                                          number(OSSL_CIPHER_PARAM_NUM), end_of_list};
    return list;
}

template <Mode mode>
const OSSL_DISPATCH* table_of() noexcept {
    constexpr auto encrypt_init = init<mode, true>, decrypt_init = init<mode, false>;
    static const OSSL_DISPATCH table[] = {
        ULMARO_ENTRY(CIPHER_NEWCTX, cipher_newctx, make<Cipher>),
        ULMARO_ENTRY(CIPHER_FREECTX, cipher_freectx, destroy_cipher),
        ULMARO_ENTRY(CIPHER_DUPCTX, cipher_dupctx, duplicate<Cipher>),
        ULMARO_ENTRY(CIPHER_ENCRYPT_INIT, cipher_encrypt_init, encrypt_init),
        ULMARO_ENTRY(CIPHER_DECRYPT_INIT, cipher_decrypt_init, decrypt_init),
        ULMARO_ENTRY(CIPHER_UPDATE, cipher_update, update<mode>),
        ULMARO_ENTRY(CIPHER_FINAL, cipher_final, final<mode>),
        ULMARO_ENTRY(CIPHER_CIPHER, cipher_cipher, process<mode>),
        ULMARO_ENTRY(CIPHER_GET_PARAMS, cipher_get_params, get_params<mode>),
        ULMARO_ENTRY(CIPHER_GETTABLE_PARAMS, cipher_gettable_params, gettable_params),
        ULMARO_ENTRY(CIPHER_GET_CTX_PARAMS, cipher_get_ctx_params, get_ctx_params<mode>),
        ULMARO_ENTRY(CIPHER_GETTABLE_CTX_PARAMS, cipher_gettable_ctx_params, gettable_ctx_params),
        ULMARO_ENTRY(CIPHER_SET_CTX_PARAMS, cipher_set_ctx_params, set_params<mode>),
        ULMARO_ENTRY(CIPHER_SETTABLE_CTX_PARAMS, cipher_settable_ctx_params, settable_ctx_params),
        {},
    };
    return table;
}

}  // namespace

const OSSL_DISPATCH* ecb_table() noexcept { return table_of<ecb>(); }
const OSSL_DISPATCH* cbc_table() noexcept { return table_of<cbc>(); }
const OSSL_DISPATCH* ctr_table() noexcept { return table_of<ctr>(); }

}  // namespace ulmaro::provider
