// Options that several commands share, and their meaning.
#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <string>

#include "cli/cli.hpp"
#include "formats/ciphertext.hpp"
#include "formats/keys.hpp"
#include "formats/signature.hpp"
#include "support/output.hpp"

namespace ulmaro::tool {

struct KeyOptions {
    std::string file;
    std::optional<std::string> passphrase_file;
};

void add_key_options(CLI::App& sub, KeyOptions& options, const std::string& help);

/// --cipher: how a private key is encrypted under a passphrase.
void add_cipher_option(CLI::App& sub, std::optional<SealingCipher>& cipher);
/// Refuses it without a passphrase: the key would not be encrypted.
void require_passphrase_for(const std::optional<SealingCipher>& cipher, bool passphrase);

/// Reads the key; messages name the file.
void load_key(const KeyOptions& options, Key& key);
/// The same, and refuses a file without a private key.
void load_private_key(const KeyOptions& options, Key& key);

/// --json, for the commands that print results.
void add_json_option(CLI::App& sub, bool& json);

/// What is signed: a message and the signer's identity, or a digest already computed.
struct MessageOptions {
    std::string input = "-";
    std::optional<std::string> identity;
    std::optional<std::string> digest;
    bool no_progress = false;
};

void add_message_options(CLI::App& sub, MessageOptions& options);
/// --digest, for the commands that take it.
void add_digest_option(CLI::App& sub, MessageOptions& options);

/// The file that will be read, if any.
std::string message_input(const MessageOptions& options);

/// e, from the message or as given.
Digest digest_to_sign(const MessageOptions& options, const PublicKey& point);

/// Refuses more than one input from standard input: the second would find nothing.
void require_one_stdin(std::initializer_list<std::string> inputs);

/// Whether writing this output would replace the file that is this input.
bool would_replace(const std::string& output, const std::string& input);

/// Refuses an output that would replace one of these inputs and so lose it, unlike a mere conversion. Empty names are
/// ignored.
void keep_input(const std::string& output, std::initializer_list<std::string> inputs);

/// Whether a key may replace the file that is there: its own input, as another form of it; anything else, which may be
/// another key, by force only.
Existing existing_key(const std::string& output, const std::string& input, bool force);

extern const std::map<std::string, KeyFormat> key_format_names;
extern const std::map<std::string, SignatureFormat> signature_format_names;
extern const std::map<std::string, CiphertextFormat> ciphertext_format_names;

}  // namespace ulmaro::tool
