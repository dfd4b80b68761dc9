// The callbacks of each algorithm, as provider.cpp lists them.
#pragma once

#include <openssl/core.h>

namespace ulmaro::provider {

const OSSL_DISPATCH* digest_table() noexcept;
const OSSL_DISPATCH* ecb_table() noexcept;
const OSSL_DISPATCH* cbc_table() noexcept;
const OSSL_DISPATCH* ctr_table() noexcept;
const OSSL_DISPATCH* key_management_table() noexcept;
const OSSL_DISPATCH* signature_table() noexcept;
const OSSL_DISPATCH* encryption_table() noexcept;

}  // namespace ulmaro::provider
