#ifndef INCLUDE_MODEM_TYPES_H
#define INCLUDE_MODEM_TYPES_H

// Codes of the modem and of its commands.

enum eTelitModel : int {
    eTELIT_MODEL_UNKNOWN = 0,
    eTELIT_MODEL_NOT_INITED = 1,  // factory test mode: the modem's software is not initialised
    eTELIT_MODEL_TELIT_UNKNOWN = 2,
    eTELIT_MODEL_LE910_NA1 = 3,
    eTELIT_MODEL_LE910_NA_V2 = 4,
    eTELIT_MODEL_LE910_SV_V2 = 5,
    eTELIT_MODEL_LE910B4_NA = 6,
    eTELIT_MODEL_LE910_AU_V2 = 7,
    eTELIT_MODEL_LE910_EU_V2 = 8,
};

// Radio technologies a modem supports, one bit each.
constexpr unsigned NET_BIT_2G = 1;
constexpr unsigned NET_BIT_3G = 2;
constexpr unsigned NET_BIT_4G = 4;
constexpr unsigned NET_BITS_AUTO = 255;

// Network type of #PSNT.
enum ePS_NET_TYPE : int {
    ePS_NET_GPRS = 0,
    ePS_NET_EGPRS = 1,
    ePS_NET_WCDMA = 2,
    ePS_NET_HSDPA = 3,
    ePS_NET_LTE = 4,
    ePS_NET_UNKNOWN = 5,
};

// Access technology of +COPS (3GPP TS 27.007 section 7.3).
enum eCOPS_ACCESS_TECH : int {
    eCOPS_ACT_UNKNOWN = -1,
    eCOPS_ACT_GSM = 0,
    eCOPS_ACT_UTRAN = 2,
    eCOPS_ACT_GSM_EGPRS = 3,
    eCOPS_ACT_UTRAN_HSDPA = 4,
    eCOPS_ACT_UTRAN_HSUPA = 5,
    eCOPS_ACT_UTRAN_HSPA = 6,
    eCOPS_ACT_E_UTRAN = 7,
};

// Registration state of +CREG and +CEREG (3GPP TS 27.007 section 7.2).
enum eRegistrationState : int {
    eREG_NOT_SEARCHING = 0,
    eREG_HOME = 1,
    eREG_SEARCHING = 2,
    eREG_DENIED = 3,
    eREG_UNKNOWN = 4,
    eREG_ROAMING = 5,
};

// Level of #TEMPMEAS; negative levels other than -3 mean cold.
enum eTempLevel : int {
    eTEMP_LEVEL_UNKNOWN = -3,
    eTEMP_LEVEL_EXTREME_LOWER = -2,
    eTEMP_LEVEL_OPERATING_LOWER = -1,
    eTEMP_LEVEL_NORMAL = 0,
    eTEMP_LEVEL_OPERATING_UPPER = 1,
    eTEMP_LEVEL_EXTREME_UPPER = 2,
};

// Firmware image of the modem.
enum eFirmwareCarrier : int {
    eFIRMWARE_CARRIER_UNKNOWN = 0,
    eFIRMWARE_CARRIER_GENERIC_NA = 1,
    eFIRMWARE_CARRIER_VERIZON = 2,
    eFIRMWARE_CARRIER_ATT = 3,
    eFIRMWARE_CARRIER_GENERIC_EU = 4,
    eFIRMWARE_CARRIER_TELSTRA = 5,
};

enum eFirmwareSlot : int {
    eFIRMWARE_SLOT_PREVIOUS_ERROR = -2,
    eFIRMWARE_SLOT_AUTO = -1,  // in the modem record: not known
    eFIRMWARE_SLOT_0 = 0,
    eFIRMWARE_SLOT_1 = 1,
};

// The SIM slot; in the configuration 0 means that none is configured.
enum eSimSlot : int {
    eSIM_SLOT_UNKNOWN = -1,
    eSIM_SLOT_1 = 1,
    eSIM_SLOT_2 = 2,
};

// What the SIM waits for, in classes of +CPIN? answers.
enum eSimLock : int {
    eSIM_READY = 0,
    eSIM_MISSING = 2,
    eSIM_PIN_REQUIRED = 3,
    eSIM_PUK_REQUIRED = 5,
    eSIM_LOCK_UNKNOWN = 255,
};

// Pattern of the status LED (#SLED).
enum eStatLedMode : int {
    eSTAT_LED_NO_ACTION = -1,
    eSTAT_LED_OFF = 0,
    eSTAT_LED_ON = 1,
    eSTAT_LED_BLINK = 3,  // with durations
};

// Band selection (CM_BAND_MODE).
enum eBandMode : int {
    eBAND_MODE_AUTO = 0,
    eBAND_MODE_MANUAL = 1,
};

// Operator selection of setCOPS.
enum eNetOperatorMode : int {
    eNET_OPERATOR_FROM_CONFIG = -1,
    eNET_OPERATOR_AUTO = 0,
    eNET_OPERATOR_MANUAL = 1,
    eNET_OPERATOR_DEREGISTER = 2,
    eNET_OPERATOR_FORMAT_ONLY = 3,
    eNET_OPERATOR_MANUAL_THEN_AUTO = 4,
};

// Address family of a PDP context: bit 0 is IPv4, bit 1 IPv6. Any value but 1 and 2 means both.
enum eIPvFamilyPref : int {
    eIP_FAMILY_IPV4 = 1,
    eIP_FAMILY_IPV6 = 2,
    eIP_FAMILY_IPV4V6 = 3,
};

// Message format of +CMGF (3GPP TS 27.005 section 3.2.3).
enum eSmsPduMode : int {
    eSMS_MODE_PDU = 0,
    eSMS_MODE_TEXT = 1,
};

#endif
