#ifndef PUBLISHED_STATUS_VALUES_H
#define PUBLISHED_STATUS_VALUES_H

// Values of the status by which other programs decide. What is not known is in device_records.h.

// A key that is on or off.
constexpr const char* STATUS_YES = "1";
constexpr const char* STATUS_NO = "0";

// STATUS_QMI_STATE
constexpr const char* SESSION_CONNECTED = "CONNECTED";
constexpr const char* SESSION_DISCONNECTED = "DISCONNECTED";

// STATUS_SIM_STATUS; other locks have texts of their own.
constexpr const char* SIM_STATUS_AVAILABLE = "Available";
constexpr const char* SIM_STATUS_PIN_LOCKED = "PIN Locked";
constexpr const char* SIM_STATUS_PUK_LOCKED = "PUK Locked";
constexpr const char* SIM_STATUS_NOT_PRESENT = "Not Present";

// STATUS_CREG_ABR
constexpr const char* REGISTRATION_NONE = "Not Reg";
constexpr const char* REGISTRATION_HOME = "Reg Home";
constexpr const char* REGISTRATION_SEARCHING = "Searching";
constexpr const char* REGISTRATION_DENIED = "Reg Denied";
constexpr const char* REGISTRATION_ROAMING = "Reg Roaming";

#endif
