// SM3.
#include <cstdint>

#include "UlmaroAlgrithm.hpp"
#include "base/wipe.hpp"
#include "dispatch.hpp"
#include "parameters.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

/// Meaningful from init on. Not the class Sm3: it restarts and wipes at each end, which takes a third of the time of a
/// short message, and here OpenSSL says when.
struct Digest : Object {
    using Object::Object;
    SM3_CTX stream;
    std::uint64_t length;  // OpenSSL sets no bound that the count in the stream could hold

    ~Digest() { secure_wipe(&stream, sizeof stream); }
};

int init(Digest& digest, const OSSL_PARAM*) {
    SM3_Init(&digest.stream);
    digest.length = 0;
    return 1;
}

int update(Digest& digest, const unsigned char* in, std::size_t size) {
    algrithm::detail::in_pieces(size, [&](std::size_t at, int part) { SM3_Update(&digest.stream, in + at, part); });
    digest.length += size;
    return 1;
}

int final(Digest& digest, unsigned char* out, std::size_t* written, std::size_t capacity) {
    require(capacity >= ULMARO_SM3_DIGEST_BYTES, Reason::small_buffer);
    ulmaro_sm3_finish(&digest.stream, digest.length, out);
    *written = ULMARO_SM3_DIGEST_BYTES;
    return 1;
}

int get_params(OSSL_PARAM* params) {
    put_count(params, OSSL_DIGEST_PARAM_BLOCK_SIZE, ULMARO_SM3_BLOCK_BYTES);
    put_count(params, OSSL_DIGEST_PARAM_SIZE, ULMARO_SM3_DIGEST_BYTES);
    put_count(params, OSSL_DIGEST_PARAM_XOF, 0);
    put_count(params, OSSL_DIGEST_PARAM_ALGID_ABSENT, 0);
    return 1;
}

const OSSL_PARAM* gettable_params(void*) noexcept {
    static constexpr OSSL_PARAM list[] = {number(OSSL_DIGEST_PARAM_BLOCK_SIZE), number(OSSL_DIGEST_PARAM_SIZE),
                                          integer(OSSL_DIGEST_PARAM_XOF), integer(OSSL_DIGEST_PARAM_ALGID_ABSENT),
                                          end_of_list};
    return list;
}

}  // namespace

const OSSL_DISPATCH* digest_table() noexcept {
    static const OSSL_DISPATCH table[] = {
        ULMARO_ENTRY(DIGEST_NEWCTX, digest_newctx, make<Digest>),
        ULMARO_ENTRY(DIGEST_FREECTX, digest_freectx, destroy<Digest>),
        ULMARO_ENTRY(DIGEST_DUPCTX, digest_dupctx, duplicate<Digest>),
        ULMARO_ENTRY(DIGEST_INIT, digest_init, init),
        ULMARO_ENTRY(DIGEST_UPDATE, digest_update, update),
        ULMARO_ENTRY(DIGEST_FINAL, digest_final, final),
        ULMARO_ENTRY(DIGEST_GET_PARAMS, digest_get_params, get_params),
        ULMARO_ENTRY(DIGEST_GETTABLE_PARAMS, digest_gettable_params, gettable_params),
        {},
    };
    return table;
}

}  // namespace ulmaro::provider
