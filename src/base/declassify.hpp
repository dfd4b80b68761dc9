// The places at which the library branches on something that it computed from a secret. There are no others on the
// recommended curve, nor on a custom one whose prime and odd order have eight words. In the libraries this compiles to
// nothing; the constant-time test builds the same sources so that each value is reported to it, checks everything else,
// and checks that these are needed.
#pragma once

namespace ulmaro {

/// What the value says, and why an observer may learn it.
enum class Public {
    draw_accepted,         // a refused draw is discarded, and says nothing about the next
    key_can_sign,          // false only for 0, n - 1 and beyond: no key pair has such a key, the signature is zeros
    signature_made,        // false for hardly any scalar, and that one is discarded
    multiple_exceptional,  // false for every scalar below a large prime order, as drawn scalars and keys are
    shared_point_zero,     // practically never for an honest key; otherwise the refusal shows it
    key_stream_zero,       // for a short message the ciphertext shows it: there is another draw, or a refusal
    authentic,             // the result of a decryption
};

#ifdef ULMARO_OBSERVED
void observe(bool& value, Public meaning) noexcept;
#endif

[[nodiscard]] inline bool declassify(bool value, [[maybe_unused]] Public meaning) noexcept {
#ifdef ULMARO_OBSERVED
    observe(value, meaning);
#endif
    return value;
}

}  // namespace ulmaro
