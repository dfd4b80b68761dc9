// Sends a message of any length to the owner of an SM2 key: encrypted with a fresh SM4 key, which is encrypted with
// SM2. The sender signs what is sent, and the receiver verifies before decrypting anything, so that nobody can learn
// from refusals. Link the hardened library.
#include <string.h>
#include <sys/random.h>

#include <UlmaroAlgrithm.hpp>
#include <array>
#include <cstdio>
#include <string>

namespace ua = ulmaro::algrithm;

namespace {

std::array<unsigned char, 16> random_block() {
    std::array<unsigned char, 16> block;
    if (getrandom(block.data(), block.size(), 0) != 16) throw ua::Error("no randomness");
    return block;
}

struct Letter {
    ua::Ciphertext key;
    ua::Sm4::Iv iv;
    ua::Bytes text;
    ua::Signature signature;
};

/// What is signed: everything that is sent.
ua::Digest digest_of(const ua::Curve& curve, const ua::PublicKey& sender, const ua::Ciphertext& key,
                     const ua::Sm4::Iv& iv, const ua::Bytes& text) {
    return curve.message_stream(sender).update(key.bytes()).update(iv).update(text).finish();
}

Letter seal(const ua::Curve& curve, const ua::KeyPair& sender, const ua::PublicKey& receiver, ua::View message) {
    std::array<unsigned char, 16> key = random_block();
    const ua::Sm4::Iv iv = random_block();
    const ua::Ciphertext wrapped = curve.encrypt(receiver, key);
    const ua::Sm4 cipher(key);
    explicit_bzero(key.data(), key.size());  // the cipher wipes its own copy
    const ua::Bytes text = cipher.cbc_encrypt_padded(iv, message);
    return {wrapped, iv, text,
            curve.sign_digest(sender.private_key, digest_of(curve, sender.public_key, wrapped, iv, text))};
}

ua::Bytes open(const ua::Curve& curve, const ua::PublicKey& sender, const ua::PrivateKey& receiver,
               const Letter& letter) {
    const ua::Digest e = digest_of(curve, sender, letter.key, letter.iv, letter.text);
    if (!curve.verify_digest(sender, e, letter.signature)) throw ua::Error("not what the sender sent");
    ua::Bytes key = curve.decrypt(receiver, letter.key);
    if (key.size() != 16) throw ua::Error("not an SM4 key");
    const ua::Sm4 cipher(ua::View(key).first<16>());
    explicit_bzero(key.data(), key.size());
    return cipher.cbc_decrypt_padded(letter.iv, letter.text);
}

}  // namespace

int main() try {
    const ua::Curve curve;
    const ua::KeyPair alice = curve.generate();
    const ua::KeyPair bob = curve.generate();
    const std::string message(1000, 'x');

    Letter letter = seal(curve, alice, bob.public_key, ua::bytes_of(message));
    const ua::Bytes opened = open(curve, alice.public_key, bob.private_key, letter);
    if (std::string(opened.begin(), opened.end()) != message) return 1;
    std::printf("%zu bytes travelled as %zu\n", message.size(), letter.text.size());

    letter.text[0] ^= 1;
    try {
        open(curve, alice.public_key, bob.private_key, letter);
        return 1;
    } catch (const ua::Error& error) {
        std::printf("changed on the way: %s\n", error.what());
    }
    return 0;
} catch (const ua::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
