#include "commands/sm3.hpp"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.hpp"
#include "commands/options.hpp"
#include "formats/checksums.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

struct Options {
    std::vector<std::string> files;
    bool check = false;
    bool binary = false;
    bool tag = false;
    bool zero = false;
    bool no_progress = false;
    unsigned jobs = 0;
    Sm3CheckOptions checking;
};

void print_line(const Checksum& checksum, const Options& o) {
    if (o.checking.json) {
        std::printf("{\"file\": %s, \"sm3\": \"%s\"}\n", json_string(checksum.name).c_str(),
                    to_hex(checksum.digest.bytes()).c_str());
        return;
    }
    const ChecksumForm form = o.tag ? ChecksumForm::tagged : o.binary ? ChecksumForm::binary : ChecksumForm::text;
    std::string line = o.zero ? write_checksum_plain(checksum, form) : write_checksum(checksum, form);
    if (::isatty(STDOUT_FILENO) == 1) line = printable(line);
    line += o.zero ? '\0' : '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
}

void reject_misuse(const Options& o) {
    const Sm3CheckOptions& c = o.checking;
    if (c.json && (o.binary || o.tag || o.zero))
        throw UsageError("--json is one form, --binary, --tag and --zero others");
    if (o.check && (o.binary || o.tag || o.zero)) {
        throw UsageError("--binary, --tag and --zero are meaningless when verifying checksums");
    }
    if (!o.check && (c.ignore_missing || c.quiet || c.status_only || c.strict || c.warn)) {
        throw UsageError(
            "--ignore-missing, --quiet, --status, --strict and --warn are meaningful only when verifying checksums");
    }
}

void run(const Options& o, ExitCodes& exit) {
    if (o.check) exit.failure = exit_trouble;
    reject_misuse(o);
    const std::vector<std::string> files = o.files.empty() ? std::vector<std::string>{"-"} : o.files;
    bool mismatch = false;
    bool failed = false;
    DigestQueue queue(o.jobs, !o.check && !o.no_progress);
    for (const std::string& file : files) {
        if (o.check) {
            const Sm3Verdict verdict = check_digests(file, o.checking, queue);
            mismatch |= verdict == Sm3Verdict::mismatch;
            failed |= verdict == Sm3Verdict::unknown;
            continue;
        }
        queue.add(file, [&](const FileDigest& found) {
            if (found.digest) return print_line({*found.digest, file}, o);
            complain(found.failure);
            failed = true;
        });
    }
    queue.finish();
    exit.status = mismatch ? exit_no : failed ? exit.failure : exit_ok;
}

}  // namespace

void add_sm3(CLI::App& app, const std::vector<std::string>& operands, ExitCodes& exit) {
    const auto o = std::make_shared<Options>();
    CLI::App& sub = cli::command(app, "sm3", "Print or check SM3 digests of files", [o, &operands, &exit] {
        o->files = operands;
        run(*o, exit);
    });
    cli::option(sub, "FILE", o->files, "Files; with none, or for '-', standard input");
    cli::flag(sub, "-c,--check", o->check, "Read digests from the FILEs and check them");
    cli::flag(sub, "-b,--binary,!-t,!--text", o->binary, "Mark names with '*' (default: two blanks); same digest");
    cli::flag(sub, "--tag", o->tag, "Print lines in the form 'SM3 (NAME) = DIGEST'");
    cli::flag(sub, "-z,--zero", o->zero, "End lines with NUL, and do not escape names");
    cli::flag(sub, "--ignore-missing", o->checking.ignore_missing, "Check: skip files that do not exist");
    cli::flag(sub, "-q,--quiet", o->checking.quiet, "Check: print no OK lines");
    cli::flag(sub, "-s,--status", o->checking.status_only, "Check: print nothing, only set the exit code");
    cli::flag(sub, "--strict", o->checking.strict, "Check: treat malformed lines as a failure");
    cli::flag(sub, "-w,--warn", o->checking.warn, "Check: warn about each malformed line");
    add_json_option(sub, o->checking.json);
    cli::number(sub, "--jobs", o->jobs, 1, 1024, "Files read at once (default: one for each processor); same output");
    cli::flag(sub, "--no-progress", o->no_progress, "Show no progress bar");
    cli::footer(
        sub,
        "Exit codes of --check: 0 every digest is right, 1 at least one is wrong, 2 none is wrong but something could\n"
        "not be checked: a file or a list cannot be read, no line was found, with --strict a malformed line, wrong\n"
        "usage.");
}

}  // namespace ulmaro::tool
