#include "agent/root_service.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "agent/agent_config.h"
#include "agent/change_host.h"
#include "agent/execution.h"
#include "agent/permission.h"
#include "agent/text_messages.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "platform/files/file_descriptor.h"
#include "platform/include/text_helpers.h"

namespace {

sRootAnswer refused(const std::string& why) {
    sRootAnswer answer;
    answer.outcome.status = eResult::REFUSED;
    answer.outcome.text = why;
    return answer;
}

sRootAnswer executeCommand(const sPlaces& places, const std::string& program,
                           const std::string& text) {
    const sParsedCommand parsed = parseCommand(text);
    if (parsed.use != eCommandUse::GOOD) return refused(parsed.why);
    const std::string why = whyNotAllowed(readAgentConfig(places), parsed.command);
    if (!why.empty()) return refused(why);
    if (parsed.command.name == COMMAND_CONFIG) {
        cChangeHost host(places, program);
        return cConfigChange(places, host).begin(parsed.command);
    }
    sRootAnswer answer;
    answer.outcome = execute(program, parsed.command);
    return answer;
}

sRootAnswer confirmChange(const sPlaces& places, const std::string& program,
                          const std::string& id) {
    cChangeHost host(places, program);
    const std::string why = cConfigChange(places, host).confirm(id);
    if (!why.empty()) return refused(why);
    sRootAnswer answer;
    answer.outcome.status = eResult::DONE;
    return answer;
}

sRootAnswer listMessages(const sPlaces& places, const std::string&, const std::string& known) {
    if (!readAgentConfig(places).sendsMessages)
        return refused("RECEIVED_SMS in " + std::string(AGENT_CONFIG_FILE) + " is not yes");
    sRootAnswer answer;
    answer.outcome.status = eResult::DONE;
    answer.outcome.output = foundMessagesJson(places, parseMessageKeys(known));
    return answer;
}

struct sRequestForm {
    const char* name;
    sRootAnswer (*answer)(const sPlaces& places, const std::string& program,
                          const std::string& rest);
};

constexpr sRequestForm REQUESTS[] = {
    {REQUEST_EXECUTE, executeCommand},
    {REQUEST_CONFIRM, confirmChange},
    {REQUEST_MESSAGES, listMessages},
};

// Up to the first line end, or to the end of the input.
std::string readRequest(int input) {
    std::string text;
    std::array<char, 16 * 1024> buffer;
    while (text.size() <= REQUEST_MAX && text.find('\n') == std::string::npos) {
        const ssize_t count = read(input, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        text.append(buffer.data(), static_cast<size_t>(count));
    }
    return text.substr(0, text.find('\n'));
}

}  // namespace

sRootAnswer answerRequest(const sPlaces& places, const std::string& program,
                          const std::string& request) {
    const size_t blank = request.find(' ');
    const std::string name = request.substr(0, blank);
    const std::string rest = blank == std::string::npos ? "" : request.substr(blank + 1);
    if (request.size() > REQUEST_MAX) return refused("the request is too long");
    try {
        for (const sRequestForm& form : REQUESTS)
            if (name == form.name) return form.answer(places, program, rest);
        return refused("unknown request '" + printableLine(name.substr(0, 20)) + "'");
    } catch (const cFailure& failure) {
        sRootAnswer answer;
        answer.outcome.text = failure.what();
        return answer;
    }
}

int serveRequest(const sPlaces& places, const std::string& program) {
    const sRootAnswer answer = answerRequest(places, program, readRequest(STDIN_FILENO));
    if (answer.outcome.status == eResult::FAILED || answer.outcome.status == eResult::REFUSED)
        fprintf(stderr, "%s\n", printableLine(answer.outcome.text).c_str());
    return writeAll(STDOUT_FILENO, rootAnswerText(answer)) ? 0 : 1;
}
