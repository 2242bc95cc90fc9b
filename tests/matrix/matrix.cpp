#include "tests/matrix/matrix.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <tuple>

#include "platform/include/text_helpers.h"
#include "tests/matrix/waits.h"

namespace {

constexpr uint64_t LASTING_MS = 45000;
constexpr uint64_t WHOLE_DAY_MS = 24 * 3600 * 1000;
constexpr uint64_t SLOW_MODEM_MS = 30;
constexpr int MIXTURES = 60;
constexpr int OCCURRENCES = 3;

// After a failed start of the session the daemon waits 30 s; then come a bring-up, a pass, and
// again the time that a message at its prompt may take.
constexpr uint64_t RECOVERY_MAX_MS = 30000 + 61000 + 30000;

struct sTarget {
    eModemPort port;
    std::string command;
    int occurrence;
    size_t pass;
    bool ending;
};

using tPass = std::vector<std::pair<eModemPort, std::string>>;

std::shared_ptr<const std::vector<std::string>> bodiesOf(const std::vector<sSent>& sent,
                                                         const sTarget& target) {
    std::set<std::string> bodies;
    for (const sSent& one : sent)
        if (one.port == target.port && commandClass(one.command) != target.command)
            bodies.insert(one.body);
    return std::make_shared<const std::vector<std::string>>(bodies.begin(), bodies.end());
}

// A pass begins with AT to an open port.
bool beginsPass(const sSent& one) {
    return one.port == eAT_PORT && one.command == "AT";
}

// Every command of every pass with a new list of commands: a day has many equal passes.
std::vector<sTarget> targetsOf(const std::vector<sSent>& sent) {
    std::vector<sTarget> targets;
    std::map<std::pair<eModemPort, std::string>, int> occurrences;
    std::set<tPass> seen;
    size_t pass = 0;
    for (size_t begin = 0; begin < sent.size();) {
        size_t end = begin + 1;
        while (end < sent.size() && !beginsPass(sent[end]))
            ++end;
        tPass commands;
        std::vector<sTarget> ofPass;
        for (size_t i = begin; i < end; ++i) {
            const std::string command = commandClass(sent[i].command);
            commands.emplace_back(sent[i].port, command);
            const int occurrence = occurrences[commands.back()]++;
            ofPass.push_back({sent[i].port, command, occurrence, pass, sent[i].ending});
        }
        if (seen.insert(commands).second) {
            targets.insert(targets.end(), ofPass.begin(), ofPass.end());
            ++pass;
        }
        begin = end;
    }
    return targets;
}

std::string nameOf(const sTarget& target) {
    return (target.ending ? "end" : "pass") + itos(static_cast<int>(target.pass)) + ":" +
           (target.port == eGPS_PORT ? "gps:" : "") + printable(target.command, 60) + "#" +
           itos(target.occurrence);
}

uint64_t mixed(uint64_t seed, const std::string& name) {
    std::seed_seq sequence(name.begin(), name.end());
    std::mt19937_64 random(sequence);
    return random() ^ (seed * 0x9E3779B97F4A7C15U);
}

sCell cellOf(const sTarget& target, const sFaultRow& row, bool lasting, uint64_t seed) {
    sCell cell;
    cell.name = nameOf(target) + "/" + row.name + (lasting ? "/45s" : "/once");
    cell.faulty = true;
    cell.whileEnding = target.ending;
    cell.plan.port = target.port;
    cell.plan.command = target.command;
    cell.plan.occurrence = target.occurrence;
    cell.plan.lastsMs = lasting ? LASTING_MS : 0;
    cell.plan.fault = row.fault;
    cell.plan.seed = mixed(seed, cell.name);
    return cell;
}

sCell mixtureOf(int number, uint64_t seed) {
    sCell cell;
    cell.name = "any command/mixed/" + itos(number);
    cell.faulty = true;
    cell.plan.seed = mixed(seed, cell.name);
    cell.plan.fromMs = cell.plan.seed % 30000;
    cell.plan.lastsMs = LASTING_MS;
    cell.plan.oneIn = 3 + cell.plan.seed % 10;
    cell.plan.fault = eMIXED;
    cell.latencyMs = number % 2 == 0 ? 0 : SLOW_MODEM_MS;
    return cell;
}

}  // namespace

