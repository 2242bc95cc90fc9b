// MD5 only shows whether a file changed; OpenSSL 3 marks its own MD5 calls as deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "include/utilities.h"

#include <dirent.h>
#include <openssl/md5.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "include/debug.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t INTERFACE_NAME_MAX = 15;
constexpr const char* INTERFACE_CHARACTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.:@-";

bool isFolder(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool makeFolder(const std::string& path) {
    return mkdir(path.c_str(), 0700) == 0 || (errno == EEXIST && isFolder(path));
}

}  // namespace

int _mkdir(const std::string& path) {
    traceEntry(eLOG_UTILITY, __func__);
    std::string folder = path;
    if (!folder.empty() && folder.back() == '/') folder.pop_back();
    if (folder.empty()) return -1;

    // The first component of the callers' paths exists on every system and is not created.
    size_t separator = folder.find('/', 1);
    if (separator == std::string::npos) return -1;
    if (isFolder(folder)) return 0;
    while (separator != std::string::npos) {
        separator = folder.find('/', separator + 1);
        if (!makeFolder(folder.substr(0, separator))) return -1;
    }
    return 0;
}

int readFilesInDir(const std::string& directory, std::vector<std::string>& names) {
    traceEntry(eLOG_UTILITY, __func__);
    names.clear();
    DIR* folder = opendir(directory.c_str());
    if (folder == nullptr) {
        const int error = errno;
        debug(eLOG_MAIN, g_i_debugMode, "DEBUG: Error opening read directory %s, errno %d (%s)",
              directory.c_str(), error, strerror(error));
        return error;
    }
    while (const dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(folder);
    return 0;
}

bool stringIsHex(const std::string& text) {
    const std::string digits = startsWith(text, "0x") ? text.substr(2) : text;
    return !digits.empty() &&
           digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::string formatConnectTime(const int& seconds) {
    if (seconds <= 0) return "N/A";
    return itos(seconds / 86400) + "D " + itos(seconds / 3600 % 24) + "H " +
           itos(seconds / 60 % 60) + "M " + itos(seconds % 60) + "S";
}

std::string getMd5(const std::string& text) {
    MD5_CTX context;
    unsigned char digest[MD5_DIGEST_LENGTH];
    MD5_Init(&context);
    MD5_Update(&context, text.data(), text.size());
    MD5_Final(digest, &context);

    std::string hex;
    for (const unsigned char byte : digest) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        hex += digits;
    }
    return hex;
}

bool isInterfaceName(const std::string& name) {
    return !name.empty() && name.size() <= INTERFACE_NAME_MAX && name != "." && name != ".." &&
           name.front() != '-' && name.find_first_not_of(INTERFACE_CHARACTERS) == std::string::npos;
}

bool isControlCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

std::string blankControlCharacters(std::string text) {
    std::replace_if(text.begin(), text.end(), isControlCharacter, ' ');
    return text;
}
