#include "commandline/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "support/Version.h"

namespace zentara::commandline {

namespace {

/// A check of CLI11 without its text in the help.
CLI::Validator quietly(CLI::Validator check) {
    return check.description("");
}

}  // namespace

Option& Option::required() {
    option_->required();
    return *this;
}

Option& Option::showDefault() {
    option_->capture_default_str();
    return *this;
}

Option& Option::check(Check check) {
    option_->check(CLI::Validator(std::move(check), ""));
    return *this;
}

Option& Option::oneOf(const std::vector<std::string>& texts) {
    option_->check(quietly(CLI::IsMember(texts)));
    return *this;
}

Option& Option::between(std::int64_t least, std::int64_t most) {
    option_->check(quietly(CLI::Range(least, most)));
    return *this;
}

Option& Option::existingPath() {
    option_->check(quietly(CLI::ExistingPath));
    return *this;
}

Option& Option::existingFile() {
    option_->check(quietly(CLI::ExistingFile));
    return *this;
}

Option& Option::needs(const std::string& name) {
    option_->needs(name);
    return *this;
}

bool Option::isGiven() const {
    return option_->count() > 0;
}

Option Command::option(const std::string& name, Target target, const std::string& kind,
                       const std::string& description) {
    auto* const option = std::visit(
        [&](auto* place) { return app_->add_option(name, *place, description); }, target);
    return Option(option->type_name(kind));
}

Option Command::flag(const std::string& name, bool& target, const std::string& description) {
    return Option(app_->add_flag(name, target, description));
}

Command Command::subcommand(const std::string& name, const std::string& description,
                            const std::string& details, std::function<void()> run) {
    auto* const subcommand = app_->add_subcommand(name, description);
    subcommand->footer(details);
    subcommand->callback(std::move(run));
    return Command(subcommand);
}

CommandLine::CommandLine(const std::string& program, const std::string& description,
                         const std::string& details)
    : Command(new CLI::App(description, program)) {
    app_->footer(details);
    app_->set_version_flag("--version", ZENTARA_VERSION);
}

CommandLine::~CommandLine() {
    delete app_;
}

void CommandLine::requireSubcommand() {
    app_->require_subcommand(1);
}

CommandLine::Outcome CommandLine::parse(int argc, const char* const* argv,
                                        const std::function<std::string()>& checkAll) {
    try {
        app_->parse(argc, argv);
        if (auto reason = checkAll ? checkAll() : std::string(); !reason.empty())
            throw CLI::ValidationError(reason);
    } catch (const CLI::ParseError& error) {
        return app_->exit(error) == 0 ? Outcome::helpShown : Outcome::refused;
    }
    return Outcome::accepted;
}

std::optional<double> readNumber(const std::string& text) {
    double number = 0;
    if (!CLI::detail::lexical_cast(text, number)) return std::nullopt;
    return number;
}

std::optional<int> readPort(const std::string& text) {
    const auto port = readNumber(text);
    if (!port || !(0 <= *port && *port <= 65535) || std::trunc(*port) != *port) return std::nullopt;
    return static_cast<int>(*port);
}

}  // namespace zentara::commandline
