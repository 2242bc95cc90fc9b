#ifndef CLI_BASE_SILENT_READER_H
#define CLI_BASE_SILENT_READER_H

#include "config/config_reader.h"
#include "include/debug.h"

// The daemon's own reader without a log: neither its own messages nor those that the file's
// DEBUG_MODE would enable in other parts of the program.
class cSilentReader : public cConfigReader {
  protected:
    void startKey(const sConfigKey& /*key*/) override { g_i_debugMode = 0; }
    void writeLine(uint64_t /*category*/, const std::string& /*line*/) override {}
};

#endif
