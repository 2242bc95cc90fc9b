#include "cli/status/plain_words.h"

#include "cli/base/printable_text.h"
#include "include/result_codes.h"
#include "platform/include/text_helpers.h"

namespace {

struct sRow {
    int code;
    const char* what;
    const char* mend;
};

constexpr const char* CHECK_APN =
    "compare CM_APN, CM_USERNAME, CM_PASSWORD and CM_IPFAMILY with the operator's settings";
constexpr const char* CHECK_SUBSCRIPTION =
    "ask the operator whether the SIM is active, paid for and allowed to use data here";
constexpr const char* CHECK_HOST =
    "run cellslot doctor: it checks the interface and the host tools";
constexpr const char* WAIT_FOR_IT = "the daemon tries again by itself";
constexpr const char* CHECK_GPS_PORT = "check the daemon's -g option and the device node";

// clang-format off
const sRow CONNECT_ERRORS[] = {
    {eSUCCESS, "none", ""},
    {eFAILURE, "it failed for an unknown reason", WAIT_FOR_IT},
    {eUNKNOWN_ERROR, "it failed for an unknown reason", WAIT_FOR_IT},
    {eERROR_DEVICE_RESPONSE_TIMEOUT, "the modem did not answer in time", WAIT_FOR_IT},
    {eERROR_DEVICE_RESPONSE_ERROR, "the modem refused a command", WAIT_FOR_IT},
    {eERROR_DEVICE_NETWORK_ATTACH_FAILURE, "the network refuses data to this SIM (attach failed)", CHECK_SUBSCRIPTION},
    {eERROR_DEVICE_NETWORK_NOT_REGISTERED, "the modem was not registered", WAIT_FOR_IT},
    {eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED, "the modem was not registered for IMS", WAIT_FOR_IT},
    {eERROR_DEVICE_NETWORK_NOT_ATTACHED, "the modem is not attached to the packet network", CHECK_SUBSCRIPTION},
    {eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE, "the network refuses the session (context activation failed)", CHECK_APN},
    {eERROR_DEVICE_PDP_CONTEXT_NOT_ACTIVE, "the network dropped the session at once", CHECK_APN},
    {eERROR_DEVICE_GET_PDP_NETWORK_INFO_ERROR, "the modem does not report its addresses", WAIT_FOR_IT},
    {eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE, "the network assigned no usable address", "check CM_IPFAMILY and CM_APN: the network may assign IPv6 only, or the mask 255.255.255.255, which is not usable (cellslot doctor --ask-modem)"},
    {eERROR_DEVICE_NMC_DATA_SET_ERROR, "the modem refused the network mode setting", WAIT_FOR_IT},
    {eERROR_DEVICE_RAW_DATA_SET_ERROR, "the modem refused to switch to data mode", WAIT_FOR_IT},
    {eERROR_DEVICE_RAW_DATA_SET_NO_CONNECT, "the modem did not confirm data mode", WAIT_FOR_IT},
    {eERROR_DEVICE_NETWORK_SETUP_FAILURE, "the host's interface could not be set up", CHECK_HOST},
    {eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE, "the host's interface could not be taken down", CHECK_HOST},
    {eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING, "the daemon waits before the next attempt", WAIT_FOR_IT},
    {eERROR_DEVICE_NETWORK_IPV4_IP_SET_FAILURE, "the IPv4 address could not be set", CHECK_HOST},
    {eERROR_DEVICE_NETWORK_IPV6_IP_SET_FAILURE, "the IPv6 address could not be set", CHECK_HOST},
    {eERROR_DEVICE_NETWORK_IPV4_GATEWAY_SET_FAILURE, "the IPv4 route could not be set", CHECK_HOST},
    {eERROR_DEVICE_NETWORK_IPV6_GATEWAY_SET_FAILURE, "the IPv6 route could not be set", CHECK_HOST},
    {eERROR_DEVICE_NOT_RESPONDING, "the modem does not respond", "run cellslot doctor"},
};

const sRow GPS_STATES[] = {
    {eSUCCESS, "not started", ""},
    {eERROR_DEVICE_RESPONSE_TIMEOUT, "the receiver did not answer the commands that enable it", CHECK_GPS_PORT},
    {eERROR_DEVICE_RESPONSE_ERROR, "the modem refused to enable its receiver", "set CM_GPS_ENABLE=no if GPS is not needed"},
    {eERROR_DEVICE_REQUIRES_RESET, "enabled; the modem restarts to apply it", ""},
    {eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID, "the GPS port does not exist", CHECK_GPS_PORT},
    {eERROR_DEVICE_GPS_DEV_OPEN_FAILURE, "the GPS port cannot be opened", "cellslot doctor shows which program has it open"},
    {eERROR_DEVICE_GPS_SET_SKVS_FAILURE, "the key-value store cannot be written", "check permissions and free space of /run/cellslot"},
    {eERROR_DEVICE_GPS_ENABLE_FAILURE, "the receiver could not be enabled", "set CM_GPS_ENABLE=no if GPS is not needed"},
    {eERROR_DEVICE_GPS_ENABLE_MAX_COUNT, "no receiver found after three attempts to enable it", "set CM_GPS_ENABLE=no; this modem may have no GPS"},
    {eERROR_DEVICE_GPS_OK_TO_ENABLE, "being enabled", ""},
    {eERROR_DEVICE_GPS_START_STREAM_FAILURE, "the stream could not be started", CHECK_GPS_PORT},
    {eERROR_DEVICE_GPS_START_STREAM_SUCCESS, "positions go to gpsd", ""},
    {eERROR_DEVICE_GPS_STOP_STREAM_FAILURE, "the stream could not be stopped", CHECK_GPS_PORT},
    {eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS, "off", ""},
    {eERROR_DEVICE_GPS_ENABLED, "receiver found", ""},
    {eERROR_DEVICE_GPS_DISABLED, "receiver off", ""},
};
// clang-format on

template <size_t count>
sPlainWords wordsFor(const sRow (&rows)[count], const sStatusRecord& record,
                     const sStatusKey& codeKey, const sStatusKey& nameKey) {
    const std::optional<long long> code = record.number(codeKey);
    if (!code) return {"unknown", ""};
    for (const sRow& row : rows)
        if (row.code == *code) return {row.what, row.mend};
    const std::string name = printableLine(record.text(nameKey));
    return {"error " + ltos(*code) + (name.empty() ? "" : " (" + name + ")"), ""};
}

}  // namespace

sPlainWords connectErrorWords(const sStatusRecord& record) {
    return wordsFor(CONNECT_ERRORS, record, STATUS_LAST_CONNECT_ERROR_E, STATUS_LAST_CONNECT_ERROR);
}

sPlainWords gpsWords(const sStatusRecord& record) {
    return wordsFor(GPS_STATES, record, STATUS_GPS_LAST_STATUS_E, STATUS_GPS_LAST_STATUS);
}

bool isGpsFault(const sStatusRecord& record) {
    return !gpsWords(record).mend.empty();
}
