#include "cli/base/command_line.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "cli/base/failure.h"
#include "cli/base/misspelling.h"
#include "cli/base/printable_text.h"

namespace {

// "cellslot sms send": the part of the command line that was recognised.
std::string nameOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent == nullptr ? "" : nameOf(*parent) + " ") + command.get_name();
}

const CLI::App& lastFollowed(const CLI::App& command) {
    const std::vector<CLI::App*> followed = command.get_subcommands();
    return followed.empty() ? command : lastFollowed(*followed.front());
}

// For an unknown subcommand the parser only reports that one is missing.
std::string unknownSubcommand(const CLI::App& command) {
    const std::vector<std::string> words = command.remaining();
    if (words.empty() || command.get_require_subcommand_min() == 0) return "";
    std::vector<std::string> names;
    for (const CLI::App* subcommand : command.get_subcommands({}))
        names.push_back(subcommand->get_name());
    const std::string meant = likelyMeant(words.front(), names);
    return "unknown subcommand: " + nameOf(command) + " " + printableLine(words.front()) +
           (meant.empty() ? "" : "; did you mean " + meant + "?");
}

// Output that cannot be written is a failure, even if the subcommand succeeded.
eExitStatus printed(const CLI::App& app, sCliContext& context, std::ostream& err) {
    if (context.out.flush()) return context.exitStatus;
    err << app.get_name() << ": cannot write the output; check the free disk space\n";
    return eExitStatus::FAILED;
}

// The command line ends before a subcommand that is required.
bool isIncomplete(const CLI::App& command) {
    return command.get_require_subcommand_min() != 0 && command.remaining().empty() &&
           command.get_subcommands().empty();
}

eExitStatus usageError(const CLI::ParseError& error, const CLI::App& app, sCliContext& context,
                       std::ostream& err) {
    const CLI::App& command = lastFollowed(app);
    const std::string unknown = unknownSubcommand(command);
    if (isIncomplete(command) && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        context.out << app.help();
        return printed(app, context, err) == eExitStatus::OK ? eExitStatus::USAGE
                                                             : eExitStatus::FAILED;
    }
    err << app.get_name() << ": " << (unknown.empty() ? error.what() : unknown) << " (see "
        << nameOf(command) << " --help)\n";
    return eExitStatus::USAGE;
}

}  // namespace

eExitStatus runCommandLine(CLI::App& app, int argc, const char* const* argv, sCliContext& context,
                           std::ostream& err) {
    try {
        app.parse(argc, argv);
        return printed(app, context, err);
    } catch (const CLI::Success& help) {
        if (!unknownSubcommand(lastFollowed(app)).empty())
            return usageError(help, app, context, err);
        app.exit(help, context.out, err);
        return printed(app, context, err);
    } catch (const CLI::ParseError& error) {
        return usageError(error, app, context, err);
    } catch (const cFailure& failure) {
        err << app.get_name() << ": " << failure.what() << "\n";
        return failure.status;
    }
}
