#ifndef CONFIG_CONFIG_FILE_H
#define CONFIG_CONFIG_FILE_H

#include <string>

// The configuration file of a modem slot: /etc/vuk/cellularSLOT.conf. If that does not exist, slot
// "1" uses /etc/zoq/wireless/cellmodem_ppp.conf, the path of older installations. A directory that
// is not empty replaces the directories of both.
//
// The first call chooses for the life of the process: once slot "1" uses the older file, it keeps
// it. Only a later call with a directory changes the choice.
std::string chooseConfigFile(const std::string& slot, const std::string& directory);

// Forgets the choice. For tests.
void resetConfigFileChoice();

#endif
