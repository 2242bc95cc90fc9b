#include "statemachine/custom_at_log.h"

#include <initializer_list>

#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/logger.h"
#include "published/paths.h"

std::string g_s_at_cmd_log_dir = AT_LOG_FOLDER;

namespace {

constexpr int LOG_KILOBYTES = 100;
constexpr int LOG_OLD_FILES = 1;
constexpr const char* LOG_TIME_FORMAT = "%m/%d/%Y %H:%M:%S";

constexpr const char* DIVIDER = "=================================================\n";

cLogger& atCommandLog() {
    static cLogger logger;
    return logger;
}

std::string cutForLog(const std::string& output) {
    if (output.size() <= AT_LOG_OUTPUT_MAX) return output;
    return output.substr(0, AT_LOG_OUTPUT_MAX) + "\n(truncated)\n";
}

std::string deviceHeader(const sModemInfo& modem) {
    return "\nDevice: " + modem.s_model + "\nIMEI: " + modem.s_imei + "\nSlot #" +
           g_S_options.s_port;
}

}  // namespace

std::string prettifyAtCommand(const std::string& command, const std::string& output) {
    return std::string(DIVIDER) + " Sending : " + command + "\n" + " Output : \n\n" + output +
           DIVIDER;
}

void writeAtCmdLog(const std::string& command, const std::string& output, const sDeviceInfo& device,
                   const std::string& logDirectory) {
    cLogger& log = atCommandLog();
    log.LogInit(logDirectory + "/" + AT_LOG_NAME, LOG_KILOBYTES, LOG_OLD_FILES, LOG_TIME_FORMAT,
                true);
    log.Log(" ");  // carries the time of the record
    for (const std::string& text :
         {deviceHeader(device.modem), prettifyAtCommand(command, cutForLog(output))}) {
        log.NoTimestampThisMessage();
        log.DontModifyThisMessage();
        log.Log(text);
    }
}
