#ifndef FLEET_CAMPAIGN_H
#define FLEET_CAMPAIGN_H

#include <functional>
#include <map>

#include "fleet/answers.h"
#include "fleet/desk.h"
#include "fleet/waves.h"

// One command for many gateways: sends it in waves, waits for the answers, sends again after a line
// that broke. A gateway executes it once, whatever comes twice.
class cCampaign {
  public:
    struct sSetup {
        std::map<std::string, sCommand> commands;  // by gateway; without deadline
        std::vector<std::string> order;            // of the gateways
        size_t wave = 50;
        size_t stopOn = 0;
        time_t waitS = 600;  // for each wave, and the commands' deadline
    };
    using tPublish = std::function<int(const std::string& topic, const std::string& payload)>;
    using tAnswered = std::function<void(const sAnswer& answer)>;

    cCampaign(sSetup setup, tPublish publish, tAnswered answered);

    // What is due: the next wave, or giving up those that did not answer.
    void turn(time_t now);
    // A result from the broker.
    void take(const std::string& gateway, const std::string& payload);
    // The same while there is no connection: nothing can be sent, and at the end of the wave's time
    // the campaign ends.
    void turnWithoutLine(time_t now);
    // The connection is back: what was sent may not have arrived, nor its answer. Also after the
    // deadline: a gateway that has executed it says so.
    void lineIsBack(time_t now);

    // A cluster of brokers that changes its leader may lose a message. So each is asked again after
    // this time without an answer, then after twice as long, and so on.
    static constexpr time_t PATIENCE_S = 30;

    cWaves& waves() { return m_waves; }
    const cWaves& waves() const { return m_waves; }
    time_t deadline() const { return m_deadline; }

    // The gateway's clock may differ, and its answer takes its time.
    static constexpr time_t GRACE_S = 60;

  private:
    void send(const std::string& gateway);
    void sendAgain();
    void giveUp();

    sSetup m_setup;
    const tPublish m_publish;
    const tAnswered m_answered;
    cWaves m_waves;
    cAnswers m_answers;
    time_t m_deadline = 0;  // of the wave that is out
    time_t m_giveUp = 0;
    time_t m_pauseS = PATIENCE_S;
    time_t m_again = 0;  // when those without an answer are asked again
};

// The status of an answer that never came.
constexpr const char* NO_ANSWER = "no answer";

#endif
