// The tour: what the library does, on a real file, one printed step after the other.
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cli/cli.hpp"
#include "commands/commands.hpp"
#include "support/digest.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"
#include "support/sm2.hpp"
#include "support/sm4_stream.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

class Tour {
public:
    explicit Tour(const std::string& path) : path_(path) {}

    void hash() {
        step("Hash the file with SM3");
        Input input(path_);
        digest_ = digest_of(input, true);
        show("SM3", to_hex(digest_.bytes()));
    }

    void make_keys() {
        step("Make an SM2 key pair");
        keys_.emplace(curve().generate());
        show("private d", "32 bytes, not shown");
        show("public x", to_hex(keys_->public_key.bytes().first(32)));
        show("public y", to_hex(keys_->public_key.bytes().last(32)));
    }

    void sign_and_verify() {
        step("Sign the file with the private key");
        const PublicKey& point = keys_->public_key;
        const Digest z = curve().identity_digest(point);
        const Digest e = digest_with(z, "");
        const Signature signature = curve().sign_digest(keys_->private_key, e);
        show("Z", to_hex(z.bytes()) + "  (signer: identity, curve, public key)");
        show("e", to_hex(e.bytes()) + "  (SM3 of Z and the file)");
        show("r", to_hex(signature.bytes().first(32)));
        show("s", to_hex(signature.bytes().last(32)));

        step("Verify the signature with the public key");
        expect(verify(e, point, signature), "valid", "the signature was refused");

        step("Verify it against a tampered copy: the file with one byte more");
        const Digest tampered = digest_with(z, "!");
        show("e", to_hex(tampered.bytes()));
        expect(!verify(tampered, point, signature), "refused, as it should be", "a tampered file was accepted");
    }

    void seal_and_open_key() {
        step("Draw a random SM4 key and encrypt it to the public key with SM2");
        algrithm::random_bytes(job_.key.span());
        const Ciphertext ciphertext = curve().encrypt(keys_->public_key, job_.key.span());
        const auto record = ciphertext.bytes();
        show("SM4 key", "16 bytes, not shown");
        show("ciphertext", to_hex(record.first(32)) + "...  (" + std::to_string(record.size()) + " bytes)");

        step("Decrypt the SM4 key with the private key");
        const SecretBuffer opened = decrypt(ciphertext, keys_->private_key);
        expect(std::ranges::equal(opened.span(), job_.key.span()), "the same key", "SM2 gave back another key");
    }

    void encrypt_and_decrypt_file();

private:
    void step(const char* title) { std::printf("\n%d. %s\n", ++number_, title); }
    static void show(const char* label, const std::string& value) {
        std::printf("   %-12s %s\n", label, value.c_str());
    }
    static void expect(bool good, const char* result, const char* complaint) {
        if (!good) throw Failure(complaint);
        show("result", result);
    }
    /// e of the file with something appended.
    Digest digest_with(const Digest& z, std::string_view suffix) const {
        Input input(path_);
        Sm3 hash;
        hash.update(z.bytes());
        absorb(hash, input, true);
        hash.update(algrithm::bytes_of(suffix));
        return hash.finish();
    }

    std::string path_;
    int number_ = 0;
    Digest digest_;
    std::optional<algrithm::KeyPair> keys_;
    Sm4Job job_;
};

/// A file without a name: it goes away with its last descriptor, however the program ends.
class ScratchFile {
public:
    ScratchFile() {
        const char* folder = ::getenv("TMPDIR");
        std::string path = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/ulmaro-XXXXXX";
        file_ = Fd(::mkstemp(path.data()));
        if (!file_.valid()) throw system_failure(path);
        ::unlink(path.c_str());
    }

    Output writer() const { return Output(duplicate(), "scratch file"); }
    Input reader() const { return Input(duplicate(), "scratch file"); }

private:
    Fd duplicate() const { return Fd(::dup(file_.get())); }

    Fd file_;
};

void Tour::encrypt_and_decrypt_file() {
    step("Encrypt the file under that key with SM4 in CBC mode");
    const ScratchFile sealed;
    Input original(path_);
    Output sealed_out = sealed.writer();
    sm4_encrypt(job_, original, sealed_out);
    std::array<unsigned char, 48> start{};
    sealed.reader().read(start);
    show("IV", to_hex(std::span(start).first(16)) + "  (random, stored before the ciphertext)");
    show("ciphertext", to_hex(std::span(start).last(32)) + "...");
    show("size", std::to_string(original.size()) + " bytes became " + std::to_string(sealed.reader().size()) +
                     ", with IV and padding");

    step("Decrypt it and compare");
    const ScratchFile opened;
    Input sealed_in = sealed.reader();
    Output opened_out = opened.writer();
    sm4_decrypt(job_, sealed_in, opened_out);
    Input result = opened.reader();
    const Digest digest = digest_of(result, true);
    show("SM3", to_hex(digest.bytes()));
    expect(digest == digest_, "identical to the original", "the decrypted file differs from the original");
}

void run(const std::string& file) {
    // Without a file, use the program itself: every machine has it.
    const std::string path = file.empty() ? "/proc/self/exe" : file;
    const Input probe(path);
    if (path == "-" || probe.size() == 0) throw Failure(probe.name() + ": the demo needs a regular file with content");
    std::printf("The file is %s, %llu bytes.\n", file.empty() ? "this program itself" : printable(file).c_str(),
                static_cast<unsigned long long>(probe.size()));
    Tour tour(path);
    tour.hash();
    tour.make_keys();
    tour.sign_and_verify();
    tour.seal_and_open_key();
    tour.encrypt_and_decrypt_file();
}

}  // namespace

void add_demo(CLI::App& app) {
    const auto file = std::make_shared<std::string>();
    CLI::App& sub =
        cli::command(app, "demo", "Show the library at work on a file, step by step", [file] { run(*file); });
    cli::option(sub, "FILE", *file, "A file to work on; without one, this program");
}

}  // namespace ulmaro::tool
