#include "cli/base/display_text.h"
#include "fleet/answers.h"
#include "fleet/event_lines.h"
#include "fleet/fleet_json.h"
#include "fleet/fleet_metrics.h"
#include "fleet/fleet_screen.h"
#include "fleet/fleet_watch.h"
#include "fuzz/check.h"

// The input is what a broker sends: lines of a topic, a blank and a payload.

namespace {

constexpr time_t NOW = 1795246938;
constexpr size_t COLUMNS = 80;

void checkLines(const tLines& lines) {
    for (const std::string& line : lines) {
        check(!hasControlCharacter(line), "no control character on the screen", line);
        check(displayWidth(line) <= SCREEN_WIDTH, "no line is too long", line);
    }
}

struct sDesk {
    cFleet fleet;
    cSeenIds seen;
    cAnswers answers;

    void take(const sTopic& topic, const std::string& payload) {
        fleet.take(topic, payload);
        check(!hasControlCharacter(eventLine(topic, payload, seen)), "an event is one line",
              payload);
        check(!hasControlCharacter(eventJson(topic, payload, seen)), "and one of JSON", payload);
        const std::optional<sResult> result = parseResult(payload);
        if (!result) return;
        answers.expect("a", result->command);
        const std::optional<sAnswer> answer = answers.take(topic.gateway, *result);
        check(!answer || topic.gateway == "a", "only who was asked can answer", topic.gateway);
        check(!answer || !hasControlCharacter(answer->text), "an answer is one line", payload);
    }
};

void takeLine(const std::string& line, sDesk& desk) {
    const size_t blank = line.find(' ');
    if (blank == std::string::npos) return;
    const std::optional<sTopic> topic = parseTopic(line.substr(0, blank));
    if (topic) desk.take(*topic, line.substr(blank + 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(data, data + size);
    sDesk desk;
    for (size_t start = 0; start < size;) {
        const size_t end = std::min(text.find('\n', start), size);
        takeLine(text.substr(start, end - start), desk);
        start = end + 1;
    }
    const std::vector<sJudgement> all = judgeAll(desk.fleet, NOW);
    checkLines(fleetScreen(all, all.size(), NOW));
    checkLines(fleetWatch(all, all.size(), NOW, {24, COLUMNS}, ""));
    for (const sJudgement& each : all)
        checkLines(gatewayScreen(each, NOW));
    fleetJson(all);
    for (const sJudgement& judgement : all)
        listedJson(judgement);
    fleetMetrics(all, NOW);
    return 0;
}
