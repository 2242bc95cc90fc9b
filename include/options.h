#ifndef INCLUDE_OPTIONS_H
#define INCLUDE_OPTIONS_H

#include <string>

// The command line. The first four options are mandatory.
struct sOptionArgs {
    std::string s_device;          // -d: the modem's AT port, a character device or a FIFO
    std::string s_gps_device;      // -g: the modem's GPS port
    std::string s_interface;       // -i: host network interface, "wwanN"
    std::string s_port;            // -p: slot, "1" to "3"; the suffix of every file of the slot
    bool b_record_always = false;  // --record-always: records from start to end
};

extern sOptionArgs g_S_options;

#endif
