#include "fleet/campaign.h"

#include <algorithm>

#include "cli/base/utc_time.h"

namespace {

// A new configuration file waits for the line once more.
time_t confirmTime(const std::map<std::string, sCommand>& commands) {
    if (commands.empty() || commands.begin()->second.name != COMMAND_CONFIG) return 0;
    return commands.begin()->second.confirmS.value_or(CONFIRM_DEFAULT_S);
}

}  // namespace

cCampaign::cCampaign(sSetup setup, tPublish publish, tAnswered answered)
    : m_setup(std::move(setup)),
      m_publish(std::move(publish)),
      m_answered(std::move(answered)),
      m_waves(m_setup.order, m_setup.wave, m_setup.stopOn) {}

void cCampaign::turn(time_t now) {
    if (!m_waves.out().empty() && now > m_giveUp) giveUp();
    if (!m_waves.out().empty() && now >= m_again && now < m_deadline) {
        sendAgain();
        m_pauseS *= 2;
        m_again = now + m_pauseS;
    }
    const std::vector<std::string> wave = m_waves.next();
    if (wave.empty()) return;
    m_pauseS = PATIENCE_S;
    m_again = now + m_pauseS;
    m_deadline = now + std::min(m_setup.waitS, DEADLINE_MAX_S - GRACE_S);
    m_giveUp = m_deadline + GRACE_S + 2 * confirmTime(m_setup.commands);
    for (const std::string& gateway : wave) {
        sCommand& command = m_setup.commands.at(gateway);
        command.deadline = m_deadline;
        m_answers.expect(gateway, command.id);
        send(gateway);
    }
}

void cCampaign::turnWithoutLine(time_t now) {
    if (m_giveUp == 0 || now <= m_giveUp) return;
    m_waves.stop();
    giveUp();
}

void cCampaign::lineIsBack(time_t now) {
    sendAgain();
    m_giveUp = std::max(m_giveUp, now + GRACE_S);
}

void cCampaign::send(const std::string& gateway) {
    m_publish(topicText({gateway, eTopic::COMMAND, 0}), commandText(m_setup.commands.at(gateway)));
}

void cCampaign::sendAgain() {
    for (const std::string& gateway : m_waves.out())
        send(gateway);
}

void cCampaign::giveUp() {
    const std::set<std::string> silent = m_waves.out();
    for (const std::string& gateway : silent) {
        sAnswer answer;
        answer.gateway = gateway;
        answer.status = eResult::EXPIRED;
        answer.text = std::string(NO_ANSWER) + " by " + utcText(m_giveUp);
        m_waves.finish(gateway, false);
        m_answered(answer);
    }
}

void cCampaign::take(const std::string& gateway, const std::string& payload) {
    const std::optional<sResult> result = parseResult(payload);
    if (!result) return;
    std::optional<sAnswer> answer = m_answers.take(gateway, *result);
    if (!answer) return;
    answer->isLate = m_waves.out().count(gateway) == 0;
    m_waves.finish(gateway, answer->isSuccess);
    m_answered(*answer);
}
