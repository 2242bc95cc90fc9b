#include "cli/record/record_command.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <memory>
#include <ostream>

#include "cli/base/daemon_process.h"
#include "cli/base/display_text.h"
#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/base/system_failure.h"
#include "cli/base/waiting.h"
#include "cli/record/recording_files.h"
#include "cli/status/no_daemon.h"
#include "published/paths.h"
#include "published/recording_request.h"

namespace {

// A pass of the daemon rarely takes longer; sending a message can.
constexpr double BEGIN_WAIT_S = 10;
constexpr unsigned MEGABYTE = 1024 * 1024;
constexpr unsigned MINUTE_S = 60;

struct sRecordOptions {
    int slot = SLOT_NOT_GIVEN;
    unsigned minutes = RECORDING_MINUTES;
    unsigned megabytes = RECORDING_BYTES / MEGABYTE;
    bool withIdentities = false;
    std::string file;
};

std::string kilobytes(size_t bytes) {
    return std::to_string((bytes + 1023) / 1024) + " kB";
}

bool isRequested(const sPlaces& places, int slot) {
    return places.have(recordRequestPath(slot));
}

// ---- start

void makeRequestFolder(const sPlaces& places) {
    const std::string folder = places.at(RECORD_REQUEST_FOLDER);
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST)
        throw systemFailure("create " + folder, errno);
}

// A recording that has ended makes room for the new one.
void removeEnded(const sPlaces& places, int slot) {
    const sRecordingState state = recordingState(places, slot);
    if (state.exists && !state.isEnded && runningDaemon(places, slot) != 0) return;
    unlink(places.at(recordingPath(slot)).c_str());
    unlink(places.at(olderRecordingPath(slot)).c_str());
}

sRecordingRequest requestOf(const sRecordOptions& options) {
    sRecordingRequest request;
    if (options.minutes != 0) request.untilS = recordingClockS() + options.minutes * MINUTE_S;
    request.fileBytes = size_t{options.megabytes} * MEGABYTE;
    request.keepIdentities = options.withIdentities;
    return request;
}

std::string howLong(unsigned minutes) {
    if (minutes == 0) return "until it is stopped";
    return "for " + std::to_string(minutes) + (minutes == 1 ? " minute" : " minutes");
}

void start(sCliContext& context, const sRecordOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    makeRequestFolder(places);
    cDraftFile draft(places.at(RECORD_REQUEST_FOLDER), 0600);
    draft.write(recordingRequestText(requestOf(options)));
    removeEnded(places, slot);
    draft.replace(places.at(recordRequestPath(slot)));
    if (runningDaemon(places, slot) == 0)
        throw cFailure(eExitStatus::NO_DAEMON,
                       noDaemonText(slot) + "; the recording begins when it is started");
    const auto hasBegun = [&] {
        const sRecordingState state = recordingState(places, slot);
        return !isRequested(places, slot) || (state.exists && !state.isEnded);
    };
    const bool begun = waitFor(BEGIN_WAIT_S, hasBegun);
    if (begun && !isRequested(places, slot))
        throw cFailure(eExitStatus::FAILED, "the daemon cannot record into " + recordingPath(slot) +
                                                "; its log says why");
    context.out << slotName(slot) << (begun ? ": records " : ": will record, in a moment, ")
                << howLong(options.minutes) << " into " << recordingPath(slot) << "\n";
}

// ---- stop

void stop(sCliContext& context, const sRecordOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    if (unlink(places.at(recordRequestPath(slot)).c_str()) != 0) {
        if (errno != ENOENT) throw systemFailure("remove " + recordRequestPath(slot), errno);
        throw cFailure(eExitStatus::FAILED, slotName(slot) + ": no recording was started");
    }
    const auto hasEnded = [&] {
        return runningDaemon(places, slot) == 0 || recordingState(places, slot).isEnded;
    };
    const bool ended = waitFor(BEGIN_WAIT_S, hasEnded);
    context.out << slotName(slot) << (ended ? ": ended, " : ": ends in a moment, ")
                << kilobytes(recordingState(places, slot).bytes)
                << "; keep it with cellslot record save FILE\n";
}

// ---- show

std::string timeLeft(const sPlaces& places, int slot) {
    if (!isRequested(places, slot)) return ", always";
    std::string text;
    std::ifstream file(places.at(recordRequestPath(slot)));
    std::getline(file, text, '\0');
    const uint64_t untilS = parseRecordingRequest(text).untilS;
    if (untilS == 0) return ", until it is stopped";
    const uint64_t nowS = recordingClockS();
    const uint64_t leftS = untilS > nowS ? untilS - nowS : 0;
    return ", " + std::to_string((leftS + MINUTE_S - 1) / MINUTE_S) + " min left";
}

