#include "statemachine/cleanup.h"

#include <unistd.h>

#include "include/debug.h"
#include "include/options.h"
#include "statemachine/network_interface.h"
#include "statemachine/status_files.h"

void cleanup() {
    debug(eLOG_NOTICE, g_i_debugMode, "Cleaning up files");
    downNetworkInterface();
    for (const std::string& path :
         {g_s_cardstats_path, g_s_cardstats_path + "." + g_S_options.s_port, g_s_mdn_path,
          g_s_serialno_path})
        unlink(path.c_str());
}
