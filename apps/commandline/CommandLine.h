#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace zentara::commandline {

/// Where an option puts its value. The target must outlive the command line, and has the default.
using Target = std::variant<std::string*, std::optional<std::string>*, std::vector<std::string>*,
                            int*, double*, std::int64_t*, std::uint64_t*>;

/// Returns why a text is refused, or an empty text.
using Check = std::function<std::string(const std::string& text)>;

/// An option or an argument, to describe further. Lives as long as its command line.
class Option {
  public:
    Option& required();
    /// The help shows the value that the target has now.
    Option& showDefault();
    Option& check(Check check);
    Option& oneOf(const std::vector<std::string>& texts);
    Option& between(std::int64_t least, std::int64_t most);
    Option& existingPath();
    Option& existingFile();
    /// Is refused without the option of this name.
    Option& needs(const std::string& name);

    /// After parsing: whether the command line has it.
    [[nodiscard]] bool isGiven() const;

  private:
    friend class Command;
    explicit Option(CLI::Option* option) : option_(option) {}

    CLI::Option* option_;
};

/// What a program or one of its subcommands understands.
class Command {
  public:
    /// An option if `name` begins with "-", otherwise an argument. `kind` stands for the value in
    /// the help.
    Option option(const std::string& name, Target target, const std::string& kind,
                  const std::string& description);
    Option flag(const std::string& name, bool& target, const std::string& description);

    /// Parsing calls `run` when the command line names the subcommand.
    Command subcommand(const std::string& name, const std::string& description,
                       const std::string& details, std::function<void()> run);

  protected:
    explicit Command(CLI::App* app) : app_(app) {}

    CLI::App* app_;
};

/// The command line of a program. CLI11 takes seconds to compile, so no other source of the
/// programs includes it.
class CommandLine : public Command {
  public:
    CommandLine(const std::string& program, const std::string& description,
                const std::string& details);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    void requireSubcommand();

    enum class Outcome { accepted, helpShown, refused };

    /// Prints the help or the version if asked for. Prints to standard error why the command line
    /// is refused; `checkAll` may refuse it as a whole.
    [[nodiscard]] Outcome parse(int argc, const char* const* argv,
                                const std::function<std::string()>& checkAll = {});
};

/// The number that a text is.
[[nodiscard]] std::optional<double> readNumber(const std::string& text);

/// The port that a text is; 0 included.
[[nodiscard]] std::optional<int> readPort(const std::string& text);

}  // namespace zentara::commandline
