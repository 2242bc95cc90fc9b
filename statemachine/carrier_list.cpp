#include "statemachine/carrier_list.h"

#include "atcmd/catalogue.h"
#include "include/debug.h"
#include "platform/include/file_vector.h"
#include "platform/include/timer.h"
#include "published/paths.h"

const std::string g_s_var_log_dir = STATUS_FOLDER;

namespace {

constexpr unsigned REWRITE_S = 300;

struct sCarrierListState {
    cTimer timer{0, REWRITE_S};
};

sCarrierListState g_carrierListState;

}  // namespace

void resetCarrierListState() {
    g_carrierListState = {};
}

int writeCarrierList(const std::string& directory, bool force) {
    const std::string path = directory + "/" + CARRIER_LIST_NAME;
    cTimer& timer = g_carrierListState.timer;
    if (force) timer.Stop();
    if (timer.IsTimerRunning()) return 0;
    timer.Start();

    cFileVector file(path);
    file.AppendLine("{\n", false);
    size_t left = telitCarrier_list_Map.size();
    for (const auto& [plmn, name] : telitCarrier_list_Map)
        file.AppendLine("\"" + plmn + "\":\"" + name + "\"" + (--left != 0 ? ",\n" : "\n"), false);
    file.AppendLine("}\n", false);
    file.Write();
    debug(eLOG_STATUS, g_i_debugMode, "%s(): Wrote file %s", __func__, path.c_str());
    return 1;
}
