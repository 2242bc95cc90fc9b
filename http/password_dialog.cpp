#include "http/password_dialog.h"

#include <sys/types.h>
#include <unistd.h>

#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/pin/secret.h"
#include "http/password.h"

namespace {

constexpr mode_t PASSWORD_MODE = 0600;

// Not cut: the browser would send all of it.
std::string textOf(const cSecret& password) {
    if (password.isOverlong())
        throw cFailure(eExitStatus::USAGE, "the password is too long; it needs 10 to 32 bytes");
    return {password.data(), password.size()};
}

}  // namespace

std::string askPassword() {
    cSecret password;
    cSecret again;
    if (!readSecret(STDIN_FILENO, "New password of the page: ", password))
        throw cFailure(eExitStatus::USAGE, "no password was given");
    // A program gives it once.
    if (isatty(STDIN_FILENO) == 0) return textOf(password);
    if (!readSecret(STDIN_FILENO, "The same again: ", again) || !(password == again))
        throw cFailure(eExitStatus::USAGE,
                       "the two passwords are not the same; nothing was changed");
    return textOf(password);
}

void storePassword(const std::string& file, const std::string& password) {
    if (password.size() < PASSWORD_LENGTH_MIN || password.size() > PASSWORD_LENGTH_MAX)
        throw cFailure(eExitStatus::USAGE, "the password has " + std::to_string(password.size()) +
                                               " bytes; it needs 10 to 32 bytes");
    replaceFile(file, passwordHash(password) + "\n", PASSWORD_MODE);
}
