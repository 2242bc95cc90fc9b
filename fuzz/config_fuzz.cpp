#include <sys/mman.h>
#include <unistd.h>

#include "config/config_reader.h"
#include "fuzz/check.h"
#include "platform/include/text_helpers.h"

// The input is a configuration file.

namespace {

// A reader that shows its log lines.
class cLookedAtReader : public cConfigReader {
  protected:
    void writeLine(uint64_t category, const std::string& line) override {
        check(line.size() < 4096, "log lines are bounded", line);
        cConfigReader::writeLine(category, line);
    }
};

int configFile() {
    static const int file = memfd_create("configuration", MFD_CLOEXEC);
    return file;
}

void writeConfig(const uint8_t* data, size_t size) {
    check(ftruncate(configFile(), 0) == 0 &&
              pwrite(configFile(), data, size, 0) == static_cast<ssize_t>(size),
          "the file can be written");
}

void checkTexts(const sConfigFileOpts& opts) {
    const std::string apnCharacters = "abcdefghijklmnopqrstuvwxyz0123456789 .-_!";
    for (const std::string* apn : {&opts.apn, &opts.apn2}) {
        // White space around it is kept as written.
        const std::string judged = stringLower(cleanBeginEndWhiteSpace(*apn));
        check(judged.size() <= 104 && judged.find_first_not_of(apnCharacters) == std::string::npos,
              "an APN is of its characters", *apn);
        check(apn->find_first_of(std::string("\0\r\n\x1a\x1b", 5)) == std::string::npos,
              "an APN ends no command", *apn);
    }
    check(opts.username.size() <= 63 && opts.password.size() <= 63, "credentials are bounded");
    check(opts.operatorName.size() <= 28, "an operator's name is bounded", opts.operatorName);
    check(opts.operatorMode == "0" || opts.operatorMode == "1" || opts.operatorMode == "4",
          "the operator mode is one of three", opts.operatorMode);
    check(opts.operatorMode == "0" || !opts.operatorName.empty(), "a manual mode has an operator");
    check(opts.profileContext == "1", "the context has no key");
}

void checkNumbers(const sConfigFileOpts& opts) {
    check(opts.mtu >= 60 && opts.mtu <= 1500, "the MTU is in range");
    check(opts.simSlot == 1 || opts.simSlot == 2, "the SIM slot is in range");
    check(opts.enableInterface >= -1 && opts.enableInterface <= 1, "the interface is in range");
    check(opts.firmwareSlot >= -1 && opts.firmwareSlot <= 1, "the firmware image is in range");
    check(opts.ipFamily >= 1 && opts.ipFamily <= 3, "the family is in range");
    check(opts.authType >= ePDP_AUTH_NOT_USED && opts.authType <= ePDP_AUTH_CHAP,
          "the authentication is in range");
    const bool manual = opts.bandMode == eBAND_MODE_MANUAL;
    check(manual || opts.bandMode == eBAND_MODE_AUTO, "the band mode is one of two");
    check(!manual || (opts.band3gBits != 0 && opts.band4gBits != 0), "manual bands are known");
}

bool sameOptions(const sConfigFileOpts& a, const sConfigFileOpts& b) {
    return a.apn == b.apn && a.apn2 == b.apn2 && a.username == b.username &&
           a.password == b.password && a.mtu == b.mtu && a.simSlot == b.simSlot &&
           a.debugMode == b.debugMode && a.band3gBits == b.band3gBits &&
           a.band4gBits == b.band4gBits && a.operatorName == b.operatorName && a.md5 == b.md5;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    writeConfig(data, size);
    const std::string path = "/proc/self/fd/" + itos(configFile());
    cLookedAtReader reader;
    check(reader.init(path, 0), "a path is taken");
    sConfigFileOpts opts;
    check(reader.readConfig(opts) == eCONFIG_APPLIED && opts.configRead, "a new file is applied");
    checkTexts(opts);
    checkNumbers(opts);

    const sConfigFileOpts before = opts;
    check(reader.readConfig(opts) == eCONFIG_UNCHANGED, "the same file is left alone");
    check(sameOptions(opts, before), "the same file changes nothing");

    // No earlier setting survives.
    cLookedAtReader second;
    second.init(path, 0);
    sConfigFileOpts other;
    other.apn = "left.over";
    other.password = "left over";
    other.mtu = 100;
    check(second.readConfig(other) == eCONFIG_APPLIED, "a new file is applied");
    check(sameOptions(opts, other), "the file alone decides");
    return 0;
}
