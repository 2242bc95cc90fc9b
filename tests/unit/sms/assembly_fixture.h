#ifndef TESTS_UNIT_SMS_ASSEMBLY_FIXTURE_H
#define TESTS_UNIT_SMS_ASSEMBLY_FIXTURE_H

#include <string>
#include <vector>

#include "include/utilities.h"
#include "sms/assembly.h"
#include "tests/unit/sms/fixture.h"

// Part files in a spool, and the messages that a check joins.
class SmsAssembly : public cSmsFixture {
  protected:
    std::vector<S_smsRecordRx> join() {
        tSmsQueue queue;
        checkSmsParts(queue, root);
        return recordsOf(queue);
    }
    // Names in the order of the system, in which the daemon reads them.
    tNames listed() const {
        tNames found;
        readFilesInDir(in("recv_parts"), found);
        return found;
    }
    // Writes part files so that the system lists them in the order of numbers.
    tNames putInListingOrder(const std::vector<int>& numbers, int id, int total,
                             const std::string& from) {
        for (size_t i = 0; i < numbers.size(); ++i)
            writeFile(in("recv_parts", "f" + std::to_string(i)), "");
        const tNames order = listed();
        for (size_t i = 0; i < numbers.size(); ++i)
            putPart(order[i], id, numbers[i], total, from, "<" + std::to_string(numbers[i]) + ">",
                    std::to_string(numbers[i]));
        return order;
    }
    // The joined text of all parts: "<1><2>...".
    static std::string sequence(int total) {
        std::string text;
        for (int i = 1; i <= total; ++i)
            text += "<" + std::to_string(i) + ">";
        return text;
    }
    // How often a check looked at a file, and how often it tried to join a message.
    struct sEffort {
        size_t looks = 0;
        size_t assemblies = 0;
    };
    sEffort effortOfCheck() {
        clearCapturedLog();
        g_i_debugMode = eLOG_SMS;
        testing::internal::CaptureStdout();  // the log is also printed there
        join();
        testing::internal::GetCapturedStdout();
        g_i_debugMode = 0;
        sEffort effort;
        for (const std::string& line : capturedLog()) {
            effort.looks += line.find("Checking file") != std::string::npos ? 1 : 0;
            effort.assemblies += line.find("- Have ") != std::string::npos ? 1 : 0;
        }
        return effort;
    }
};

const char* const MISSING =
    "Error: checkSmsParts(): Missing message ID pieces.  Cannot Assemble message.";

#endif
