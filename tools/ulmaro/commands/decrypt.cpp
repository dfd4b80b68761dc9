#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/output.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t most_overhead = 160;  // of the largest format

struct Options {
    KeyOptions key;
    std::string input = "-";
    std::string output = "-";
    CiphertextFormat format = CiphertextFormat::der;
};

SecretBuffer read_and_decrypt(const SecretBuffer& bytes, CiphertextFormat format, const Key& key) {
    return decrypt(read_ciphertext(bytes.span(), format), *key.secret);
}

/// After a failure: in which layout the ciphertext can be decrypted, if in one.
std::string other_layout(const SecretBuffer& bytes, CiphertextFormat tried, const Key& key) {
    for (const auto& [name, format] : ciphertext_format_names) {
        if (format == tried) continue;
        try {
            read_and_decrypt(bytes, format, key);
            return "; it can be decrypted with --format " + name;
        } catch (const std::runtime_error&) {  // not this one
        }
    }
    return "";
}

void run(const Options& o) {
    require_one_stdin({o.key.file, o.input});
    keep_input(o.output, {o.key.file, o.key.passphrase_file.value_or("")});
    Key key;
    load_private_key(o.key, key);
    Input input(o.input);
    const SecretBuffer bytes = input.read_all(max_carried_message + most_overhead);
    const SecretBuffer message = [&] {
        try {
            return read_and_decrypt(bytes, o.format, key);
        } catch (const FormatError& error) {
            throw Failure(input.name() + ": " + error.what() + other_layout(bytes, o.format, key));
        } catch (const Failure& error) {
            throw Failure(error.what() + other_layout(bytes, o.format, key));
        }
    }();
    write_whole(o.output, message.span(), Access::secret);
}

}  // namespace

void add_decrypt(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "decrypt", "Decrypt a file with SM2", [o] { run(*o); });
    add_key_options(sub, o->key, "The private key");
    cli::option(sub, "-i,--in,--input", o->input, "The ciphertext (default: standard input)");
    cli::option(sub, "-o,--out,--output", o->output,
                "The message (default: standard output); a new file is readable only by its owner");
    cli::choice(sub, "-f,--format", o->format, ciphertext_format_names,
                "The default is der; raw is the library's record");
}

}  // namespace ulmaro::tool
