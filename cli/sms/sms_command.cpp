#include "cli/sms/sms_command.h"

#include <algorithm>
#include <istream>
#include <memory>
#include <ostream>
#include <set>

#include "cli/base/daemon_log.h"
#include "cli/base/daemon_process.h"
#include "cli/base/display_text.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_option.h"
#include "cli/base/waiting.h"
#include "cli/sms/sms_spool.h"
#include "cli/status/no_daemon.h"
#include "cli/status/status_file.h"
#include "platform/include/text_helpers.h"
#include "published/outcome_texts.h"
#include "published/paths.h"
#include "published/sms_spool.h"
#include "published/status_keys.h"

namespace {

// Three attempts of a minute each, and the daemon's pauses between them.
constexpr unsigned SEND_WAIT_S = 200;
constexpr size_t INPUT_MAX = 65536;
constexpr size_t TIME_WIDTH = 19;
constexpr size_t SENDER_WIDTH = 20;

// Parts of the daemon's log lines about a message that it could not send, the best reason first.
const char* const REASONS[] = {SMS_LOG_CME_ERROR,   SMS_LOG_NUMBER,       SMS_LOG_NO_FIELD,
                               SMS_LOG_EMPTY_FIELD, SMS_LOG_PDU_NOT_SENT, SMS_LOG_PDU_NOT_ENCODED,
                               SMS_LOG_MODE_NOT_SET};

struct sSendOptions {
    std::string number;
    std::string text;
    bool wait = false;
    unsigned timeoutS = SEND_WAIT_S;
};

struct sReadOptions {
    std::string file;
    bool remove = false;
    double timeoutS = FOR_EVER;
};

// The daemons share one spool, so any of them can send.
std::vector<int> requireAnyDaemon(const sPlaces& places) {
    std::vector<int> slots = runningSlots(places);
    if (!slots.empty()) return slots;
    throw noDaemonAtAll();
}

// ---- send

bool isRegistered(const sPlaces& places, int slot) {
    return readStatusFile(places, slot).record.isSet(STATUS_CREG_REGISTERED);
}

std::string whyStillWaiting(const sPlaces& places) {
    const std::vector<int> slots = runningSlots(places);
    if (slots.empty()) return "the daemon has ended";
    const bool registered = std::any_of(slots.begin(), slots.end(),
                                        [&](int slot) { return isRegistered(places, slot); });
    return registered ? "the modem is registered, but is busy or has refused the message so far"
                      : "the modem is not registered with a network";
}

// The daemon reports the reason only in the system log.
std::string reasonInLog(const std::vector<cDaemonLog>& logs) {
    for (const char* reason : REASONS) {
        for (const cDaemonLog& log : logs) {
            const std::string line = log.last({reason});
            // The text before the reason contains the message and its number.
            if (!line.empty()) return printableLine(line.substr(line.find(reason)));
        }
    }
    return std::string("the system log shows why: journalctl -t ") + DAEMON_NAME;
}

void waitUntilSent(sCliContext& context, const std::string& name, unsigned timeoutS,
                   const std::vector<cDaemonLog>& logs) {
    eSendState state = eSendState::WAITING;
    const auto isDone = [&] {
        state = sendState(context.places, name);
        return state != eSendState::WAITING;
    };
    waitFor(timeoutS, isDone);
    switch (state) {
        case eSendState::SENT:
            context.out << "sent\n";
            return;
        case eSendState::GIVEN_UP:
            throw cFailure(eExitStatus::FAILED,
                           "not sent, three attempts failed: " + reasonInLog(logs));
        case eSendState::REFUSED:
            throw cFailure(eExitStatus::FAILED,
                           "not sent, the daemon refused it: " + reasonInLog(logs));
        case eSendState::WAITING:
            throw cFailure(eExitStatus::TIMED_OUT,
                           "not sent yet: " + whyStillWaiting(context.places) +
                               "; it stays queued as " + SMS_SPOOL_ROOT + SMS_DIR_SEND + name);
    }
}

// Reads no more of an endless input than it takes to see that it is too long.
std::string textOrInput(sCliContext& context, const std::string& text) {
    if (text != "-") return text;
    std::string input(INPUT_MAX, '\0');
    context.in.read(input.data(), static_cast<std::streamsize>(input.size()));
    input.resize(static_cast<size_t>(context.in.gcount()));
    return input;
}

void send(sCliContext& context, const sSendOptions& options) {
    const std::string number = smsNumber(options.number);
    const std::string text = smsText(textOrInput(context, options.text));
    std::vector<cDaemonLog> logs;
    for (const int slot : requireAnyDaemon(context.places))
        logs.emplace_back(context.places, runningDaemon(context.places, slot));
    const std::string name = putMessage(context.places, number, text);
    if (options.wait)
        waitUntilSent(context, name, options.timeoutS, logs);
    else
        context.out << "queued as " << name << "\n";
}

// ---- receive

void showMessage(sCliContext& context, const sReceivedMessage& message, bool remove) {
    context.out << "File: " << printableLine(message.file)
                << "\nFrom: " << printableLine(message.from)
                << "\nTime: " << printableLine(message.time) << "\n\n"
                << printableText(message.text) << "\n"
                << std::flush;
    // A message that could not be shown is kept.
    if (remove && context.out) deleteReceived(context.places, message.file);
}

void list(sCliContext& context) {
    const std::vector<sReceivedMessage> messages = receivedMessages(context.places);
    if (messages.empty()) {
        context.out << "no messages\n";
        return;
    }
    const size_t numberWidth = std::to_string(messages.size()).size();
    size_t number = 0;
    for (const sReceivedMessage& message : messages) {
        const std::string line = fitTo(std::to_string(++number), numberWidth) + "  " +
                                 fitTo(printableLine(message.time), TIME_WIDTH) + "  " +
                                 fitTo(printableLine(message.from), SENDER_WIDTH) + "  " +
                                 printableLine(message.text);
        context.out << cleanEndWhiteSpace(cutTo(line, SCREEN_WIDTH)) << "\n";
    }
}

bool isMeant(const sReceivedMessage& message, size_t number, const std::string& wanted) {
    return wanted.empty() || message.file == wanted || std::to_string(number) == wanted;
}

void read(sCliContext& context, const sReadOptions& options) {
    size_t number = 0;
    for (const sReceivedMessage& message : receivedMessages(context.places)) {
        if (!isMeant(message, ++number, options.file)) continue;
        return showMessage(context, message, options.remove);
    }
    throw cFailure(eExitStatus::FAILED, options.file.empty()
                                            ? "there are no messages"
                                            : "there is no message " + printableLine(options.file) +
                                                  "; cellslot sms list shows all of them");
}

void wait(sCliContext& context, const sReadOptions& options) {
    requireAnyDaemon(context.places);
    std::set<std::string> known;
    for (const sReceivedMessage& message : receivedMessages(context.places))
        known.insert(message.file);
    sReceivedMessage found;
    const auto hasCome = [&] {
        for (const sReceivedMessage& message : receivedMessages(context.places)) {
            if (known.count(message.file) != 0) continue;
            found = message;
            return true;
        }
        return false;
    };
    if (!waitFor(options.timeoutS, hasCome))
        throw cFailure(eExitStatus::TIMED_OUT, "no message arrived in time");
    showMessage(context, found, options.remove);
}

// ---- command line

void addSend(const cSubcommand& sms, sCliContext& context) {
    const cSubcommand command = sms.add("send", "Send a message.");
    const auto options = std::make_shared<sSendOptions>();
    command.option("NUMBER", options->number, "5 to 20 digits, with + if international").required();
    command.option("TEXT", options->text, "up to 918 ASCII characters; - is standard input")
        .required();
    command.flag("-w,--wait", options->wait, "wait until it is sent or has failed");
    command.option("--timeout", options->timeoutS, "with --wait: at most this many seconds [200]",
                   "S");
    command.footer(
        "Examples:\n"
        "  cellslot sms send +12025550123 'Pump 3 stopped'\n"
        "  df -h / | cellslot sms send --wait 72345 -\n"
        "  cellslot sms send 72345 -- -3C      # -- before a text that begins with -");
    command.action([options, &context] { send(context, *options); });
}

void addList(const cSubcommand& sms, sCliContext& context) {
    const cSubcommand command = sms.add("list", "List the received messages, oldest first.");
    command.footer("Example:\n  cellslot sms list | grep +12025550123");
    command.action([&context] { list(context); });
}

void addRead(const cSubcommand& sms, sCliContext& context) {
    const cSubcommand command = sms.add("read", "Show a received message.");
    const auto options = std::make_shared<sReadOptions>();
    command.option("FILE", options->file, "number in the list, or file name [the oldest]");
    command.flag("-d,--delete", options->remove, "delete it after showing it");
    command.footer("Example:\n  cellslot sms read --delete");
    command.action([options, &context] { read(context, *options); });
}

void addWait(const cSubcommand& sms, sCliContext& context) {
    const cSubcommand command = sms.add("wait", "Wait for the next message and show it.");
    const auto options = std::make_shared<sReadOptions>();
    command.option("--timeout", options->timeoutS, "wait at most this many seconds [no limit]", "S")
        .notNegative();
    command.flag("-d,--delete", options->remove, "delete it after showing it");
    command.footer(
        "Messages that have already arrived do not count.\n"
        "Example:\n  cellslot sms wait --timeout 60 || echo 'no message'");
    command.action([options, &context] { wait(context, *options); });
}

}  // namespace

void addSmsCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand sms = app.add("sms", "Send and read text messages.");
    sms.requireSubcommand();
    addSend(sms, context);
    addList(sms, context);
    addRead(sms, context);
    addWait(sms, context);
    sms.footer(
        "All slots share the messages. They are deleted after a day.\n"
        "Example:\n  cellslot sms send +12025550123 'Pump 3 stopped'");
}
