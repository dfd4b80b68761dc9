// The tour: what the library does, on a real file, one printed step after the other.
#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "commands/commands.hpp"
#include "support/digest.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"
#include "support/random.hpp"
#include "support/sm4_stream.hpp"

namespace ulmaro::tool {
namespace {

void step(int number, const char* title) { std::printf("\n%d. %s\n", number, title); }

void show(const char* label, const std::string& value) { std::printf("   %-12s %s\n", label, value.c_str()); }

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

std::string first_bytes(Input input) {
    std::array<unsigned char, 32> bytes{};
    const std::size_t n = input.read(bytes);
    return to_hex(std::span(bytes).first(n)) + (n == bytes.size() ? "..." : "");
}

Digest hash_step(const std::string& path) {
    step(1, "Hash the file with SM3");
    Input input(path);
    const Digest digest = digest_of(input, true);
    show("SM3", to_hex(digest));
    return digest;
}

/// Encrypts path and decrypts the result; the digest of what came back.
Digest cipher_steps(const std::string& path) {
    step(2, "Encrypt it with SM4 in CBC mode, under a fresh random key");
    Sm4Job job;
    fill_random(*job.key);
    const ScratchFile sealed;
    Input original(path);
    Output sealed_out = sealed.writer();
    sm4_encrypt(job, original, sealed_out);
    show("key", to_hex(*job.key));
    show("IV", first_bytes(sealed.reader()).substr(0, 32) + "  (stands before the ciphertext)");
    show("size", std::to_string(original.size()) + " bytes became " + std::to_string(sealed.reader().size()) +
                     ": IV and padding come on top");
    show("begins", first_bytes(sealed.reader()));

    step(3, "Decrypt the ciphertext with the same key");
    const ScratchFile opened;
    Input sealed_in = sealed.reader();
    Output opened_out = opened.writer();
    sm4_decrypt(job, sealed_in, opened_out);
    Input result = opened.reader();
    const Digest digest = digest_of(result, true);
    show("SM3", to_hex(digest));
    return digest;
}

void run(const std::string& file) {
    // Without a file the program itself is at hand on every machine.
    const std::string path = file.empty() ? "/proc/self/exe" : file;
    const Input probe(path);
    if (path == "-" || probe.size() == 0) throw Failure(probe.name() + ": the demo needs a regular file with content");
    std::printf("The file is %s, %llu bytes.\n", file.empty() ? "this program itself" : file.c_str(),
                static_cast<unsigned long long>(probe.size()));

    const Digest before = hash_step(path);
    const Digest after = cipher_steps(path);
    step(4, "Compare");
    if (before != after) throw Failure("the decrypted file differs from the original");
    show("result", "identical: the decrypted file is the original, byte for byte");
}

}  // namespace

void add_demo(CLI::App& app, int& /*status*/) {
    CLI::App* sub = app.add_subcommand("demo", "Show the library at work on a file, step by step");
    const auto file = std::make_shared<std::string>();
    sub->add_option("FILE", *file, "A file to work on; without one, this program");
    sub->callback([file] { run(*file); });
}

}  // namespace ulmaro::tool
