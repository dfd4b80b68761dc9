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

void run(const Options& o) {
    require_one_stdin({o.key.file, o.input});
    keep_input(o.output, {o.key.file, o.key.passphrase_file.value_or("")});
    Key key;
    load_private_key(o.key, key);
    Input input(o.input);
    const SecretBuffer bytes = input.read_all(max_carried_message + most_overhead);
    try {
        const Ciphertext ciphertext = read_ciphertext(bytes.span(), o.format);
        write_whole(o.output, decrypt(ciphertext, *key.secret).span(), Access::secret);
    } catch (const FormatError& error) {
        throw Failure(input.name() + ": " + error.what());
    }
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
