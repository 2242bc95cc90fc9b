#ifndef FLEET_ANSWERS_H
#define FLEET_ANSWERS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mqtt/command.h"

// What a gateway finally answered.
struct sAnswer {
    std::string gateway;
    eResult status = eResult::FAILED;
    std::string text;  // a sentence, printable
    std::optional<int> exit;
    std::string output;  // bytes as they were sent
    bool isSuccess = false;
    bool isLate = false;  // it had been given up before, which counts
};

// Finds the answers to our commands among all results, and puts those in parts together.
class cAnswers {
  public:
    void expect(const std::string& gateway, const std::string& commandId);
    // An answer that is now complete. Results of others, of another gateway than the one that was
    // asked, of steps on the way, and those that come again give nothing.
    std::optional<sAnswer> take(const std::string& gateway, const sResult& result);

    static constexpr int PARTS_MAX = 20;

  private:
    struct sExpected {
        std::string gateway;
        eResult status = eResult::DONE;  // of the parts
        std::map<int, std::string> parts;
    };
    std::map<std::string, sExpected> m_expected;  // by the command's id
};

#endif
