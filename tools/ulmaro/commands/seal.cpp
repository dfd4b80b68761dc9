#include <memory>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/passphrase.hpp"
#include "support/sealed.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    std::optional<std::string> key;
    std::optional<std::string> passphrase_file;
    bool passphrase = false;
    std::string input = "-";
    std::string output = "-";
    bool no_progress = false;
};

void add_files(CLI::App& sub, Options& o, const char* output_help) {
    cli::option(sub, "-i,--in,--input", o.input, "Input (default: standard input)");
    cli::option(sub, "-o,--out,--output", o.output, output_help);
    cli::flag(sub, "--no-progress", o.no_progress, "Show no progress bar");
}

void check_files(const Options& o) {
    require_one_stdin({o.key.value_or(""), o.passphrase_file.value_or(""), o.input});
    keep_input(o.output, {o.key.value_or(""), o.passphrase_file.value_or("")});
}

void run_seal(const Options& o) {
    const bool by_passphrase = o.passphrase || o.passphrase_file;
    if (by_passphrase == o.key.has_value()) throw UsageError("either --key or a passphrase is required");
    check_files(o);
    Key key;
    SecretBuffer passphrase(0);
    if (o.key) load_key({*o.key, std::nullopt}, key);
    if (by_passphrase) passphrase = read_passphrase(o.passphrase_file, "Passphrase for the file", true);
    Input input(o.input);
    Output output(o.output);
    if (output.feeds(input)) throw Failure(input.name() + ": also the output");
    if (by_passphrase) {
        seal_under_passphrase(passphrase.span(), input, output, !o.no_progress);
    } else {
        seal_for_key(key.point, input, output, !o.no_progress);
    }
    output.commit();
}

void run_open(const Options& o) {
    check_files(o);
    Input input(o.input);
    Output output(o.output, Access::secret);
    if (output.feeds(input)) throw Failure(input.name() + ": also the output");
    const Opening opening{[&](Key& key) {
                              if (!o.key) throw Failure(input.name() + ": sealed for a key; --key is required");
                              load_private_key({*o.key, o.passphrase_file}, key);
                          },
                          [&] { return read_passphrase(o.passphrase_file, "Passphrase of " + input.name(), false); }};
    try {
        open_sealed(opening, input, output, !o.no_progress);
    } catch (const FormatError& error) {
        throw Failure(input.name() + ": " + error.what());
    }
    output.commit();
}

}  // namespace

void add_seal(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "seal", "Encrypt and authenticate a file of any size", [o] { run_seal(*o); });
    cli::option(sub, "-k,--key", o->key, "For the owner of this public key");
    cli::flag(sub, "-p,--passphrase", o->passphrase, "Under a passphrase; asks for it");
    cli::option(sub, "--passphrase-file", o->passphrase_file, "Under the first line of this file");
    add_files(sub, *o, "The sealed file (default: standard output)");
    cli::footer(
        sub,
        "Every change to the sealed file is noticed when it is opened. Who sealed it is not shown: anyone has the\n"
        "public key. Sign the file for that.");
}

void add_open(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "open", "Open a sealed file", [o] { run_open(*o); });
    cli::option(sub, "-k,--key", o->key, "The private key, for a file that is sealed for one");
    cli::option(sub, "--passphrase-file", o->passphrase_file,
                "File whose first line is the passphrase, of the key or of the sealed file");
    add_files(sub, *o, "The content (default: standard output); a new file is readable only by its owner");
    cli::footer(sub,
                "A file named by -o appears only when all of the input is authentic. On standard output each piece of\n"
                "64 KiB appears once it is: do not rely on it until the exit code is 0.");
}

}  // namespace ulmaro::tool
