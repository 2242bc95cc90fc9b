#include "statemachine/cleanup.h"

#include <unistd.h>

#include "include/debug.h"
#include "include/options.h"
#include "include/temporary_files.h"
#include "published/paths.h"
#include "statemachine/network_interface.h"
#include "statemachine/status_files.h"

namespace {

// The folders in which this daemon and the operator's command replace files, except the spool.
const char* const FOLDERS_WRITTEN_TO[] = {STATUS_FOLDER, SHARED_FOLDER, SETTINGS_FOLDER,
                                          STORAGE_FOLDER, RUN_FOLDER};

}  // namespace

void sweepTemporaryFiles() {
    for (const char* folder : FOLDERS_WRITTEN_TO)
        removeLeftTemporaryFiles(folder);
}

void cleanup() {
    debug(eLOG_NOTICE, g_i_debugMode, "Cleaning up files");
    downNetworkInterface();
    for (const std::string& path :
         {g_s_cardstats_path, statusFilePath(g_S_options.s_port), g_s_mdn_path, g_s_serialno_path})
        unlink(path.c_str());
}
