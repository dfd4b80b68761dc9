#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/passphrase.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t largest_input = max_carried_message + 160;

struct Files {
    std::string input = "-";
    std::string output = "-";
};

void add_files(CLI::App& sub, Files& files) {
    cli::option(sub, "-i,--in,--input", files.input, "Input (default: standard input)");
    cli::option(sub, "-o,--out,--output", files.output, "Output (default: standard output)");
}

/// Reads one format and writes another, by way of a Value.
template <typename Format, typename Value>
void add_pair(CLI::App& convert, const char* name, const char* help, const std::map<std::string, Format>& formats,
              Value (*read)(algrithm::View, Format), SecretBuffer (*write)(const Value&, Format)) {
    struct Options {
        Files files;
        Format from{};
        Format to{};
    };
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(convert, name, help, [o, read, write] {
        Input input(o->files.input);
        const SecretBuffer bytes = input.read_all(largest_input);
        try {
            write_whole(o->files.output, write(read(bytes.span(), o->from), o->to).span());
        } catch (const FormatError& error) {
            throw Failure(input.name() + ": " + error.what());
        }
    });
    add_files(sub, o->files);
    cli::choice(sub, "--from", o->from, formats, "Format of the input", cli::Need::required);
    cli::choice(sub, "--to", o->to, formats, "Format of the output", cli::Need::required);
}

struct KeyConversion {
    Files files;
    KeyFormat to = KeyFormat::pem;
    bool only_public = false;
    std::optional<std::string> passphrase_file;
    bool new_passphrase = false;
    std::optional<std::string> new_passphrase_file;
    std::optional<SealingCipher> cipher;
    bool force = false;
};

void convert_key(const KeyConversion& o) {
    const bool encrypt = o.new_passphrase || o.new_passphrase_file;
    require_passphrase_for(o.cipher, encrypt);
    if (encrypt && (o.only_public || o.to == KeyFormat::hex || o.to == KeyFormat::raw)) {
        throw UsageError("a new passphrase needs a private key and --to pem or der");
    }
    Key key;
    load_key({o.files.input, o.passphrase_file}, key);
    const bool drops_secret = o.only_public && key.secret;
    keep_input(o.files.output,
               {o.passphrase_file.value_or(""), o.new_passphrase_file.value_or(""), drops_secret ? o.files.input : ""});
    const Existing existing = existing_key(o.files.output, o.files.input, o.force);
    if (o.only_public || !key.secret) {
        if (encrypt) throw Failure(o.files.input + ": a public key cannot be encrypted");
        return write_whole(o.files.output, write_public_key(key.point, o.to).span(), Access::usual, existing);
    }
    Output output(o.files.output, Access::key, existing);
    SecretBuffer passphrase(0);
    if (encrypt) passphrase = read_passphrase(o.new_passphrase_file, "New passphrase", true);
    output.write(write_private_key(key, o.to, passphrase.span(), o.cipher.value_or(SealingCipher::aes)).span());
    output.commit();
}

void add_key(CLI::App& convert) {
    const auto o = std::make_shared<KeyConversion>();
    CLI::App& sub = cli::command(convert, "key", "Convert a private or public key; the input's form is recognised",
                                 [o] { convert_key(*o); });
    add_files(sub, o->files);
    cli::choice(sub, "--to", o->to, key_format_names, "Format of the output", cli::Need::required);
    cli::flag(sub, "--public", o->only_public, "Write only the public key, also of a private one");
    cli::option(sub, "--passphrase-file", o->passphrase_file, "File whose first line is the input's passphrase");
    cli::flag(sub, "--new-passphrase", o->new_passphrase, "Encrypt the output; asks for the passphrase");
    cli::option(sub, "--new-passphrase-file", o->new_passphrase_file, "Encrypt it under the first line of this file");
    add_cipher_option(sub, o->cipher);
    cli::flag(sub, "--force", o->force, "Replace another existing file than the input");
}

}  // namespace

void add_convert(CLI::App& app) {
    CLI::App& convert = cli::family(app, "convert", "Convert keys, signatures and ciphertexts between formats");
    cli::footer(
        convert,
        "Ciphertexts: der is GM/T 0009, raw the library's record; c1c3c2 (today's order) and c1c2c3 (the older one)\n"
        "begin with the byte 04, their -bare forms do not.");
    add_key(convert);
    add_pair(convert, "signature", "Convert a signature", signature_format_names, read_signature, write_signature);
    add_pair(convert, "ciphertext", "Convert an SM2 ciphertext", ciphertext_format_names, read_ciphertext,
             write_ciphertext);
}

}  // namespace ulmaro::tool
