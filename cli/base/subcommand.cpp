#include "cli/base/subcommand.h"

#include <CLI/CLI.hpp>

#include "cli/base/printable_text.h"

namespace {

template <typename tValue>
cCommandOption addOption(CLI::App* app, const std::string& names, tValue& value,
                         const std::string& help, const std::string& type) {
    return cCommandOption(app->add_option(names, value, help)->type_name(type));
}

std::string fileNameError(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const bool isFolder = name.empty() || name == "." || name == "..";
    return isFolder ? "'" + printableLine(path) + "' is not the name of a file" : "";
}

}  // namespace

// A description of a check would be shown in the help.

cCommandOption cCommandOption::required() const {
    m_option->required();
    return *this;
}

cCommandOption cCommandOption::range(unsigned least, unsigned most) const {
    m_option->check(CLI::Range(least, most).description(""));
    return *this;
}

cCommandOption cCommandOption::notNegative() const {
    m_option->check(CLI::Validator(CLI::NonNegativeNumber).description(""));
    return *this;
}

cCommandOption cCommandOption::oneOf(const std::vector<std::string>& words) const {
    m_option->check(CLI::IsMember(words).description(""));
    return *this;
}

cCommandOption cCommandOption::fileName() const {
    m_option->check(fileNameError);
    return *this;
}

cCommandOption cCommandOption::excludes(const cCommandOption& other) const {
    m_option->excludes(other.m_option);
    return *this;
}

cSubcommand cSubcommand::add(const std::string& name, const std::string& help) const {
    return cSubcommand(m_app->add_subcommand(name, help));
}

void cSubcommand::requireSubcommand() const {
    m_app->require_subcommand(1);
}

cCommandOption cSubcommand::option(const std::string& names, std::string& value,
                                   const std::string& help, const std::string& type) const {
    return addOption(m_app, names, value, help, type);
}

cCommandOption cSubcommand::option(const std::string& names, int& value, const std::string& help,
                                   const std::string& type) const {
    return addOption(m_app, names, value, help, type);
}

cCommandOption cSubcommand::option(const std::string& names, unsigned& value,
                                   const std::string& help, const std::string& type) const {
    return addOption(m_app, names, value, help, type);
}

cCommandOption cSubcommand::option(const std::string& names, double& value, const std::string& help,
                                   const std::string& type) const {
    return addOption(m_app, names, value, help, type);
}

cCommandOption cSubcommand::words(const std::string& name, std::vector<std::string>& values,
                                  const std::string& help) const {
    return addOption(m_app, name, values, help, "");
}

cCommandOption cSubcommand::flag(const std::string& names, bool& value,
                                 const std::string& help) const {
    return cCommandOption(m_app->add_flag(names, value, help));
}

void cSubcommand::footer(const std::string& text) const {
    m_app->footer(text);
}

void cSubcommand::action(const std::function<void()>& function) const {
    m_app->callback(function);
}
