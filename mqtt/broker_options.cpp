#include "mqtt/broker_options.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/system_failure.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t BROKERS_MAX = 8;
constexpr size_t HOST_MAX = 253;  // RFC 1035
constexpr size_t USER_MAX = 128;
constexpr size_t SECRET_MAX = 1024;
constexpr size_t KEY_DIGITS_MIN = 32;
constexpr int PORT_MAX = 65535;
constexpr int KEEP_ALIVE_LEAST_S = 10;
constexpr int KEEP_ALIVE_GREATEST_S = 3600;
constexpr const char* HOST_LETTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.";
constexpr const char* ADDRESS_LETTERS = "0123456789abcdefABCDEF:.%";

// Throws a std::invalid_argument that says what is wrong with the value.
using tSetFunction = void (*)(const std::string& value, sBrokerOptions& options);

[[noreturn]] void refuse(const std::string& why) {
    throw std::invalid_argument(why);
}

std::string quoted(const std::string& value) {
    return "'" + printableLine(value) + "'";
}

int readNumber(const std::string& value, int least, int greatest) {
    const int number = textToInt(value);
    if (!isStringNumeric(value) || number < least || number > greatest)
        refuse(quoted(value) + " is not a number from " + itos(least) + " to " + itos(greatest));
    return number;
}

sBrokerAddress readBroker(const std::string& text) {
    const bool isBracketed = text[0] == '[';
    const size_t bracket = isBracketed ? text.find(']') : 0;
    if (bracket == std::string::npos) refuse(quoted(text) + " has no ']'");
    sBrokerAddress broker;
    const size_t colon = text.find(':', bracket);
    broker.host = isBracketed ? text.substr(1, bracket - 1) : text.substr(0, colon);
    if (broker.host.empty() || broker.host.size() > HOST_MAX ||
        broker.host.find_first_not_of(isBracketed ? ADDRESS_LETTERS : HOST_LETTERS) !=
            std::string::npos ||
        (isBracketed && bracket + 1 != std::min(colon, text.size())))
        refuse(quoted(text) +
               " is not a broker; expected a name or an address, as broker.example.com, "
               "broker.example.com:8883 or [2001:db8::1]:8883");
    if (colon != std::string::npos) broker.port = readNumber(text.substr(colon + 1), 1, PORT_MAX);
    return broker;
}

void setBrokers(const std::string& value, sBrokerOptions& options) {
    options.brokers.clear();
    for (size_t start = 0; start < value.size();) {
        const size_t end = std::min(value.find_first_of(" ,", start), value.size());
        const std::string text = value.substr(start, end - start);
        start = end + 1;
        if (text.empty()) continue;
        if (options.brokers.size() == BROKERS_MAX) refuse("more than 8 brokers");
        options.brokers.push_back(readBroker(text));
    }
    if (options.brokers.empty()) refuse("no broker; expected a name or an address");
}

void setTls(const std::string& value, sBrokerOptions& options) {
    if (value != "yes" && value != "no") refuse(quoted(value) + "; expected yes or no");
    options.usesTls = value == "yes";
}

void setKeepAlive(const std::string& value, sBrokerOptions& options) {
    options.keepAliveS = readNumber(value, KEEP_ALIVE_LEAST_S, KEEP_ALIVE_GREATEST_S);
}

template <std::string sBrokerOptions::*FIELD>
void setFile(const std::string& value, sBrokerOptions& options) {
    if (!value.empty() && value[0] != '/') refuse(quoted(value) + " is not an absolute path");
    options.*FIELD = value;
}

template <std::string sBrokerOptions::*FIELD>
void setName(const std::string& value, sBrokerOptions& options) {
    if (value.size() > USER_MAX || printableLine(value) != value)
        refuse("expected at most 128 printable characters");
    options.*FIELD = value;
}

struct sKey {
    const char* name;
    tSetFunction set;
};

constexpr sKey KEYS[] = {
    {"BROKER", setBrokers},
    {"TLS", setTls},
    {"CA_FILE", setFile<&sBrokerOptions::caFile>},
    {"CERT_FILE", setFile<&sBrokerOptions::certFile>},
    {"KEY_FILE", setFile<&sBrokerOptions::keyFile>},
    {"USER", setName<&sBrokerOptions::user>},
    {"PASSWORD_FILE", setFile<&sBrokerOptions::passwordFile>},
    {"PSK_IDENTITY", setName<&sBrokerOptions::pskIdentity>},
    {"PSK_FILE", setFile<&sBrokerOptions::pskFile>},
    {"KEEPALIVE_S", setKeepAlive},
};

bool isThisHost(const std::string& host) {
    return host == "localhost" || host == "::1" || startsWith(host, "127.");
}

