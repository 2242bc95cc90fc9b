#include "history/ledger.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/base/utc_time.h"
#include "observed/sim_name.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr time_t DAY_S = 86400;
constexpr time_t DAYS_KEPT_S = 62 * DAY_S;
constexpr time_t MONTHS_KEPT_S = 3 * 366 * DAY_S;
// About 200 bytes each: with a SIM changed every day the file stays below 150 kB.
constexpr size_t DAYS_MAX = 400;
constexpr size_t MONTHS_MAX = 300;
constexpr size_t TEXT_MAX = 40;
constexpr const char* DAY_FORM = "dddd-dd-dd";
constexpr const char* MONTH_FORM = "dddd-dd";

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

// Empty if it is no text, or too long.
std::string textOf(const tJson& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) return "";
    const auto& text = found->get_ref<const std::string&>();
    return text.size() <= TEXT_MAX ? text : "";
}

bool hasForm(const std::string& text, const std::string& form) {
    const auto fits = [](char letter, char wanted) {
        return wanted == 'd' ? letter >= '0' && letter <= '9' : letter == wanted;
    };
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), fits);
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
    const auto sim = line.find("sim");
    if (sim == line.end() || !sim->is_string() || !isSimName(sim->get_ref<const std::string&>()))
        return;
    sUsage usage;
    for (const sColumn& column : COLUMNS)
        usage.*column.count = numberOf(line, column.name);
    table[{period, sim->get<std::string>()}].add(usage);
}

// What was counted while the clock was ahead belongs to the present: then nothing else can be said.
void takeBack(cLedger::tTable& table, const std::string& present) {
    const auto first = table.upper_bound({present + "~", ""});
    const cLedger::tTable ahead(first, table.end());
    table.erase(first, table.end());
    for (const auto& [key, usage] : ahead)
        table[{present, key.second}].add(usage);
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
        const std::string day = textOf(object, "day");
        const std::string month = textOf(object, "month");
        if (hasForm(day, DAY_FORM) && ledger.m_days.size() < 2 * DAYS_MAX)
            readLine(object, day, ledger.m_days);
        else if (hasForm(month, MONTH_FORM) && ledger.m_months.size() < 2 * MONTHS_MAX)
            readLine(object, month, ledger.m_months);
        else if (object.contains("generation")) {
            ledger.generation = numberOf(object, "generation");
            ledger.until = static_cast<time_t>(numberOf(object, "until"));
            ledger.isLost = numberOf(object, "lost") != 0;
        }
    }
    if (!isPlausibleTime(ledger.until)) ledger.until = 0;
    return ledger;
}

std::string cLedger::text() const {
    std::string text =
        tJson({{"generation", generation}, {"until", until}, {"lost", isLost ? 1 : 0}}).dump() +
        "\n";
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
    until = std::min(until, now);
    takeBack(m_days, utcDayText(now));
    takeBack(m_months, utcMonthText(now));
    trimTable(m_days, utcDayText(std::max<time_t>(0, now - DAYS_KEPT_S)), DAYS_MAX);
    trimTable(m_months, utcMonthText(std::max<time_t>(0, now - MONTHS_KEPT_S)), MONTHS_MAX);
}
