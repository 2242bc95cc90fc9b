#include "agent/execution.h"

#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "agent/program_run.h"
#include "cli/base/printable_text.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t TEXT_MAX = 300;

using tWords = std::vector<std::string>;

void addSlot(const sCommand& command, tWords& words) {
    if (command.slot) words.insert(words.end(), {"-p", itos(*command.slot)});
}

tWords dataWords(const sCommand& command) {
    return {"data", command.want, "--timeout", "60"};
}
tWords reloadWords(const sCommand&) {
    return {"reload", "--timeout", "60"};
}
tWords smsWords(const sCommand& command) {
    return {"sms", "send", "--wait", "--timeout", "200", "--", command.to, "-"};
}
tWords atWords(const sCommand& command) {
    return {"at", "--timeout", "31", "-p", itos(command.slot.value_or(1)), "--", command.at};
}
tWords doctorWords(const sCommand&) {
    return {"doctor"};
}
tWords historyWords(const sCommand& command) {
    tWords words{"history"};
    if (!command.view.empty() && command.view != "summary") words.push_back(command.view);
    if (!command.since.empty()) words.push_back("--since=" + command.since);
    return words;
}
tWords reportWords(const sCommand&) {
    return {"report"};
}

struct sProgramUse {
    const char* command;
    tWords (*words)(const sCommand& command);
    bool takesSlot;  // as an option at the end
    long long limitS;
    int otherSuccess;  // an exit status that means success too
};

constexpr int NONE = 0;

// clang-format off
constexpr sProgramUse USES[] = {
    {COMMAND_DATA,    dataWords,    true,   90, NONE},
    {COMMAND_RELOAD,  reloadWords,  true,   90, NONE},
    {COMMAND_SMS,     smsWords,     false, 230, NONE},
    {COMMAND_AT,      atWords,      false,  60, NONE},
    {COMMAND_DOCTOR,  doctorWords,  true,  120, 1},  // it has found something
    {COMMAND_HISTORY, historyWords, true,   30, NONE},
    {COMMAND_REPORT,  reportWords,  true,  120, NONE},
};
// clang-format on

const sProgramUse* useOf(const std::string& name) {
    for (const sProgramUse& use : USES)
        if (name == use.command) return &use;
    return nullptr;
}

// What the program said last is what came of it.
std::string lastLine(const std::string& output) {
    const std::string text = cleanEndWhiteSpace(output);
    return beginningOf(printableLine(text.substr(text.rfind('\n') + 1)), TEXT_MAX);
}

sOutcome judge(const sProgramUse& use, const sProgramRun& run) {
    sOutcome outcome;
    outcome.output = run.output;
    if (run.exit >= 0) outcome.exit = run.exit;
    const bool isGood = run.exit == 0 || (use.otherSuccess != NONE && run.exit == use.otherSuccess);
    outcome.status = isGood ? eResult::DONE : eResult::FAILED;
    if (run.isLate)
        outcome.text = "It did not end within " + ltos(use.limitS) + " s and was ended.";
    else if (run.exit < 0)
        outcome.text = "The program could not be run.";
    else
        outcome.text = lastLine(run.output);
    if (run.isCut) outcome.text += " (It printed more than was kept.)";
    return outcome;
}

// A folder that only root can read, gone at the end.
class cPrivateFolder {
  public:
    cPrivateFolder() { m_isMade = mkdtemp(m_path) != nullptr; }
    ~cPrivateFolder() {
        unlink(file().c_str());
        if (m_isMade) rmdir(m_path);
    }
    cPrivateFolder(const cPrivateFolder&) = delete;
    cPrivateFolder& operator=(const cPrivateFolder&) = delete;
    std::string file() const { return std::string(m_path) + "/report.tar"; }

  private:
    char m_path[32] = "/run/cellslot-report-XXXXXX";
    bool m_isMade = false;
};

// The archive takes the place of what the program says about it.
void attach(const std::string& path, sOutcome& outcome) {
    std::string archive;
    if (outcome.status != eResult::DONE) return;
    if (!readFile2StringNoFollow(path, archive, OUTPUT_MAX + 1) || archive.size() > OUTPUT_MAX) {
        outcome.status = eResult::FAILED;
        outcome.text = "The archive is longer than " + std::to_string(OUTPUT_MAX / 1024) +
                       " kB; fetch it at the gateway with cellslot report.";
        return;
    }
    outcome.text = "The archive has " + std::to_string((archive.size() + 1023) / 1024) + " kB.";
    outcome.output = archive;
    outcome.isBinary = true;
}

}  // namespace

std::vector<std::string> wordsOf(const std::string& program, const sCommand& command) {
    const sProgramUse* use = useOf(command.name);
    if (use == nullptr) return {};
    tWords words = use->words(command);
    words.insert(words.begin(), program);
    if (use->takesSlot) addSlot(command, words);
    return words;
}

sOutcome execute(const std::string& program, const sCommand& command) {
    const sProgramUse* use = useOf(command.name);
    if (use == nullptr)
        return {eResult::REFUSED, "this command cannot be executed here", {}, "", false};
    tWords words = wordsOf(program, command);
    if (command.name != COMMAND_REPORT)
        return judge(*use, runProgram(words, use->limitS, OUTPUT_MAX, command.text));
    const cPrivateFolder folder;
    words.push_back(folder.file());
    sOutcome outcome = judge(*use, runProgram(words, use->limitS, OUTPUT_MAX));
    attach(folder.file(), outcome);
    return outcome;
}