class cProblems {
  public:
    explicit cProblems(const sPlaces& places) : m_places(places) {}

    void addIf(bool isWrong, const std::string& sentence) {
        if (isWrong) m_sentences.push_back(sentence);
    }
    void checkReadable(const char* key, const std::string& path) {
        if (path.empty() || eaccess(m_places.at(path).c_str(), R_OK) == 0) return;
        m_sentences.push_back(std::string(key) + "=" + printableLine(path) +
                              " cannot be read: " + strerror(errno));
    }
    std::vector<std::string> sentences() && { return std::move(m_sentences); }

  private:
    const sPlaces& m_places;
    std::vector<std::string> m_sentences;
};

bool isPreSharedKey(const std::string& text) {
    return text.size() >= KEY_DIGITS_MIN && text.size() % 2 == 0 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

// A file that cannot be read is a problem of its own.
bool hasBadKey(const std::string& path) {
    if (eaccess(path.c_str(), R_OK) != 0) return false;
    try {
        return !isPreSharedKey(readSecretLine(path));
    } catch (const cFailure&) {
        return true;
    }
}

void checkPsk(const sBrokerOptions& options, const sPlaces& places, cProblems& problems) {
    problems.addIf(options.pskIdentity.empty() != options.pskFile.empty(),
                   "PSK_IDENTITY and PSK_FILE belong together; set both or none");
    if (options.pskFile.empty()) return;
    problems.addIf(!options.caFile.empty() || !options.certFile.empty(),
                   "a pre-shared key takes the place of certificates; set PSK_FILE, or CA_FILE and "
                   "CERT_FILE");
    problems.checkReadable("PSK_FILE", options.pskFile);
    problems.addIf(hasBadKey(places.at(options.pskFile)),
                   "the key in PSK_FILE is not at least 32 hexadecimal digits, two for each octet");
}

void checkPlain(const sBrokerOptions& options, cProblems& problems) {
    const bool isLocal =
        std::all_of(options.brokers.begin(), options.brokers.end(),
                    [](const sBrokerAddress& each) { return isThisHost(each.host); });
    problems.addIf(!isLocal,
                   "TLS=no is for a broker on this host only: everybody on the way could read and "
                   "change what passes");
}

}  // namespace

std::string brokerSettingNames() {
    std::string names;
    for (const sKey& key : KEYS)
        names += (names.empty() ? "" : ", ") + std::string(key.name);
    return names;
}

bool setBrokerOption(const sSetting& setting, const std::string& file, sBrokerOptions& options) {
    for (const sKey& key : KEYS) {
        if (setting.name != key.name) continue;
        try {
            key.set(setting.value, options);
        } catch (const std::invalid_argument& error) {
            refuseSetting(file, setting.line, setting.name + ": " + error.what());
        }
        return true;
    }
    return false;
}

std::vector<std::string> brokerProblems(const sBrokerOptions& options, const sPlaces& places) {
    cProblems problems(places);
    problems.addIf(options.brokers.empty(), "BROKER is missing; expected a name or an address");
    problems.addIf(options.user.empty() && !options.passwordFile.empty(),
                   "PASSWORD_FILE is set without USER");
    problems.checkReadable("PASSWORD_FILE", options.passwordFile);
    if (!options.usesTls) {
        checkPlain(options, problems);
        return std::move(problems).sentences();
    }
    problems.addIf(options.certFile.empty() != options.keyFile.empty(),
                   "CERT_FILE and KEY_FILE belong together; set both or none");
    problems.addIf(options.caFile.empty() && options.pskFile.empty(),
                   "CA_FILE is missing: without it nobody knows whether it is the right broker");
    problems.checkReadable("CA_FILE", options.caFile);
    problems.checkReadable("CERT_FILE", options.certFile);
    problems.checkReadable("KEY_FILE", options.keyFile);
    checkPsk(options, places, problems);
    return std::move(problems).sentences();
}

int brokerPort(const sBrokerAddress& broker, bool usesTls) {
    if (broker.port != 0) return broker.port;
    return usesTls ? PORT_TLS : PORT_PLAIN;
}

std::string brokerText(const sBrokerAddress& broker, bool usesTls) {
    const bool isIpv6 = broker.host.find(':') != std::string::npos;
    const std::string host = isIpv6 ? "[" + broker.host + "]" : broker.host;
    return host + ":" + itos(brokerPort(broker, usesTls));
}

std::string readSecretLine(const std::string& path) {
    std::string text;
    if (!readFile2String(path, text, SECRET_MAX)) throw systemFailure("read " + path, errno);
    const std::string line = cleanBeginEndWhiteSpace(text.substr(0, text.find('\n')));
    if (line.empty()) throw cFailure(eExitStatus::FAILED, path + " is empty; expected one line");
    return line;
}
