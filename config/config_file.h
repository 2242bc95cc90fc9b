#ifndef CONFIG_CONFIG_FILE_H
#define CONFIG_CONFIG_FILE_H

#include <string>

// The configuration file of a modem slot: /etc/vuk/cellularSLOT.conf. Slot "1" falls back to
// /etc/zoq/wireless/cellmodem_ppp.conf, the place of older installations, when its own file does
// not exist. A directory that is not empty takes the place of both.
//
// The choice is made once: the first call fixes the names for the life of the process, and slot
// "1", once on the older file, stays there. Only a later call with a directory changes them.
std::string chooseConfigFile(const std::string& slot, const std::string& directory);

// Forgets the choice. For tests.
void resetConfigFileChoice();

#endif
