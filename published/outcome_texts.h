#ifndef PUBLISHED_OUTCOME_TEXTS_H
#define PUBLISHED_OUTCOME_TEXTS_H

#include <string>

// Words in the daemon's texts by which other programs recognise the result of an operation.

// In the outcome of a PIN operation (STATUS_SIM_EXTENDED_STATUS).
constexpr const char* PIN_OUTCOME_SUCCESS = "successfully";
constexpr const char* PIN_OUTCOME_NOTHING_TO_DO = "are the same";
constexpr const char* PIN_OUTCOME_REFUSED = "bad password";

// Whether it was done, or there was nothing to do.
bool isPinOutcomeGood(const std::string& outcome);
// Whether the SIM refused the PIN.
bool isPinOutcomeRefused(const std::string& outcome);

// In the system log's line about a message that could not be sent.
constexpr const char* SMS_LOG_CME_ERROR = "returned CME error";
constexpr const char* SMS_LOG_NUMBER = "number '";
constexpr const char* SMS_LOG_NO_FIELD = "does not contain";
constexpr const char* SMS_LOG_EMPTY_FIELD = "Contains an";
constexpr const char* SMS_LOG_PDU_NOT_SENT = "Sending PDU";
constexpr const char* SMS_LOG_PDU_NOT_ENCODED = "Failed to PDU";
constexpr const char* SMS_LOG_MODE_NOT_SET = "Setting SMS text";

#endif
