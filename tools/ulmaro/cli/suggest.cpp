#include "cli/suggest.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace ulmaro::tool::cli {
namespace {

/// Insertions, deletions, replacements and swaps of neighbours that make b of a.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                d[i][j] = i + j;
                continue;
            }
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

/// The command that the arguments reach.
const CLI::App* innermost(const CLI::App* app) {
    while (!app->get_subcommands().empty()) app = app->get_subcommands().back();
    return app;
}

}  // namespace

std::string suggestion(const CLI::App& top, const std::vector<std::string>& args) {
    const CLI::App* const app = innermost(&top);
    std::vector<std::string> words;
    for (const CLI::Option* option : app->get_options({})) {
        for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
    }
    for (const CLI::App* command : app->get_subcommands({})) words.push_back(command->get_name());
    const bool takes_commands = !app->get_subcommands({}).empty();
    for (const std::string& arg : args) {
        const std::string word = arg.substr(0, arg.find('='));
        const bool may_be_mistyped = (word.starts_with("--") || takes_commands) && word.size() >= 3;
        if (!may_be_mistyped || std::ranges::count(words, word) != 0) continue;
        const auto nearest = std::ranges::min_element(words, {}, [&](const auto& w) { return distance(w, word); });
        if (nearest != words.end() && distance(*nearest, word) <= 2) return "; did you mean '" + *nearest + "'?";
    }
    return "";
}

std::string unexpected(const CLI::App& top) {
    for (const std::string& arg : top.remaining(true)) {
        if (!arg.starts_with('-')) continue;
        return "unknown option " + arg.substr(0, arg.starts_with("--") ? arg.find('=') : 2);
    }
    return "an argument that belongs to no option";
}

}  // namespace ulmaro::tool::cli