std::vector<sCell> usualCells(const sOutcome& healthy, uint64_t seed) {
    std::vector<sCell> cells;
    for (const sTarget& target : targetsOf(healthy.sent)) {
        const auto others = bodiesOf(healthy.sent, target);
        for (const sFaultRow& row : faultTable())
            for (const bool lasting : {false, true}) {
                if (row.fault == eMIXED || (lasting && row.fault == eHANGUP_LONG)) continue;
                cells.push_back(cellOf(target, row, lasting, seed));
                cells.back().plan.others = others;
                // The day of a slow modem has fewer commands.
                if (row.fault != eLATE || target.ending) continue;
                cells.push_back(cells.back());
                cells.back().name += "/slow";
                cells.back().latencyMs = SLOW_MODEM_MS;
            }
    }
    for (int i = 0; i < MIXTURES; ++i)
        cells.push_back(mixtureOf(i, seed));
    for (sCell& cell : cells) {
        cell.descriptors = healthy.descriptors;
        cell.boundMs = RECOVERY_MAX_MS;
    }
    return cells;
}

std::vector<sCell> gpsCells(const sOutcome& healthy, uint64_t seed) {
    std::vector<sCell> cells;
    for (sCell& cell : usualCells(healthy, seed)) {
        if (cell.plan.port != eGPS_PORT) continue;
        cell.day = eDAY_GPS_OFF;
        cell.name = "gps-off:" + cell.name;
        cells.push_back(cell);
    }
    return cells;
}

std::vector<sCell> pinCells(eDay day, const sOutcome& healthy, uint64_t seed) {
    static const std::map<eDay, std::string> NAMES = {{eDAY_PIN, "pin"},
                                                      {eDAY_WRONG_PIN, "wrong-pin"},
                                                      {eDAY_WRONG_OLD_PIN, "wrong-old-pin"},
                                                      {eDAY_WRONG_PIN_OFF, "wrong-pin-off"},
                                                      {eDAY_WRONG_PUK, "wrong-puk"}};
    std::vector<sCell> cells = usualCells(healthy, seed);
    // Repeated polls show nothing new about a PIN.
    cells.erase(std::remove_if(cells.begin(), cells.end(),
                               [](const sCell& cell) {
                                   return cell.whileEnding || cell.plan.occurrence > OCCURRENCES;
                               }),
                cells.end());
    size_t number = 0;
    for (sCell& cell : cells) {
        // The trouble that accompanies a fault changes from cell to cell; "all" is the most
        // frequent.
        static const eTrouble TROUBLES[] = {eALL_TROUBLE, ePOWER_CYCLE, eALL_TROUBLE, eCARD_OUT,
                                            eALL_TROUBLE, ePORT_LOST,   eALL_TROUBLE, eRESTART};
        cell.day = day;
        cell.trouble = TROUBLES[number++ % std::size(TROUBLES)];
        cell.name = NAMES.at(day) + ":" + cell.name;
        cell.boundMs = 0;
        cell.descriptors = 0;
    }
    return cells;
}

std::vector<sCell> interjectionCells(eDay day, const sOutcome& healthy, uint64_t seed) {
    static const std::map<eDay, std::string> NAMES = {
        {eDAY_USUAL, ""}, {eDAY_GPS_OFF, "gps-off:"}, {eDAY_PIN, "pin:"}};
    sCell cell;
    cell.day = day;
    cell.healthy = std::make_shared<const sOutcome>(healthy);
    cell.descriptors = healthy.descriptors;
    cell.plan.fault = eINTERJECTION;
    std::vector<sCell> cells;
    for (const sInterjectionRow& row : interjectionTable()) {
        cell.plan.place = row.place;
        for (const sTarget& target : targetsOf(healthy.sent)) {
            // What the other days share with the usual one is tested there.
            if (day == eDAY_GPS_OFF && target.port != eGPS_PORT) continue;
            if (day == eDAY_PIN && target.occurrence != 0) continue;
            const std::vector<std::string> lines = interjectionsFor(row.place, target.command);
            cell.plan.port = target.port;
            cell.plan.command = target.command;
            cell.plan.occurrence = target.occurrence;
            for (const bool lasting : {false, true}) {
                if (lasting && target.occurrence != 0) continue;
                cell.plan.lastsMs = lasting ? LASTING_MS : 0;
                cell.name = NAMES.at(day) + nameOf(target) + "/unsolicited-" + row.name +
                            (lasting ? "/45s" : "/once");
                cell.plan.line = lines[mixed(seed, cell.name) % lines.size()];
                cells.push_back(cell);
            }
        }
        // Every command of the day, with each line in turn.
        cell.plan.command.clear();
        cell.plan.occurrence = 0;
        cell.plan.lastsMs = WHOLE_DAY_MS;
        cell.plan.line.clear();
        cell.name = NAMES.at(day) + "every command/unsolicited-" + row.name;
        cells.push_back(cell);
    }
    return cells;
}
