#include <map>

#include "le910sim/commands.h"
#include "le910sim/settings.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

using tKey = std::pair<std::string, eCommandForm>;

std::map<tKey, tHandler> collectRows() {
    std::map<tKey, tHandler> rows;
    for (const auto* table : {&basicCommands(), &identityCommands(), &simCardCommands(),
                              &simFileCommands(), &registrationCommands(), &radioCommands(),
                              &packetCommands(), &callCommands(), &smsCommands(), &gpsCommands()}) {
        for (const sCommandRow& row : *table)
            rows[{row.name, row.form}] = row.handler;
    }
    return rows;
}

sReply setSetting(sCall& call, const sSettingRow& row) {
    call.args().expectCount(row.required, row.fields.size());
    std::vector<int64_t>& values = call.state.settings[row.name];
    std::vector<int64_t> next = values;
    for (size_t i = 0; i < call.args().count(); ++i) {
        const sSettingField& field = row.fields[i];
        if (i < row.required) {
            next[i] = call.args().number(i, field.least, field.most);
        } else {
            next[i] = call.args().numberOr(i, next[i], field.least, field.most);
        }
    }
    values = next;
    return answerOk();
}

sReply readSetting(const sCall& call, const sSettingRow& row) {
    std::vector<std::string> texts;
    for (const int64_t value : call.state.settings.at(row.name)) {
        texts.push_back(std::to_string(value));
    }
    return answerOk({std::string(row.name) + ": " + joined(texts, ",")});
}

sReply testSetting(const sSettingRow& row) {
    std::vector<std::string> texts;
    for (const sSettingField& field : row.fields) {
        texts.push_back("(" + std::to_string(field.least) + "-" + std::to_string(field.most) + ")");
    }
    return answerOk({std::string(row.name) + ": " + joined(texts, ",")});
}

struct sObstacles {
    int noSim;
    int pin;
    int puk;
    int failure;
};

int obstacleOf(const sModemState& state, const sObstacles& numbers) {
    switch (state.simState()) {
        case eCARD_READY:
            return 0;
        case eCARD_MISSING:
            return numbers.noSim;
        case eCARD_PIN:
            return numbers.pin;
        case eCARD_PUK:
            return numbers.puk;
        case eCARD_BLOCKED:
            break;
    }
    return numbers.failure;
}

}  // namespace

sReply runCommand(sCall& call) {
    static const std::map<tKey, tHandler> ROWS = collectRows();
    const sCommand& command = call.command;
    const auto row = ROWS.find({command.name, command.form});
    if (row != ROWS.end()) return row->second(call);
    const sSettingRow* setting = findSetting(command.name);
    if (setting != nullptr) {
        if (command.form == eFORM_SET) return setSetting(call, *setting);
        if (command.form == eFORM_TEST) return testSetting(*setting);
        if (command.form == eFORM_READ && setting->readable) return readSetting(call, *setting);
    }
    throw cMalformed("unknown command");
}

std::string cmeText(int number) {
    static const std::map<int, std::string> TEXTS = {
        {0, "phone failure"},
        {3, "operation not allowed"},
        {4, "operation not supported"},
        {5, "PH-SIM PIN required"},
        {10, "SIM not inserted"},
        {11, "SIM PIN required"},
        {12, "SIM PUK required"},
        {13, "SIM failure"},
        {14, "SIM busy"},
        {15, "SIM wrong"},
        {16, "incorrect password"},
        {17, "SIM PIN2 required"},
        {18, "SIM PUK2 required"},
        {20, "memory full"},
        {21, "invalid index"},
        {22, "not found"},
        {23, "memory failure"},
        {30, "no network service"},
        {31, "network time-out"},
        {32, "network not allowed - emergency calls only"},
        {50, "incorrect parameters"},
        {100, "unknown"},
        {107, "GPRS service not allowed"},
        {111, "PLMN not allowed"},
        {112, "Location area not allowed"},
        {113, "Roaming not allowed in this location area"},
        {132, "service option not supported"},
        {133, "requested service option not subscribed"},
        {134, "service option temporarily out of order"},
        {148, "unspecified GPRS error"},
        {149, "PDP authentication failure"},
        {150, "invalid mobile class"},
        {555, "activation failed"},
        {556, "context not opened"},
    };
    const auto found = TEXTS.find(number);
    return found == TEXTS.end() ? "error " + std::to_string(number) : found->second;
}

int simObstacle(const sModemState& state) {
    return obstacleOf(state, {eCME_NO_SIM, eCME_PIN_REQUIRED, eCME_PUK_REQUIRED, eCME_SIM_FAILURE});
}

int simObstacleSms(const sModemState& state) {
    return obstacleOf(state, {eCMS_NO_SIM, eCMS_PIN_REQUIRED, eCMS_PUK_REQUIRED, eCMS_SIM_FAILURE});
}

}  // namespace le910sim
