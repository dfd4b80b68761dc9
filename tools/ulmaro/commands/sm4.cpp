#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"
#include "support/sm4_stream.hpp"

namespace ulmaro::tool {
namespace {

const std::map<std::string, Sm4Mode> mode_names{{"cbc", Sm4Mode::cbc}, {"ecb", Sm4Mode::ecb}};
const std::map<std::string, Padding> padding_names{{"none", Padding::none}, {"pkcs7", Padding::pkcs7}};

struct Options {
    Sm4Mode mode = Sm4Mode::cbc;
    Padding padding = Padding::pkcs7;
    std::optional<std::string> key;  ///< exactly one of the two is set
    std::optional<std::string> key_file;
    std::optional<std::string> iv;
    std::string input = "-";
    std::string output = "-";
    bool no_progress = false;
};

void decode(const std::string& text, const char* what, std::span<unsigned char> out) {
    if (from_hex(text, out)) return;
    if (!is_hex(text)) throw Failure(std::string("the ") + what + " is not hexadecimal");
    throw Failure(std::string("the ") + what + " must be 16 bytes, 32 hexadecimal digits");
}

/// 16 bytes as they are, or 32 hexadecimal digits with white space around them.
void read_key_file(const std::string& path, std::span<unsigned char> key) {
    SecretBuffer text(256);
    Input file(path);
    const std::size_t n = file.read(text.span());
    if (n == key.size()) {
        std::copy_n(text.data(), n, key.data());
        return;
    }
    std::string_view hex(reinterpret_cast<const char*>(text.data()), n);
    constexpr std::string_view white_space = " \t\r\n";
    hex.remove_prefix(std::min(hex.find_first_not_of(white_space), hex.size()));
    hex = hex.substr(0, hex.find_last_not_of(white_space) + 1);
    if (!from_hex(hex, key)) throw Failure(path + ": a key file holds 16 bytes or 32 hexadecimal digits");
}

using Transform = void (*)(const Sm4Job&, Input&, Output&);

void run(const Options& o, Transform transform, Access access) {
    if (o.iv && o.mode == Sm4Mode::ecb) throw UsageError("--iv is meaningless with --mode ecb");
    if (!o.key && !o.key_file) throw UsageError("--key-file or --key is required");
    require_one_stdin({o.key_file.value_or(""), o.input});
    keep_input(o.output, {o.key_file.value_or("")});
    Sm4Job job;
    job.mode = o.mode;
    job.padding = o.padding;
    job.show_progress = !o.no_progress;
    if (o.key) decode(*o.key, "key", job.key.span());
    if (o.key_file) read_key_file(*o.key_file, job.key.span());
    if (o.iv) decode(*o.iv, "IV", job.iv.emplace());
    Input input(o.input);
    Output output(o.output, access);
    if (output.feeds(input)) throw Failure(input.name() + ": also the output");
    transform(job, input, output);
    output.commit();
}

void add_direction(CLI::App& sm4, const char* name, const char* help, Transform transform, Access access) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(sm4, name, help, [o, transform, access] { run(*o, transform, access); });
    cli::choice(sub, "-m,--mode", o->mode, mode_names, "The default is cbc; ecb shows which blocks are equal");
    cli::choice(sub, "-p,--padding", o->padding, padding_names,
                "The default is pkcs7, which always adds 1 to 16 bytes");
    cli::option(sub, "-K,--key", o->key, "32 hexadecimal digits; other users can see them, prefer --key-file");
    cli::option(sub, "-k,--key-file", o->key_file,
                "File with 16 bytes or 32 hexadecimal digits; this or --key is required");
    cli::exclude(sub, "--key-file", {"--key"});
    cli::option(sub, "--iv", o->iv, "32 hexadecimal digits; without it the IV is stored before the ciphertext");
    cli::option(sub, "-i,--in,--input", o->input, "Input (default: standard input)");
    cli::option(sub, "-o,--out,--output", o->output, "Output (default: standard output)");
    cli::flag(sub, "--no-progress", o->no_progress, "Show no progress bar");
}

}  // namespace

void add_sm4(CLI::App& app) {
    CLI::App& sm4 = cli::family(app, "sm4", "Encrypt or decrypt a file with SM4");
    cli::footer(sm4,
                "The ciphertext is not authenticated: changes to it can go unnoticed. 'ulmaro seal' authenticates.");
    add_direction(sm4, "encrypt", "Encrypt a file", sm4_encrypt, Access::usual);
    add_direction(sm4, "decrypt", "Decrypt a file; a new one is readable only by its owner", sm4_decrypt,
                  Access::secret);
}

}  // namespace ulmaro::tool
