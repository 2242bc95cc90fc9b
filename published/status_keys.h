#ifndef PUBLISHED_STATUS_KEYS_H
#define PUBLISHED_STATUS_KEYS_H

#include <cstddef>
#include <string>

#include "published/slot.h"

// The keys of a status file and of the key-value store, in the order of the file. A line is
// "CELLMODEM1_MODEL=LE910-NA V2"; in the file without a slot it is "CELLMODEM_MODEL=...". A line
// that begins with '#' is a comment. The values are in status_values.h, in device_records.h (what
// is not known) and in result_codes.h (errors).
struct sStatusKey {
    const char* name;
};

// Time of writing.
constexpr sStatusKey STATUS_STATS_LAST_UPDATE = {"STATS_LAST_UPDATE"};
constexpr sStatusKey STATUS_STATS_LAST_UPDATE_E = {
    "STATS_LAST_UPDATE_E"};  // seconds since the epoch

// Modem, configuration of the network, and SIM.
constexpr sStatusKey STATUS_MODEL = {"MODEL"};
constexpr sStatusKey STATUS_MANU = {"MANU"};
constexpr sStatusKey STATUS_ESN = {"ESN"};
constexpr sStatusKey STATUS_IMEI = {"IMEI"};
constexpr sStatusKey STATUS_MDN = {"MDN"};
constexpr sStatusKey STATUS_FIRMWARE_V = {"FIRMWARE_V"};
constexpr sStatusKey STATUS_FIRMWARE_CFG_V = {"FIRMWARE_CFG_V"};
constexpr sStatusKey STATUS_FIRMWARE_CARRIER = {"FIRMWARE_CARRIER"};
constexpr sStatusKey STATUS_FIRMWARE_CARRIER_E = {"FIRMWARE_CARRIER_E"};
constexpr sStatusKey STATUS_FIRMWARE_SLOT = {"FIRMWARE_SLOT"};
constexpr sStatusKey STATUS_DUAL_FIRMWARE = {"DUAL_FIRMWARE"};
constexpr sStatusKey STATUS_TEMPERATURE = {"TEMPERATURE"};
constexpr sStatusKey STATUS_TEMPERATURE_LEVEL = {"TEMPERATURE_LEVEL"};
constexpr sStatusKey STATUS_TEMPERATURE_LEVEL_E = {"TEMPERATURE_LEVEL_E"};
constexpr sStatusKey STATUS_CONF_OPERATOR_MODE = {"CONF_OPERATOR_MODE"};
constexpr sStatusKey STATUS_CONF_OPERATOR = {"CONF_OPERATOR"};
constexpr sStatusKey STATUS_CONF_NETPREF = {"CONF_NETPREF"};
constexpr sStatusKey STATUS_SUPPORTED_NETPREF = {"SUPPORTED_NETPREF"};
constexpr sStatusKey STATUS_SUPPORTED_NETPREF_BITS = {"SUPPORTED_NETPREF_BITS"};
constexpr sStatusKey STATUS_CURRENT_NETPREF = {"CURRENT_NETPREF"};
constexpr sStatusKey STATUS_CURRENT_NETPREF_VALUE = {"CURRENT_NETPREF_VALUE"};
constexpr sStatusKey STATUS_SUPPORTED_3G_BANDS = {"SUPPORTED_3G_BANDS"};
constexpr sStatusKey STATUS_SUPPORTED_4G_BANDS = {"SUPPORTED_4G_BANDS"};
constexpr sStatusKey STATUS_SIM_ID = {"SIM_ID"};
constexpr sStatusKey STATUS_SIM_IMSI = {"SIM_IMSI"};
constexpr sStatusKey STATUS_SIM_CARRIER_NUMBER = {"SIM_CARRIER_NUMBER"};
constexpr sStatusKey STATUS_SIM_CARRIER = {"SIM_CARRIER"};
constexpr sStatusKey STATUS_SIM_STATUS = {"SIM_STATUS"};
constexpr sStatusKey STATUS_SIM_EXTENDED_STATUS = {"SIM_EXTENDED_STATUS"};
constexpr sStatusKey STATUS_SIM_CPIN_ENABLED = {"SIM_CPIN_ENABLED"};
constexpr sStatusKey STATUS_SIM_REMAIN_CPIN = {"SIM_REMAIN_CPIN"};
constexpr sStatusKey STATUS_SIM_REMAIN_PUK = {"SIM_REMAIN_PUK"};
constexpr sStatusKey STATUS_SIM_SLOT = {"SIM_SLOT"};

