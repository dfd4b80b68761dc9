// Signs a message and verifies it in C++. The calls themselves put Z, the digest that binds the signer's identity,
// before the message. Link the hardened library: the plain one draws keys from a generator seeded with the clock.
#include <UlmaroAlgrithm.hpp>
#include <cstdio>

namespace sm2 = ulmaro::algrithm;

int main() try {
    const sm2::Curve curve;  // the recommended one, prepared once; any number of threads may share it
    const sm2::KeyPair signer = curve.generate();
    const sm2::View message = sm2::bytes_of("Pay 120.00 to account 4711");

    const sm2::Signature signature = curve.sign(signer, message);

    // The receiver has the public key, the message and the signature; both sides agree on the identity.
    if (!curve.verify(signer.public_key, message, signature)) return 1;
    std::puts("the signature is valid");
    if (curve.verify(signer.public_key, sm2::bytes_of("Pay 920.00 to account 4711"), signature)) return 1;
    if (curve.verify(signer.public_key, message, signature, "someone else")) return 1;
    std::puts("another message, and another identity, are refused");
    return 0;
} catch (const sm2::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
