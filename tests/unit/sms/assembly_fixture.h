#ifndef TESTS_UNIT_SMS_ASSEMBLY_FIXTURE_H
#define TESTS_UNIT_SMS_ASSEMBLY_FIXTURE_H

#include <string>
#include <vector>

#include "include/utilities.h"
#include "sms/assembly.h"
#include "tests/unit/sms/fixture.h"

// Part files in a spool, and what a check joins of them.
class SmsAssembly : public cSmsFixture {
  protected:
    std::vector<S_smsRecordRx> join() {
        tSmsQueue queue;
        checkSmsParts(queue, root);
        return recordsOf(queue);
    }
    // Names as the system lists them, which is the order the daemon meets them in.
    tNames listed() const {
        tNames found;
        readFilesInDir(in("recv_parts"), found);
        return found;
    }
    // Puts parts so that they are listed in the order of numbers, whatever that order is here.
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
    // The part numbers of the file "f" texts joined, "<1><2>...".
    static std::string sequence(int total) {
        std::string text;
        for (int i = 1; i <= total; ++i)
            text += "<" + std::to_string(i) + ">";
        return text;
    }
    // How many files a check looked at, one that is looked at twice counted twice, and how often it
    // tried to put a message together.
    struct sEffort {
        size_t looks = 0;
        size_t assemblies = 0;
    };
    sEffort effortOfCheck() {
        clearCapturedLog();
        g_i_debugMode = eLOG_SMS;
        testing::internal::CaptureStdout();  // which shows the log, too
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
