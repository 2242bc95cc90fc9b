#include "history/window.h"

#include <cmath>

#include "cli/base/utc_time.h"
#include "history/words.h"
#include "observed/sim_name.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr const char* NO_SIM = "-";
constexpr size_t SIMS_MAX = 16;  // in ten seconds
constexpr size_t USAGE_WORDS = 8;
constexpr double SUM_MAX = 1e15;  // no interface carries as many bytes in ten seconds

uint64_t sUsage::*const COUNTS[] = {
    &sUsage::receivedBytes,  &sUsage::sentBytes,  &sUsage::receivedMessages, &sUsage::sentMessages,
    &sUsage::failedMessages, &sUsage::connectedS, &sUsage::knownS,
};

std::string sumText(double sum) {
    char text[32];
    snprintf(text, sizeof text, "%.17g", sum);
    return text;
}

// "-98.5:10"
bool readSum(const std::string& word, sWindow::sSum& sum) {
    const size_t colon = word.find(':');
    if (colon == word.npos) return false;
    const auto value = numberOf<double>(word.substr(0, colon));
    const auto seconds = numberOf<long long>(word.substr(colon + 1));
    if (!value || !(std::fabs(*value) <= SUM_MAX) || !seconds || *seconds < 0 || *seconds > 1000)
        return false;
    sum = {*value, *seconds};
    return true;
}

bool readUsage(const std::vector<std::string>& words, size_t at, sWindow& window) {
    const std::string sim = words[at] == NO_SIM ? "" : words[at];
    if (!isSimName(sim)) return false;
    sUsage& usage = window.usage[sim];
    for (const auto count : COUNTS) {
        const auto number = numberOf<uint64_t>(words[++at]);
        if (!number) return false;
        usage.*count = *number;
    }
    return true;
}

}  // namespace

void sWindow::hold(const sReading& reading, long long seconds) {
    for (size_t i = 0; i < SOURCES; ++i) {
        if (std::isnan(reading.values[i])) continue;
        sums[i].sum += reading.values[i] * static_cast<double>(seconds);
        sums[i].seconds += seconds;
    }
    sUsage& used = usage[reading.sim];
    used.knownS += static_cast<uint64_t>(seconds);
    if (reading.isConnected) used.connectedS += static_cast<uint64_t>(seconds);
}

void sWindow::add(const sWindow& other) {
    for (size_t i = 0; i < SOURCES; ++i) {
        sums[i].sum += other.sums[i].sum;
        sums[i].seconds += other.sums[i].seconds;
    }
    for (const auto& [sim, used] : other.usage)
        usage[sim].add(used);
}

double sWindow::value(eSource source) const {
    const sSum& sum = sums[static_cast<size_t>(source)];
    if (sum.seconds == 0) return std::nan("");
    const bool isAmount = describe(source).kind == eSourceKind::AMOUNT;
    return sum.sum / static_cast<double>(isAmount ? WINDOW_S : sum.seconds);
}

std::string windowLine(const sWindow& window) {
    std::string line = "w " + ltos(window.end);
    for (const sWindow::sSum& sum : window.sums)
        line += " " + sumText(sum.sum) + ":" + ltos(sum.seconds);
    for (const auto& [sim, usage] : window.usage) {
        line += " " + (sim.empty() ? NO_SIM : sim);
        for (const auto count : COUNTS)
            line += " " + std::to_string(usage.*count);
    }
    return line;
}

std::optional<sWindow> parseWindowLine(const std::string& line) {
    const std::vector<std::string> words = wordsOf(line);
    constexpr size_t HEAD = 2 + SOURCES;
    if (words.size() < HEAD || words[0] != "w" || (words.size() - HEAD) % USAGE_WORDS != 0 ||
        (words.size() - HEAD) / USAGE_WORDS > SIMS_MAX)
        return std::nullopt;
    sWindow window;
    window.end = numberOf<long long>(words[1]).value_or(-1);
    if (!isPlausibleTime(window.end) || window.end % WINDOW_S != 0) return std::nullopt;
    for (size_t i = 0; i < SOURCES; ++i)
        if (!readSum(words[2 + i], window.sums[i])) return std::nullopt;
    for (size_t at = HEAD; at < words.size(); at += USAGE_WORDS)
        if (!readUsage(words, at, window)) return std::nullopt;
    return window;
}
