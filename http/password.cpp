#include "http/password.h"

#include <crypt.h>
#include <string.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>

#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "platform/include/text_helpers.h"

namespace {

// crypt(5): "$7$", the logarithm of N in one character, r and p in five each, then the salt.
constexpr const char* LETTERS = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr const char* SETTING_START = "$7$";
constexpr unsigned N_LOGARITHM = 13;
constexpr unsigned R = 8;
constexpr unsigned P = 10;
constexpr size_t NUMBER_LETTERS = 5;
constexpr size_t SALT_LETTERS = 22;  // 132 bits
constexpr size_t HASH_LETTERS = 43;
constexpr unsigned LETTER_BITS = 6;
constexpr unsigned LETTER_MASK = 63;

std::string numberLetters(unsigned number) {
    std::string text;
    for (size_t i = 0; i < NUMBER_LETTERS; ++i, number >>= LETTER_BITS)
        text += LETTERS[number & LETTER_MASK];
    return text;
}

std::string settingStart() {
    return SETTING_START + std::string(1, LETTERS[N_LOGARITHM]) + numberLetters(R) +
           numberLetters(P);
}

std::string randomSalt() {
    std::array<unsigned char, SALT_LETTERS> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw systemFailure("get random bytes", errno);
    std::string salt;
    for (const unsigned char byte : bytes)
        salt += LETTERS[byte & LETTER_MASK];
    return salt;
}

// Empty if it cannot be computed.
std::string hashed(const std::string& password, const std::string& setting) {
    // 32 kB.
    const auto work = std::make_unique<crypt_data>();
    const char* hash = crypt_r(password.c_str(), setting.c_str(), work.get());
    const std::string text = hash != nullptr && hash[0] != '*' ? hash : "";
    explicit_bzero(work.get(), sizeof *work);
    return text;
}

// Takes as long for every text of the same length.
bool isSame(const std::string& one, const std::string& other) {
    if (one.size() != other.size()) return false;
    unsigned char difference = 0;
    for (size_t i = 0; i < one.size(); ++i)
        difference |= static_cast<unsigned char>(one[i] ^ other[i]);
    return difference == 0;
}

}  // namespace

std::string passwordHash(const std::string& password) {
    const std::string hash = hashed(password, settingStart() + randomSalt() + "$");
    if (hash.empty())
        throw cFailure(eExitStatus::FAILED,
                       "this system's crypt(3) cannot compute scrypt; it needs libxcrypt");
    return hash;
}

bool isPassword(const std::string& password, const std::string& hash) {
    return isPasswordHash(hash) && isSame(hashed(password, hash), hash);
}

sWork startPasswordCheck(const std::string& password, const std::string& hash) {
    sWork work;
    work.process = fork();
    if (work.process < 0) work.error = strerror(errno);
    if (work.process != 0) return work;
    // A connection that the server closes meanwhile has to end.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    _exit(isPassword(password, hash) ? 0 : 1);
}

bool isPasswordHash(const std::string& hash) {
    const size_t size = settingStart().size() + SALT_LETTERS + 1 + HASH_LETTERS;
    return startsWith(hash, settingStart()) && hash.size() == size;
}
