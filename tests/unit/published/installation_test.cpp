#include "published/installation.h"

#include <gtest/gtest.h>

#include "platform/include/file_vector.h"
#include "published/at_request.h"
#include "published/data_override.h"
#include "published/host_boot.h"
#include "published/paths.h"
#include "published/sms_spool.h"
#include "tests/support/temp_folder.h"

// Shell scripts and the files of the package cannot include a header. Here is what they repeat, and
// what it has to be.

namespace {

// A file of the source tree. /run is the place that /var/run leads to.
std::string sourceText(const std::string& file) {
    return readFile(std::string(SOURCE_FOLDER) + "/" + file);
}

std::string withoutVar(const std::string& path) {
    return path.compare(0, 9, "/var/run/") == 0 ? path.substr(4) : path;
}

// A word ends at a blank, a quote, a line's end, or at what a shell would expand.
bool hasWord(const std::string& text, const std::string& word) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const size_t end = at + word.size();
        const bool begins =
            at == 0 || std::string(" \t\n\"'=-").find(text[at - 1]) != std::string::npos;
        const bool ends =
            end == text.size() || std::string(" \t\n\"'*:;").find(text[end]) != std::string::npos;
        if (begins && ends) return true;
    }
    return false;
}

void expectWords(const std::string& file, const std::vector<std::string>& words) {
    const std::string text = sourceText(file);
    ASSERT_FALSE(text.empty()) << file;
    for (const std::string& word : words)
        EXPECT_TRUE(hasWord(text, word)) << file << " does not have " << word;
}

}  // namespace

TEST(Installation, Purge_RemovesEveryFileOfASlot) {
    const cSlotText slot = "$slot";
    const std::string suffix = atSlotSuffix(slot);
    expectWords(
        "packaging/deb/postrm",
        {statusFilePath(slot), recordRequestPath(slot), withoutVar(pidFilePath(slot)),
         withoutVar(configLookPath(slot)), withoutVar(loggedFilePath(slot)),
         firmwareStatusPath(slot), listingNotePath(slot), slotConfigFile(slot), pinFilePath(slot),
         pinRequestPath(slot), pinChangePath(slot), pukFilePath(slot), enabledServicePath(slot),
         overrideFilePath(eDataOverride::ON, slot), overrideFilePath(eDataOverride::OFF, slot),
         overrideFilePath(eDataOverride::POWER_OFF, slot), atRequestFile(SHARED_FOLDER, suffix),
         atAnswerFile(SHARED_FOLDER, suffix), atRawAnswerFile(SHARED_FOLDER, suffix)});
}

TEST(Installation, Purge_RemovesEveryFileOfTheGateway) {
    const std::string draft = std::string("/") + cFileVector::TEMPORARY_NAME_PREFIX;
    expectWords("packaging/deb/postrm",
                {PLAIN_STATUS_FILE, SERIAL_NUMBER_FILE, OWN_NUMBER_FILE,
                 std::string(STATUS_FOLDER) + "/" + CARRIER_LIST_NAME, DAEMON_LOG_FILE,
                 std::string(AT_LOG_FOLDER) + AT_LOG_NAME, SMS_SPOOL_ROOT, RECORDING_FOLDER,
                 atRequestFile(SHARED_FOLDER, ""), atAnswerFile(SHARED_FOLDER, ""),
                 atRawAnswerFile(SHARED_FOLDER, ""), SETTINGS_FOLDER + draft, STATUS_FOLDER + draft,
                 STORAGE_FOLDER + draft, withoutVar(RUN_FOLDER + draft), SHARED_FOLDER + draft});
}

TEST(Installation, TemporaryFilesRules_NameTheFoldersOfTheDaemon) {
    const std::string logFolder = AT_LOG_FOLDER;
    const std::string overrides = overrideFilePath(eDataOverride::ON, 1);
    expectWords(
        "packaging/tmpfiles.conf",
        {STORAGE_FOLDER, logFolder.substr(0, logFolder.rfind('/')),
         overrides.substr(0, overrides.rfind('_') + 1), smsFolder(SMS_SPOOL_ROOT, SMS_DIR_SEND_OK),
         smsFolder(SMS_SPOOL_ROOT, SMS_DIR_SEND_FAIL)});
}

TEST(Installation, EveryOverrideFile_MatchesTheRuleThatKeepsIt) {
    for (const eDataOverride value :
         {eDataOverride::ON, eDataOverride::OFF, eDataOverride::POWER_OFF})
        EXPECT_EQ(overrideFilePath(value, 1).find("/tmp/force_cell_"), 0U);
}

TEST(Installation, Service_HasItsSettingsAndTools) {
    expectWords("packaging/cellslotd@.service", {serviceSettingsPath("%i"), HOST_TOOLS_FOLDER,
                                                 STATUS_FOLDER, SHARED_FOLDER, STORAGE_FOLDER});
    EXPECT_EQ(std::string(SERVICE_UNIT), "/lib/systemd/system/" + serviceName("") + ".service");
    expectWords("scripts/package.sh", {SERVICE_UNIT, SLOTS_FILE});
    expectWords("packaging/cellslot-booted.service", {withoutVar(BOOTED_FILE)});
}

TEST(Installation, HostTools_ReadTheSlotsFile) {
    expectWords("gateway-tools/sledctl", {std::string("CONFIG=") + SLOTS_FILE});
    expectWords("gateway-tools/slot-of-port", {std::string("CONFIG=") + SLOTS_FILE});
}

TEST(Installation, InterfaceScript_NotesItsChangesWhereDoctorReadsThem) {
    const std::string prefix = INTERFACE_NOTES_PREFIX;
    const size_t name = prefix.rfind('/');
    expectWords("gateway-tools/setup_cellint.sh",
                {"STATE_FOLDER=" + prefix.substr(0, name),
                 "state=$STATE_FOLDER" + prefix.substr(name) + "$interface", "note resolved",
                 "note resolvconf", "note file", "note newfile"});
}

TEST(Installation, LogRules_NameTheDaemonsLog) {
    expectWords("packaging/rsyslog.conf", {DAEMON_LOG_FILE, DAEMON_NAME});
    expectWords("packaging/logrotate.conf", {DAEMON_LOG_FILE});
}

TEST(Installation, Completion_LooksForTheStatusFiles) {
    expectWords(
        "cli/cellslot.bash-completion",
        {statusFilePath("[" + std::to_string(FIRST_SLOT) + "-" + std::to_string(LAST_SLOT) + "]")});
}

TEST(Installation, NamesOfASlot_AreThoseOfThePackage) {
    EXPECT_EQ(serviceName(2), "cellslotd@2");
    EXPECT_EQ(serviceSettingsPath(2), "/etc/default/cellslotd.2");
    EXPECT_EQ(enabledServicePath(2),
              "/etc/systemd/system/multi-user.target.wants/cellslotd@2.service");
}