// The active context.
constexpr sStatusKey STATUS_SIM_CONT_CURRENT = {"SIM_CONT_CURRENT"};
constexpr sStatusKey STATUS_SIM_APN_CURRENT = {"SIM_APN_CURRENT"};

// Serving network and signal.
constexpr sStatusKey STATUS_CARRIER = {"CARRIER"};
constexpr sStatusKey STATUS_CARRIER_PLMN = {"CARRIER_PLMN"};
constexpr sStatusKey STATUS_CARRIER_MCC = {"CARRIER_MCC"};
constexpr sStatusKey STATUS_CARRIER_MNC = {"CARRIER_MNC"};
constexpr sStatusKey STATUS_SERVICE_TYPE = {"SERVICE_TYPE"};
constexpr sStatusKey STATUS_SERVICE_TYPE_E = {"SERVICE_TYPE_E"};
constexpr sStatusKey STATUS_HSUPA_AVAIL = {"HSUPA_AVAIL"};
constexpr sStatusKey STATUS_HSUPA_USED = {"HSUPA_USED"};
constexpr sStatusKey STATUS_HSDPA_AVAIL = {"HSDPA_AVAIL"};
constexpr sStatusKey STATUS_HSDPA_USED = {"HSDPA_USED"};
constexpr sStatusKey STATUS_BAND = {"BAND"};
constexpr sStatusKey STATUS_CURRENT_CSQ = {"CURRENT_CSQ"};
constexpr sStatusKey STATUS_CURRENT_CSQ_BER = {"CURRENT_CSQ_BER"};
constexpr sStatusKey STATUS_CURRENT_RSSI = {"CURRENT_RSSI"};
constexpr sStatusKey STATUS_CURRENT_RSRQ = {"CURRENT_RSRQ"};
constexpr sStatusKey STATUS_CURRENT_RSRP = {"CURRENT_RSRP"};
constexpr sStatusKey STATUS_CURRENT_RSCP = {"CURRENT_RSCP"};
constexpr sStatusKey STATUS_LTE_RSSI = {"LTE_RSSI"};
constexpr sStatusKey STATUS_LTE_RSRQ = {"LTE_RSRQ"};
constexpr sStatusKey STATUS_LTE_RSRP = {"LTE_RSRP"};
constexpr sStatusKey STATUS_CURRENT_ECIO = {"CURRENT_ECIO"};
constexpr sStatusKey STATUS_CURRENT_TXPWR = {"CURRENT_TXPWR"};
constexpr sStatusKey STATUS_CURRENT_PSC = {"CURRENT_PSC"};
constexpr sStatusKey STATUS_CURRENT_DRX = {"CURRENT_DRX"};
constexpr sStatusKey STATUS_CURRENT_MM = {"CURRENT_MM"};
constexpr sStatusKey STATUS_CURRENT_MM_E = {"CURRENT_MM_E"};
constexpr sStatusKey STATUS_CURRENT_RRC = {"CURRENT_RRC"};
constexpr sStatusKey STATUS_CURRENT_RRC_E = {"CURRENT_RRC_E"};
constexpr sStatusKey STATUS_CURRENT_NOM = {"CURRENT_NOM"};
constexpr sStatusKey STATUS_CURRENT_BLER = {"CURRENT_BLER"};
constexpr sStatusKey STATUS_SERVSYS_CELL_ID = {"SERVSYS_CELL_ID"};
constexpr sStatusKey STATUS_SERVSYS_CELL_ID_HEX = {"SERVSYS_CELL_ID_HEX"};

