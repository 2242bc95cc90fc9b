#include "history/ledger.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/base/utc_time.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr time_t DAY_S = 86400;
constexpr time_t DAYS_KEPT_S = 62 * DAY_S;
constexpr time_t MONTHS_KEPT_S = 3 * 366 * DAY_S;
// About 200 bytes each: with a SIM changed every day the file stays below 150 kB.
constexpr size_t DAYS_MAX = 400;
constexpr size_t MONTHS_MAX = 300;
constexpr size_t DAY_LENGTH = 10;
constexpr size_t MONTH_LENGTH = 7;
constexpr size_t SIM_MAX = 24;

struct sColumn {
    const char* name;
    uint64_t sUsage::*count;
};
const sColumn COLUMNS[] = {
    {"received_bytes", &sUsage::receivedBytes},
    {"sent_bytes", &sUsage::sentBytes},
    {"received_messages", &sUsage::receivedMessages},
    {"sent_messages", &sUsage::sentMessages},
    {"failed_messages", &sUsage::failedMessages},
    {"connected_s", &sUsage::connectedS},
    {"known_s", &sUsage::knownS},
};

using tJson = nlohmann::ordered_json;

std::string textOf(const tJson& object, const char* key, size_t sizeMax) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string()
               ? found->get<std::string>().substr(0, sizeMax)
               : "";
}

uint64_t numberOf(const tJson& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? found->get<uint64_t>() : 0;
}

void addLines(std::string& text, const char* period, const cLedger::tTable& table) {
    for (const auto& [key, usage] : table) {
        tJson line;
        line[period] = key.first;
        line["sim"] = key.second;
        for (const sColumn& column : COLUMNS)
            line[column.name] = usage.*column.count;
        text += line.dump() + "\n";
    }
}

void readLine(const tJson& line, const std::string& period, cLedger::tTable& table) {
    sUsage usage;
    for (const sColumn& column : COLUMNS)
        usage.*column.count = numberOf(line, column.name);
    table[{period, textOf(line, "sim", SIM_MAX)}].add(usage);
}

void trimTable(cLedger::tTable& table, const std::string& earliest, size_t countMax) {
    while (!table.empty() && (table.begin()->first.first < earliest || table.size() > countMax))
        table.erase(table.begin());
}

}  // namespace

cLedger cLedger::parse(const std::string& text) {
    cLedger ledger;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const tJson object = tJson::parse(line, nullptr, false);
        if (!object.is_object()) continue;
        const std::string day = textOf(object, "day", DAY_LENGTH + 1);
        const std::string month = textOf(object, "month", MONTH_LENGTH + 1);
        if (day.size() == DAY_LENGTH && ledger.m_days.size() < 2 * DAYS_MAX)
            readLine(object, day, ledger.m_days);
        else if (month.size() == MONTH_LENGTH && ledger.m_months.size() < 2 * MONTHS_MAX)
            readLine(object, month, ledger.m_months);
        else if (object.contains("generation")) {
            ledger.generation = numberOf(object, "generation");
            ledger.until = static_cast<time_t>(numberOf(object, "until"));
        }
    }
    if (!isPlausibleTime(ledger.until)) ledger.until = 0;
    return ledger;
}

std::string cLedger::text() const {
    std::string text = tJson({{"generation", generation}, {"until", until}}).dump() + "\n";
    addLines(text, "day", m_days);
    addLines(text, "month", m_months);
    return text;
}

void cLedger::add(const sWindow& window) {
    // The window belongs to the day of its begin.
    const time_t begin = window.end - WINDOW_S;
    const std::string day = utcDayText(begin);
    const std::string month = utcMonthText(begin);
    for (const auto& [sim, usage] : window.usage) {
        m_days[{day, sim}].add(usage);
        m_months[{month, sim}].add(usage);
    }
    until = std::max(until, window.end);
}

void cLedger::trim(time_t now) {
    trimTable(m_days, utcDayText(std::max<time_t>(0, now - DAYS_KEPT_S)), DAYS_MAX);
    trimTable(m_months, utcMonthText(std::max<time_t>(0, now - MONTHS_KEPT_S)), MONTHS_MAX);
}
