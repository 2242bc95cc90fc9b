#include "cli/pin/pin_outcome.h"

#include <sys/stat.h>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/status_file.h"

namespace {

int attempts(const sStatusRecord& record, const sStatusKey& key) {
    return static_cast<int>(record.number(key).value_or(-1));
}

}  // namespace

sSimView simView(const sPlaces& places, int slot) {
    const sStatusRecord record = readStatusFile(places, slot).record;
    sSimView view;
    view.status = printableLine(record.text(STATUS_SIM_STATUS));
    view.outcome = withoutSecrets(printableLine(record.text(STATUS_SIM_EXTENDED_STATUS)));
    view.pinAttempts = attempts(record, STATUS_SIM_REMAIN_CPIN);
    view.pukAttempts = attempts(record, STATUS_SIM_REMAIN_PUK);
    return view;
}

std::string statusEdition(const sPlaces& places, int slot) {
    struct stat info {};
    if (stat(places.at(statusFilePath(slot)).c_str(), &info) != 0) return "";
    return std::to_string(info.st_ino) + " " + std::to_string(info.st_mtim.tv_sec) + " " +
           std::to_string(info.st_mtim.tv_nsec);
}
