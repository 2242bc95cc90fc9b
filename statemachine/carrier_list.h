#ifndef STATEMACHINE_CARRIER_LIST_H
#define STATEMACHINE_CARRIER_LIST_H

#include <string>

extern const std::string g_s_var_log_dir;

// Publishes the modem's operator names as directory/carrier_list.json, at most every five minutes
// unless forced. Keys and values are not escaped. Returns 1 when the file was written, 0 when it
// was not due.
int writeCarrierList(const std::string& directory, bool force);

// For tests: the next call writes.
void resetCarrierListState();

#endif
