// Files that are encrypted and authenticated, in pieces, for streams of any length in constant memory. The format is in
// docs/formats.md.
//
// Encrypt-then-MAC (Bellare and Namprempre, 2000) of every piece with SM4 in counter mode and HMAC-SM3, under keys of
// this file alone; the number of the piece, and whether it is the last, are authenticated with it, which is the STREAM
// construction (Hoang, Reyhanitabar, Rogaway and Vizár, 2015): pieces cannot be changed, exchanged, repeated or cut
// off.
#pragma once

#include "formats/keys.hpp"
#include "support/input.hpp"
#include "support/output.hpp"

namespace ulmaro::tool {

/// For whoever has the private key. The caller commits the output; so too below.
void seal_for_key(const PublicKey& recipient, Input& input, Output& output, bool show_progress);
/// For whoever knows the passphrase.
void seal_under_passphrase(algrithm::View passphrase, Input& input, Output& output, bool show_progress);

/// What opens a sealed file. Each is called at most once, and only when the file needs it.
struct Opening {
    std::function<void(Key&)> load_key;
    AskPassphrase ask_passphrase;
};

/// Writes each piece once it is authenticated. Throws Failure when one is not; output then has the pieces before it,
/// and is not committed.
void open_sealed(const Opening& opening, Input& input, Output& output, bool show_progress);

}  // namespace ulmaro::tool
