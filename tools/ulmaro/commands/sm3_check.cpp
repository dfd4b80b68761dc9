#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/sm3.hpp"
#include "formats/checksums.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

struct Tally {
    bool any_formatted = false;
    bool any_matched = false;
    unsigned long malformed = 0;
    unsigned long unreadable = 0;
    unsigned long mismatched = 0;
};

constexpr std::size_t longest_line = 64U << 10;  // no path is as long; a list need not be text at all

enum class Outcome { matched, mismatched, unreadable };

void report(const std::string& name, Outcome outcome, const Sm3CheckOptions& o) {
    const auto n = static_cast<std::size_t>(outcome);
    if (o.json) {
        constexpr const char* values[] = {"true", "false", "null"};
        std::printf("{\"file\": %s, \"ok\": %s}\n", json_string(name).c_str(), values[n]);
        return;
    }
    constexpr const char* words[] = {"OK", "FAILED", "FAILED open or read"};
    const bool escape = needs_escape(name);
    std::printf("%s%s: %s\n", escape ? "\\" : "", printable(escape ? escaped(name) : name).c_str(), words[n]);
}

void judge(const Checksum& entry, const FileDigest& found, const Sm3CheckOptions& o, Tally& tally) {
    if (!found.digest) {
        if (o.ignore_missing && found.missing) return;
        complain(found.failure);
        ++tally.unreadable;
        if (!o.status_only) report(entry.name, Outcome::unreadable, o);
        return;
    }
    const bool matched = *found.digest == entry.digest;
    tally.any_matched |= matched;
    if (!matched) ++tally.mismatched;
    if (o.status_only || (matched && o.quiet)) return;
    report(entry.name, matched ? Outcome::matched : Outcome::mismatched, o);
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

void check_lines(std::istream& lines, const std::string& list, bool from_stdin, const Sm3CheckOptions& o, Tally& tally,
                 DigestQueue& queue) {
    unsigned long number = 0;
    std::vector<char> room(longest_line + 2);  // a NUL, and it fails when it is full
    while (lines.getline(room.data(), static_cast<std::streamsize>(room.size()))) {
        std::string_view line(room.data(), static_cast<std::size_t>(lines.gcount()) - (lines.eof() ? 0 : 1));
        ++number;
        if (line.starts_with('#')) continue;
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty()) continue;
        const std::optional<Checksum> entry = read_checksum(line);
        if (!entry || (from_stdin && entry->name == "-")) {
            ++tally.malformed;
            if (!o.warn) continue;
            queue.finish();  // what was read before this line comes before the warning
            complain(list + ": " + std::to_string(number) + ": improperly formatted SM3 checksum line");
            continue;
        }
        tally.any_formatted = true;
        queue.add(entry->name,
                  [entry = *entry, &o, &tally](const FileDigest& found) { judge(entry, found, o, tally); });
    }
    queue.finish();
}

}  // namespace

Sm3Verdict check_digests(const std::string& list_path, const Sm3CheckOptions& options, DigestQueue& queue) {
    const bool from_stdin = list_path == "-";
    const std::string list = from_stdin ? "standard input" : list_path;
    Tally tally;
    errno = 0;
    std::ifstream file;
    if (!from_stdin) file.open(list_path);
    if (!from_stdin && !file) {
        complain(list + ": " + std::strerror(errno));
        return Sm3Verdict::unknown;
    }
    std::istream& lines = from_stdin ? std::cin : file;
    check_lines(lines, list, from_stdin, options, tally, queue);
    const bool unread = lines.bad() || (from_stdin && std::ferror(stdin) != 0);
    if (unread || !lines.eof()) {
        complain(list + (unread ? ": read error" : ": a line of more than 65536 bytes"));
        return tally.mismatched != 0 ? Sm3Verdict::mismatch : Sm3Verdict::unknown;
    }
    summarise(list, options, tally);
    if (tally.mismatched != 0) return Sm3Verdict::mismatch;
    const bool complete = tally.any_matched && tally.unreadable == 0 && (!options.strict || tally.malformed == 0);
    return complete ? Sm3Verdict::good : Sm3Verdict::unknown;
}

}  // namespace ulmaro::tool
