#include "published/paths.h"

namespace {

std::string inFolder(const std::string& folder, const std::string& name) {
    return folder + "/" + name;
}

std::string settingsFile(const std::string& name, const cSlotText& slot) {
    return inFolder(SETTINGS_FOLDER, name + "." + slot.text());
}

std::string runFile(const cSlotText& slot, const std::string& suffix) {
    return inFolder(RUN_FOLDER, std::string(DAEMON_NAME) + "." + slot.text() + suffix);
}

// Older installations had one modem, whose files have names without a slot.
bool isOldSlot(const cSlotText& slot) {
    return slot.text() == "1";
}

}  // namespace

std::string slotConfigFile(const cSlotText& slot) {
    return slotConfigFileIn(SETTINGS_FOLDER, slot);
}

std::string oldConfigFile() {
    return oldConfigFileIn(OLD_SETTINGS_FOLDER);
}

std::string slotConfigFileIn(const std::string& folder, const cSlotText& slot) {
    return inFolder(folder, "cellular" + slot.text() + ".conf");
}

std::string oldConfigFileIn(const std::string& folder) {
    return inFolder(folder, "cellmodem_ppp.conf");
}

bool hasOldConfigFile(const cSlotText& slot) {
    return isOldSlot(slot);
}

std::string pinFilePath(const cSlotText& slot) {
    return settingsFile("cellular_cpin", slot);
}

std::string pinRequestPath(const cSlotText& slot) {
    return settingsFile("cellular_cpin_new", slot);
}

std::string pinChangePath(const cSlotText& slot) {
    return settingsFile("cellular_cpin_change", slot);
}

std::string pukFilePath(const cSlotText& slot) {
    return settingsFile("cellular_puk", slot);
}

std::string statusFilePath(const cSlotText& slot) {
    return std::string(PLAIN_STATUS_FILE) + "." + slot.text();
}

bool hasPlainStatusFile(const cSlotText& slot) {
    return isOldSlot(slot);
}

std::string pidFilePath(const cSlotText& slot) {
    return pidFileIn(RUN_FOLDER, DAEMON_NAME, slot);
}

std::string pidFileIn(const std::string& folder, const std::string& program,
                      const cSlotText& slot) {
    return inFolder(folder, program + "." + slot.text() + ".pid");
}

std::string configLookPath(const cSlotText& slot) {
    return runFile(slot, ".config");
}

std::string loggedFilePath(const cSlotText& slot) {
    return runFile(slot, ".logged");
}

std::string recordRequestPath(const cSlotText& slot) {
    return inFolder(RECORD_REQUEST_FOLDER, "record." + slot.text());
}

std::string recordingPath(const cSlotText& slot) {
    return inFolder(RECORDING_FOLDER, "recording." + slot.text() + ".jsonl");
}

std::string olderRecordingPath(const cSlotText& slot) {
    return inFolder(RECORDING_FOLDER, "recording." + slot.text() + ".older.jsonl");
}

std::string keptRecordingPath(const cSlotText& slot, int number) {
    return inFolder(RECORDING_FOLDER,
                    "recording." + slot.text() + ".exit-" + std::to_string(number) + ".jsonl");
}

std::string firmwareTriggerName(const cSlotText& slot) {
    return "start_update." + slot.text();
}

std::string listingNotePath(const cSlotText& slot) {
    return inFolder(STORAGE_FOLDER, "cellmodem.sms.listing." + slot.text());
}

std::string firmwareStatusPath(const cSlotText& slot) {
    return inFolder(STORAGE_FOLDER, "cellmodem.firmware.upd.status." + slot.text());
}
