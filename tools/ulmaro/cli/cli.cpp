#include "cli/cli.hpp"

#include <CLI/CLI.hpp>
#include <utility>

namespace ulmaro::tool::cli {

CLI::App& command(CLI::App& parent, const std::string& name, const std::string& help, std::function<void()> run) {
    CLI::App* app = parent.add_subcommand(name, help);
    app->callback(std::move(run));
    return *app;
}

CLI::App& family(CLI::App& parent, const std::string& name, const std::string& help) {
    CLI::App* app = parent.add_subcommand(name, help);
    app->require_subcommand(1);
    return *app;
}

void footer(CLI::App& app, const std::string& text) { app.footer(text); }

void option(CLI::App& app, const std::string& names, std::string& value, const std::string& help, Need need) {
    app.add_option(names, value, help)->required(need == Need::required);
}

void option(CLI::App& app, const std::string& names, std::optional<std::string>& value, const std::string& help) {
    app.add_option(names, value, help);
}

void option(CLI::App& app, const std::string& names, std::vector<std::string>& values, const std::string& help) {
    app.add_option(names, values, help);
}

void number(CLI::App& app, const std::string& names, double& value, double least, double most,
            const std::string& help) {
    app.add_option(names, value, help)->check(CLI::Range(least, most))->type_name("NUMBER");
}

void number(CLI::App& app, const std::string& names, unsigned& value, unsigned least, unsigned most,
            const std::string& help) {
    app.add_option(names, value, help)->check(CLI::Range(least, most))->type_name("NUMBER");
}

void flag(CLI::App& app, const std::string& names, bool& value, const std::string& help) {
    app.add_flag(names, value, help);
}

void choice(CLI::App& app, const std::string& names, const std::vector<std::string>& words,
            const std::function<void(const std::string&)>& store, const std::string& help, Need need) {
    app.add_option_function<std::string>(names, store, help)
        ->check(CLI::IsMember(words))
        ->required(need == Need::required);
}

void exclude(CLI::App& app, const std::string& name, std::initializer_list<const char*> others) {
    CLI::Option* option = app.get_option(name);
    for (const char* other : others) option->excludes(app.get_option(other));
}

}  // namespace ulmaro::tool::cli
