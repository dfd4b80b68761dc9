#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "commands/sm3.hpp"
#include "support/digest.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t kHexDigits = 64;
constexpr std::string_view kBlank = " \t";

struct Entry {
    Digest digest{};
    std::string name;
};

struct Tally {
    bool any_formatted = false;
    bool any_matched = false;
    unsigned long malformed = 0;
    unsigned long unreadable = 0;
    unsigned long mismatched = 0;
};

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
    const std::size_t start = text.find_first_not_of(kBlank);
    return start == std::string_view::npos ? std::string_view{} : text.substr(start);
}

/// "(NAME) = DIGEST", what follows the algorithm in the tagged form.
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
    if (line.size() < kHexDigits + 3) return false;
    digest = line.substr(0, kHexDigits);
    const char first = line[kHexDigits];
    const char second = line[kHexDigits + 1];
    name = line.substr(kHexDigits + 2);
    return kBlank.find(first) != std::string_view::npos && (second == ' ' || second == '*');
}

std::optional<Entry> parse(std::string_view line) {
    line = skip_blank(line);
    const bool escape = line.starts_with('\\');
    if (escape) line.remove_prefix(1);
    std::string_view digest;
    std::string_view name;
    const bool split =
        line.starts_with("SM3") ? split_tagged(line.substr(3), digest, name) : split_plain(line, digest, name);
    Entry entry;
    if (!split || !from_hex(digest, entry.digest)) return std::nullopt;
    const auto plain = escape ? unescaped(name) : std::optional(std::string(name));
    if (!plain) return std::nullopt;
    entry.name = *plain;
    return entry;
}

void report(const std::string& name, const char* verdict) {
    const bool escape = needs_escape(name);
    std::printf("%s%s: %s\n", escape ? "\\" : "", (escape ? escaped(name) : name).c_str(), verdict);
}

void verify(const Entry& entry, const Sm3CheckOptions& o, Tally& tally) {
    bool matched = false;
    errno = 0;
    try {
        Input input(entry.name);
        matched = digest_of(input, false) == entry.digest;
    } catch (const Failure& failure) {
        if (o.ignore_missing && errno == ENOENT) return;
        complain(failure.what());
        ++tally.unreadable;
        if (!o.status_only) report(entry.name, "FAILED open or read");
        return;
    }
    tally.any_matched |= matched;
    if (!matched) ++tally.mismatched;
    if (o.status_only || (matched && o.quiet)) return;
    report(entry.name, matched ? "OK" : "FAILED");
}

void warn_count(unsigned long count, const char* one, const char* many) {
    if (count != 0) complain("WARNING: " + std::to_string(count) + (count == 1 ? one : many));
}

void summarise(const std::string& list, const Sm3CheckOptions& o, const Tally& tally) {
    if (!tally.any_formatted) return complain(list + ": no properly formatted checksum lines found");
    if (o.status_only) return;
    warn_count(tally.malformed, " line is improperly formatted", " lines are improperly formatted");
    warn_count(tally.unreadable, " listed file could not be read", " listed files could not be read");
    warn_count(tally.mismatched, " computed checksum did NOT match", " computed checksums did NOT match");
    if (o.ignore_missing && !tally.any_matched) complain(list + ": no file was verified");
}

void check_lines(std::istream& lines, const std::string& list, bool from_stdin, const Sm3CheckOptions& o,
                 Tally& tally) {
    unsigned long number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.starts_with('#')) continue;
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty()) continue;
        const std::optional<Entry> entry = parse(line);
        if (!entry || (from_stdin && entry->name == "-")) {
            ++tally.malformed;
            if (o.warn) complain(list + ": " + std::to_string(number) + ": improperly formatted SM3 checksum line");
            continue;
        }
        tally.any_formatted = true;
        verify(*entry, o, tally);
    }
}

}  // namespace

bool check_digests(const std::string& list_path, const Sm3CheckOptions& options) {
    const bool from_stdin = list_path == "-";
    const std::string list = from_stdin ? "standard input" : list_path;
    Tally tally;
    errno = 0;
    std::ifstream file;
    if (!from_stdin) file.open(list_path);
    if (!from_stdin && !file) {
        complain(list + ": " + std::strerror(errno));
        return false;
    }
    std::istream& lines = from_stdin ? std::cin : file;
    check_lines(lines, list, from_stdin, options, tally);
    if (lines.bad()) {
        complain(list + ": read error");
        return false;
    }
    summarise(list, options, tally);
    return tally.any_formatted && tally.any_matched && tally.mismatched == 0 && tally.unreadable == 0 &&
           (!options.strict || tally.malformed == 0);
}

}  // namespace ulmaro::tool
