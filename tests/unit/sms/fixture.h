#ifndef TESTS_UNIT_SMS_FIXTURE_H
#define TESTS_UNIT_SMS_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "atcmd/catalogue.h"
#include "sms/message_file.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

struct sDeviceInfo;

using tNames = std::vector<std::string>;

// A spool in a temporary folder, on a gateway that has just started. The wall clock starts at
// 2020-06-15 20:32:05 UTC and advances with the sleeps of the daemon, with or without a fake port.
class cSmsFixture : public ::testing::Test {
  public:
    cSmsFixture();
    ~cSmsFixture() override;

    static constexpr time_t START_S = 1592253125;
    static constexpr const char* START_TEXT = "20200615-203205";

    std::string in(const std::string& dir, const std::string& name = "") const {
        return root + "/" + dir + "/" + name;
    }
    // The names in a folder of the spool, sorted; "" for the root.
    std::vector<std::string> names(const std::string& dir) const;
    // The contents of its files, sorted.
    std::vector<std::string> contents(const std::string& dir) const;

    // A part file as another program would put it there.
    std::string putPart(const std::string& name, int id, int number, int total,
                        const std::string& from, const std::string& text,
                        const std::string& timeUf = "1592253125") const;
    void putSend(const std::string& name, const std::string& text) const;

    cLogMode log;
    cTempFolder folder;
    const std::string root = folder / "sms";

  private:
    // Behind a pointer: a change of the records concerns only tests that look into them.
    const std::unique_ptr<sDeviceInfo> m_device;

  public:
    sDeviceInfo& device;

  private:
    std::string m_savedRoot;
};

// Seconds since the epoch for a file's time of change.
void setFileTime(const std::string& path, time_t seconds);

S_smsRecordRx singleRecord(const std::string& from, const std::string& text);
S_smsRecordRx partRecord(const std::string& from, int id, int number, int total,
                         const std::string& text);
tSmsQueue queueOf(const std::vector<S_smsRecordRx>& records);
std::vector<S_smsRecordRx> recordsOf(tSmsQueue queue);

// A DELIVER PDU; total 0 for a message of one part. clock: the service centre's time.
std::string deliverPdu(const std::string& from, const std::string& text, int reference = 0,
                       int part = 0, int total = 0,
                       const std::string& clock = "20/06/15,20:32:05+00");
// The answer to a listing; the indexes of the messages start at 1.
std::string listing(const std::vector<std::string>& pdus);

// Runs work in a process that is killed just before its system call number calls. False if work
// ended before.
bool killedAtCall(int calls, const std::function<void()>& work);

// No file can get any content, as on a full file system.
class cNoSpace {
  public:
    cNoSpace();
    ~cNoSpace();
    cNoSpace(const cNoSpace&) = delete;
    cNoSpace& operator=(const cNoSpace&) = delete;

  private:
    rlimit m_saved{};
};

#endif
