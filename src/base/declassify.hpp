// Where a secret's life ends: the places at which the library branches on something that it computed from a secret.
// There are no others on the recommended curve, nor on a custom one with a prime and an odd order of eight words. In
// the libraries this is nothing; a test of constant time builds the same sources so that it hears of each value, checks
// everything else, and checks that these are needed.
#pragma once

namespace ulmaro {

/// What the value says, and why whoever watches may know it.
enum class Public {
    draw_accepted,         // a draw that is refused is thrown away, and says nothing of the next
    key_can_sign,          // false for 0, n - 1 and beyond alone: no key pair has such a key, the signature is zeros
    signature_made,        // false for hardly any scalar, and that is thrown away
    multiple_exceptional,  // false for every scalar below a large prime order, as drawn scalars and keys are
    shared_point_zero,     // as good as never for an honest key; otherwise the refusal shows it
    key_stream_zero,       // for a short message the ciphertext shows it: the message is drawn for again, or refused
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
