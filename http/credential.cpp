#include "http/credential.h"

#include <cstdlib>

#include "platform/include/text_helpers.h"

namespace {

constexpr size_t CREDENTIAL_MAX = 64 * 1024;

std::string credential(const std::string& name) {
    const char* folder = getenv("CREDENTIALS_DIRECTORY");
    std::string text;
    if (folder != nullptr) readFile2String(std::string(folder) + "/" + name, text, CREDENTIAL_MAX);
    return text;
}

}  // namespace

void readCredentials(sServerSetup& setup) {
    setup.certificate = credential("certificate");
    setup.key = credential("key");
    setup.passwordHash = cleanBeginEndWhiteSpace(credential("password"));
}