std::string describedState(const sPlaces& places, int slot, const sRecordingState& state) {
    if (!state.exists) return isRequested(places, slot) ? "begins in a moment" : "no recording";
    const std::string what = ", " + kilobytes(state.bytes) + ", identities " +
                             (state.keepsIdentities ? "kept" : "replaced");
    const std::string began = printableLine(state.began);
    if (state.isEnded)
        return "not recording; the last one began " + began + " and ended (" +
               printableLine(state.reason) + ")" + what;
    if (runningDaemon(places, slot) == 0)
        return "not recording, no daemon runs; the last one began " + began + what;
    return "recording since " + began + timeLeft(places, slot) + what;
}

std::string localTime(time_t when) {
    tm local{};
    char text[32] = "";
    localtime_r(&when, &local);
    strftime(text, sizeof text, "%F %T", &local);
    return text;
}

void show(sCliContext& context, const sRecordOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    const sRecordingState state = recordingState(places, slot);
    context.out << slotName(slot) << ": " << describedState(places, slot, state) << "\n";
    for (const sKeptRecording& kept : keptRecordings(places, slot))
        context.out << "  kept at exit status 3: " << kept.path << ", " << localTime(kept.time)
                    << ", " << kilobytes(kept.bytes) << "\n";
}

// ---- save

void save(sCliContext& context, const sRecordOptions& options) {
    const int slot = chooseSlot(context.places, options.slot);
    const std::string text = joinedRecording(context.places, slot);
    if (text.empty())
        throw cFailure(eExitStatus::FAILED, slotName(slot) +
                                                ": there is no recording; begin one with "
                                                "cellslot record start");
    replaceFile(options.file, text, 0600);
    context.out << slotName(slot) << ": " << kilobytes(text.size()) << " into "
                << printableLine(options.file) << "\n";
}

// ---- command line

cSubcommand addAction(const cSubcommand& record, const char* name, const char* help,
                      const std::shared_ptr<sRecordOptions>& options, sCliContext& context,
                      void (*action)(sCliContext&, const sRecordOptions&)) {
    const cSubcommand command = record.add(name, help);
    addSlotOption(command, options->slot);
    command.action([options, &context, action] { action(context, *options); });
    return command;
}

void addStart(const cSubcommand& record, sCliContext& context) {
    const auto options = std::make_shared<sRecordOptions>();
    const cSubcommand command =
        addAction(record, "start", "Begin a recording.", options, context, start);
    command.option("--minutes", options->minutes, "end after this time; 0: do not [60]", "N")
        .range(0U, RECORDING_MINUTES_MAX);
    command.option("--size", options->megabytes, "size of each of its two files, in MB [1]", "MB")
        .range(1U, static_cast<unsigned>(RECORDING_BYTES_MAX / MEGABYTE));
    command.flag("--with-identities", options->withIdentities,
                 "keep IMSI, IMEI, numbers and messages");
    command.footer(
        "PIN, PUK and password are never recorded. Two files of a megabyte hold 5 to 10\n"
        "minutes of a connected modem; older lines are dropped.\n"
        "Example:\n"
        "  cellslot record start --minutes 10");
}

}  // namespace

void addRecordCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand record = app.add("record", "Record what passes on the modem's ports.");
    record.requireSubcommand();
    addStart(record, context);
    addAction(record, "stop", "End the recording.", std::make_shared<sRecordOptions>(), context,
              stop)
        .footer("Example:\n  cellslot record stop");
    addAction(record, "show", "Show whether a recording runs, and what there is.",
              std::make_shared<sRecordOptions>(), context, show)
        .footer("Example:\n  cellslot record show");
    const auto options = std::make_shared<sRecordOptions>();
    const cSubcommand command = addAction(
        record, "save", "Copy the recording to a file; it goes on.", options, context, save);
    command.option("FILE", options->file, "where to").required().fileName();
    command.footer("Example:\n  cellslot record save /tmp/pump7.jsonl");
    record.footer(
        "The daemon records into /var/log/cellslot. cellslotd --record-always does so at\n"
        "all times.\n"
        "Example:\n"
        "  cellslot record start && sleep 60 && cellslot record save pump7.jsonl");
}
