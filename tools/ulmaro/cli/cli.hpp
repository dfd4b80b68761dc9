// The command line as the commands see it. Only this folder and main() include the parser, whose templates take seconds
// to compile.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ulmaro::tool::cli {

enum class Need { optional, required };

/// Adds a command that does its work in run.
CLI::App& command(CLI::App& parent, const std::string& name, const std::string& help, std::function<void()> run);
/// Adds a command that only has commands below it, one of which must be given.
CLI::App& family(CLI::App& parent, const std::string& name, const std::string& help);
/// Text below the help of a command and of those below it.
void footer(CLI::App& app, const std::string& text);

/// Options; names as in "-k,--key", or a name without dashes for an operand. The value must outlive the parsing.
void option(CLI::App& app, const std::string& names, std::string& value, const std::string& help,
            Need need = Need::optional);
void option(CLI::App& app, const std::string& names, std::optional<std::string>& value, const std::string& help);
void option(CLI::App& app, const std::string& names, std::vector<std::string>& values, const std::string& help);
/// A number from least to most.
void number(CLI::App& app, const std::string& names, double& value, double least, double most, const std::string& help);
void number(CLI::App& app, const std::string& names, unsigned& value, unsigned least, unsigned most,
            const std::string& help);
void flag(CLI::App& app, const std::string& names, bool& value, const std::string& help);

/// An option whose value is one of a few words; store gets it.
void choice(CLI::App& app, const std::string& names, const std::vector<std::string>& words,
            const std::function<void(const std::string&)>& store, const std::string& help, Need need);

/// The same with a meaning for each word, which value, a T or an optional one, gets. The meanings must outlive the
/// parsing.
template <typename Value, typename T>
void choice(CLI::App& app, const std::string& names, Value& value, const std::map<std::string, T>& meanings,
            const std::string& help, Need need = Need::optional) {
    std::vector<std::string> words;
    words.reserve(meanings.size());
    for (const auto& [word, meaning] : meanings) words.push_back(word);
    const auto store = [&value, &meanings](const std::string& word) { value = meanings.at(word); };
    choice(app, names, words, store, help, need);
}

/// Refuses the option in combination with any of the others.
void exclude(CLI::App& app, const std::string& name, std::initializer_list<const char*> others);

}  // namespace ulmaro::tool::cli
