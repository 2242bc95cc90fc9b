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
    eCONFIG_UNCHANGED = 1,  // same content as at the last read: nothing was changed
    eCONFIG_APPLIED = 2,
};

struct sConfigChoice;

// Reads the configuration file, lines of KEY=value, into sConfigFileOpts. Every key is optional. A
// value that is not accepted is logged and its default applies; the read does not fail.
//
// The log lines contain values as written, including passwords; control characters become blanks.
class cConfigReader {
  public:
    cConfigReader();
    virtual ~cConfigReader() = default;

    // mask: the debug mode of the reader's own log lines, until DEBUG_MODE replaces it. False
    // without a path.
    bool init(const std::string& path, uint64_t mask);

    // Sets every default, but leaves md5 and netPref unchanged.
    void resetConfigValues(sConfigFileOpts& opts);

    // Parses the file if its content differs from that of the last read. The digest survives a
    // missing file: if the same content comes back, it counts as unchanged and the defaults stay.
    unsigned readConfig(sConfigFileOpts& opts);

    // The value of a key as written, "" if the key is missing.
    std::string getRawValue(const std::string& key, const cTextLookupTable& table);
    // The same, trimmed and in lower case.
    std::string getValue(const std::string& key, const cTextLookupTable& table);

    // One for each key. They take the values that getValue or getRawValue return, and rely on the
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

    // Whether an APN, already in lower case, can go into a command: 1 to 104 characters, letters,
    // digits, blanks and ".-_!", not blanks alone.
    bool apnValidFormat(const std::string& apn);
    // Accepts upper and lower case; eNET_PREF_IGNORE for an empty or unknown text.
    void decodeConfigNetPref(const std::string& text, eNetPref& netPref);

  protected:
    // Announces the key that is checked next; the lines that follow are about it.
    virtual void startKey(const sConfigKey& /*key*/) {}
    // Every log line of the reader passes through here. A tool that checks a file shows the lines
    // instead.
    virtual void writeLine(uint64_t category, const std::string& line);
    // Reads the key table from the file again.
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

// Every key, in reading order: some keys depend on earlier ones.
const std::vector<sConfigKey>& configKeys();

#endif
