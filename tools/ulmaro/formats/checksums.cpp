#include "formats/checksums.hpp"

#include <array>

#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t digest_digits = 64;
constexpr std::string_view blanks = " \t";

std::optional<std::string> unescaped(std::string_view name) {
    std::string out;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] != '\\') {
            out += name[i];
            continue;
        }
        const char code = ++i < name.size() ? name[i] : '\0';
        if (code != '\\' && code != 'n' && code != 'r') return std::nullopt;
        out += code == 'n' ? '\n' : code == 'r' ? '\r' : '\\';
    }
    return out;
}

std::string_view skip_blank(std::string_view text) {
    const std::size_t start = text.find_first_not_of(blanks);
    return start == std::string_view::npos ? std::string_view{} : text.substr(start);
}

/// "(NAME) = DIGEST", the part after the algorithm in the tagged form.
bool split_tagged(std::string_view rest, std::string_view& digest, std::string_view& name) {
    if (rest.starts_with(' ')) rest.remove_prefix(1);
    const std::size_t close = rest.rfind(')');
    if (!rest.starts_with('(') || close == std::string_view::npos) return false;
    name = rest.substr(1, close - 1);
    rest = skip_blank(rest.substr(close + 1));
    if (!rest.starts_with('=')) return false;
    digest = skip_blank(rest.substr(1));
    return true;
}

/// "DIGEST  NAME" or "DIGEST *NAME".
bool split_plain(std::string_view line, std::string_view& digest, std::string_view& name) {
    if (line.size() < digest_digits + 3) return false;
    digest = line.substr(0, digest_digits);
    const char first = line[digest_digits];
    const char second = line[digest_digits + 1];
    name = line.substr(digest_digits + 2);
    return blanks.find(first) != std::string_view::npos && (second == ' ' || second == '*');
}

}  // namespace

std::optional<Checksum> read_checksum(std::string_view line) {
    line = skip_blank(line);
    const bool escape = line.starts_with('\\');
    if (escape) line.remove_prefix(1);
    std::string_view digest;
    std::string_view name;
    const bool split =
        line.starts_with("SM3") ? split_tagged(line.substr(3), digest, name) : split_plain(line, digest, name);
    std::array<unsigned char, digest_digits / 2> bytes;
    if (!split || name.empty() || !from_hex(digest, bytes)) return std::nullopt;
    const auto plain = escape ? unescaped(name) : std::optional(std::string(name));
    if (!plain || plain->find('\0') != std::string::npos) return std::nullopt;  // no file has such a name
    return Checksum{Digest(bytes), *plain};
}

std::string write_checksum(const Checksum& checksum, ChecksumForm form) {
    if (!needs_escape(checksum.name)) return write_checksum_plain(checksum, form);
    std::string line(1, '\\');
    line += write_checksum_plain({checksum.digest, escaped(checksum.name)}, form);
    return line;
}

std::string write_checksum_plain(const Checksum& checksum, ChecksumForm form) {
    const std::string hex = to_hex(checksum.digest.bytes());
    if (form == ChecksumForm::tagged) return "SM3 (" + checksum.name + ") = " + hex;
    return hex + (form == ChecksumForm::binary ? " *" : "  ") + checksum.name;
}

bool needs_escape(const std::string& name) { return name.find_first_of("\\\n\r") != std::string::npos; }

std::string escaped(const std::string& name) {
    std::string out;
    for (const char c : name) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace ulmaro::tool