// Area, registration, session, GPS, and how the daemon was started.
constexpr sStatusKey STATUS_LOCATION_AREA_CODE = {"LOCATION_AREA_CODE"};
constexpr sStatusKey STATUS_SERVSYS_LAC = {"SERVSYS_LAC"};
constexpr sStatusKey STATUS_CURRENT_LAC_TAC = {"CURRENT_LAC_TAC"};
constexpr sStatusKey STATUS_CURRENT_TAC = {"CURRENT_TAC"};
constexpr sStatusKey STATUS_CURRENT_T3402_TIMER = {"CURRENT_T3402_TIMER"};
constexpr sStatusKey STATUS_CURRENT_T3412_TIMER = {"CURRENT_T3412_TIMER"};
constexpr sStatusKey STATUS_SERVICE_DOMAIN = {"SERVICE_DOMAIN"};
constexpr sStatusKey STATUS_IMS_REG_STATE = {"IMS_REG_STATE"};
constexpr sStatusKey STATUS_CREG = {"CREG"};
constexpr sStatusKey STATUS_CREG_ABR = {"CREG_ABR"};
constexpr sStatusKey STATUS_CREG_REGISTERED = {"CREG_REGISTERED"};
constexpr sStatusKey STATUS_CREG_ACCESS_TECH = {"CREG_ACCESS_TECH"};
constexpr sStatusKey STATUS_CREG_SERVING_CELL = {"CREG_SERVING_CELL"};
constexpr sStatusKey STATUS_CREG_LAC = {"CREG_LAC"};
constexpr sStatusKey STATUS_CURRENT_CHAN = {"CURRENT_CHAN"};
constexpr sStatusKey STATUS_QMI_STATE = {"QMI_STATE"};
constexpr sStatusKey STATUS_QMI_CALL_TIME = {"QMI_CALL_TIME"};
constexpr sStatusKey STATUS_QMI_CALL_FORMAT_TIME = {"QMI_CALL_FORMAT_TIME"};
constexpr sStatusKey STATUS_LAST_CONNECT_ERROR_E = {"LAST_CONNECT_ERROR_E"};
constexpr sStatusKey STATUS_LAST_CONNECT_ERROR = {"LAST_CONNECT_ERROR"};
constexpr sStatusKey STATUS_GPS_CHIPSET = {"GPS_CHIPSET"};
constexpr sStatusKey STATUS_GPS_STREAM_ON = {"GPS_STREAM_ON"};
constexpr sStatusKey STATUS_GPS_LAST_STATUS_E = {"GPS_LAST_STATUS_E"};
constexpr sStatusKey STATUS_GPS_LAST_STATUS = {"GPS_LAST_STATUS"};
constexpr sStatusKey STATUS_DEV_HANDLE_MAIN = {"DEV_HANDLE_MAIN"};
constexpr sStatusKey STATUS_DEV_HANDLE_GPS = {"DEV_HANDLE_GPS"};
constexpr sStatusKey STATUS_NETWORK_INTERFACE = {"NETWORK_INTERFACE"};
constexpr sStatusKey STATUS_SLED_SLOT = {"SLED_SLOT"};
constexpr sStatusKey STATUS_SMS_SENT = {"SMS_SENT"};
constexpr sStatusKey STATUS_SMS_SENT_FAIL = {"SMS_SENT_FAIL"};
constexpr sStatusKey STATUS_SMS_RECV = {"SMS_RECV"};
// The last key: it shows that the file is complete.
constexpr sStatusKey LAST_STATUS_KEY = STATUS_SMS_RECV;

// They say which modem, SIM card and subscriber this is.
constexpr sStatusKey IDENTITY_STATUS_KEYS[] = {STATUS_ESN, STATUS_IMEI, STATUS_MDN, STATUS_SIM_ID,
                                               STATUS_SIM_IMSI};

// Contexts of the modem as "1:internet", and the cells of the active set.
std::string contextStatusKey(size_t index);
std::string activeSetEcIoKey(size_t index);
std::string activeSetPscKey(size_t index);
std::string activeSetChannelKey(size_t index);

// Prefix of every key: "CELLMODEM1" or "CELLMODEM"; then come "_" and the name.
std::string statusKeyStart(const cSlotText& slot);
constexpr const char* PLAIN_STATUS_KEY_START = "CELLMODEM";
constexpr const char* STATUS_KEY_SEPARATOR = "_";

#endif
