#ifndef CONFIG_CONFIG_READER_H
#define CONFIG_CONFIG_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "config/band_tables.h"
#include "config/config_keys.h"
#include "include/config_options.h"
#include "platform/include/text_lookup_table.h"

// What readConfig did.
enum eConfigResult : unsigned {
    eCONFIG_MISSING = 0,    // no file, or one that cannot be used: the defaults apply
    eCONFIG_UNCHANGED = 1,  // the content of the last read: nothing was touched
    eCONFIG_APPLIED = 2,
};

struct sConfigChoice;

// Reads the configuration file, lines of KEY=value, into sConfigFileOpts. Every key is optional.
// A value that is not accepted is logged and its default applies; it never fails the read.
//
// The log lines carry values as they are written, passwords too; control characters in them are
// shown as blanks.
class cConfigReader {
  public:
    cConfigReader();
    virtual ~cConfigReader() = default;

    // mask: the debug mode of the reader's own log lines, until DEBUG_MODE replaces it. False
    // without a path.
    bool init(const std::string& path, uint64_t mask);

    // Every default, except that md5 and netPref stay as they are.
    void resetConfigValues(sConfigFileOpts& opts);

    // Reads the file when its content differs from that of the last read. The digest outlives a
    // missing file: the same content coming back counts as unchanged, and the defaults stay.
    unsigned readConfig(sConfigFileOpts& opts);

    // The value of a key as written, "" when the key is missing.
    std::string getRawValue(const std::string& key, const cTextLookupTable& table);
    // The same, trimmed and lowered.
    std::string getValue(const std::string& key, const cTextLookupTable& table);

    // One for each key. They take the values that getValue or getRawValue give, and rely on the
    // keys before them having been read (see configKeys).
    void getConfigOptionDebug(const std::string& key, const std::string& value,
                              sConfigFileOpts& opts);
    void getConfigOptionEnableInt(const std::string& key, const std::string& value,
                                  sConfigFileOpts& opts);
    void getConfigOptionApn(const std::string& key, const std::string& value,
                            sConfigFileOpts& opts);
    void getConfigOptionApn2(const std::string& key, const std::string& value,
                             sConfigFileOpts& opts);
    void getConfigOptionSyncTime(const std::string& key, const std::string& value,
                                 sConfigFileOpts& opts);
    void getConfigOptionNetPref(const std::string& key, const std::string& value,
                                sConfigFileOpts& opts);
    void getConfigOptionRoaming(const std::string& key, const std::string& value,
                                sConfigFileOpts& opts);
    void getConfigOptionDefaultRoute(const std::string& key, const std::string& value,
                                     sConfigFileOpts& opts);
    void getConfigOptionUser(const std::string& key, const std::string& value,
                             sConfigFileOpts& opts);
    void getConfigOptionPassword(const std::string& key, const std::string& value,
                                 sConfigFileOpts& opts);
    void getConfigOptionAuthType(const std::string& key, const std::string& value,
                                 sConfigFileOpts& opts);
    void getConfigOptionFirmwareSlot(const std::string& key, const std::string& value,
                                     sConfigFileOpts& opts);
    void getConfigOptionDNS(const std::string& key, const std::string& value,
                            sConfigFileOpts& opts);
    void getConfigOptionMTU(const std::string& key, const std::string& value,
                            sConfigFileOpts& opts);
    void getConfigOptionOperatorMode(const std::string& key, const std::string& value,
                                     sConfigFileOpts& opts);
    void getConfigOptionOperator(const std::string& key, const std::string& value,
                                 sConfigFileOpts& opts);
    void getConfigOptionBand(const std::string& key, const std::string& value,
                             sConfigFileOpts& opts);
    void getConfigOptionBand3g(const std::string& key, const std::string& value,
                               sConfigFileOpts& opts);
    void getConfigOptionBand4g(const std::string& key, const std::string& value,
                               sConfigFileOpts& opts);
    void getConfigOptionSimSlot(const std::string& key, const std::string& value,
                                sConfigFileOpts& opts);
    void getConfigOptionGpsEnable(const std::string& key, const std::string& value,
                                  sConfigFileOpts& opts);
    void getConfigOptionPtpOption(const std::string& key, const std::string& value,
                                  sConfigFileOpts& opts);
    void getConfigOptionIpFamily(const std::string& key, const std::string& value,
                                 sConfigFileOpts& opts);

    // Whether an APN that was lowered before can go into a command: 1 to 104 characters, letters,
    // digits, blanks and ".-_!", not blanks alone.
    bool apnValidFormat(const std::string& apn);
    // Upper or lower case; eNET_PREF_IGNORE for a text that is empty or not known.
    void decodeConfigNetPref(const std::string& text, eNetPref& netPref);

  protected:
    // The key that is judged next; the lines that follow are about it.
    virtual void startKey(const sConfigKey& /*key*/) {}
    // Every log line of the reader passes here. A tool that checks a file shows them instead.
    virtual void writeLine(uint64_t category, const std::string& line);
    // The key table of the file, read from its path once more.
    virtual cTextLookupTable loadTable();

  private:
    bool readDigest(std::string& digest);
    unsigned useDefaults(sConfigFileOpts& opts);
    bool loadStableTable(sConfigFileOpts& opts, cTextLookupTable& table);
    void applyKeys(const cTextLookupTable& table, sConfigFileOpts& opts);
    void checkManualBands(sConfigFileOpts& opts);

    int choose(const std::string& key, const std::string& value, const sConfigChoice* choices);
    bool hasControlCharacter(const std::string& key, const std::string& value);
    void storeApn(const std::string& key, const std::string& value, std::string& apn);
    void selectOperatorNumber(const std::string& key, const std::string& value,
                              sConfigFileOpts& opts);
    void selectOperatorName(const std::string& key, const std::string& value,
                            sConfigFileOpts& opts);

    void trace(const char* function);
    void notice(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void detail(const char* format, ...) __attribute__((format(printf, 2, 3)));

    uint64_t m_debugMask = 0;
    std::string m_configPath;
    tBandTable m_bands4g;
    tBandTable m_bands3g;
};

// Every key, in the order in which the keys are read: some depend on what came before them.
const std::vector<sConfigKey>& configKeys();

#endif
