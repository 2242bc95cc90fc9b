#ifndef CLI_BASE_SUBCOMMAND_H
#define CLI_BASE_SUBCOMMAND_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// An option of a subcommand, or a word of its command line. Each function returns the option
// itself.
class cCommandOption {
  public:
    explicit cCommandOption(CLI::Option* option) : m_option(option) {}
    cCommandOption required() const;
    cCommandOption range(unsigned least, unsigned most) const;
    cCommandOption notNegative() const;
    cCommandOption oneOf(const std::vector<std::string>& words) const;
    // Not empty, and not the name of a folder.
    cCommandOption fileName() const;
    cCommandOption excludes(const cCommandOption& other) const;

  private:
    CLI::Option* m_option;
};

// A subcommand of the command line. The parser's header takes several seconds to compile; only the
// sources of this one and of cellslot include it.
class cSubcommand {
  public:
    explicit cSubcommand(CLI::App* app) : m_app(app) {}

    // A subcommand below this one.
    cSubcommand add(const std::string& name, const std::string& help) const;
    void requireSubcommand() const;

    // The value stays as it is if the option is not given. type is what the help shows for the
    // value; a word of the command line, which has a name without dashes, has none.
    cCommandOption option(const std::string& names, std::string& value, const std::string& help,
                          const std::string& type = "") const;
    cCommandOption option(const std::string& names, int& value, const std::string& help,
                          const std::string& type) const;
    cCommandOption option(const std::string& names, unsigned& value, const std::string& help,
                          const std::string& type) const;
    cCommandOption option(const std::string& names, double& value, const std::string& help,
                          const std::string& type) const;
    // All words of the command line that belong to no option.
    cCommandOption words(const std::string& name, std::vector<std::string>& values,
                         const std::string& help) const;
    cCommandOption flag(const std::string& names, bool& value, const std::string& help) const;

    void footer(const std::string& text) const;
    void action(const std::function<void()>& function) const;

  private:
    CLI::App* m_app;
};

#endif
