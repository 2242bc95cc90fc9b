#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/include/key_value_store.h"
#include "platform/store/skvs_command.h"
#include "tests/support/temp_folder.h"

namespace {

struct sOutcome {
    int status;
    std::string out;
    std::string err;
};

class Skvs : public testing::Test {
  protected:
    void SetUp() override { setKeyValueStorePath(m_folder / "store"); }
    void TearDown() override { setKeyValueStorePath("/nonexistent"); }

    static sOutcome run(const std::vector<std::string>& arguments) {
        std::vector<const char*> argv{"skvs"};
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = runSkvsCommand(static_cast<int>(arguments.size()) + 1, argv.data());
        return {status, testing::internal::GetCapturedStdout(),
                testing::internal::GetCapturedStderr()};
    }

    static void expect(const std::vector<std::string>& arguments, int status,
                       const std::string& out, const std::string& err) {
        const sOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(outcome.out, out);
        EXPECT_EQ(outcome.err, err);
    }

    const cTempFolder m_folder;
};

}  // namespace

TEST_F(Skvs, SetThenGet_PrintsTheValue) {
    expect({"set", "KEY", "a value"}, 0, "", "");
    expect({"get", "KEY"}, 0, "a value\n", "");
    expect({"set", "KEY", ""}, 0, "", "");
    expect({"get", "KEY"}, 0, "\n", "");
    expect({"set", "--", "-1"}, 0, "", "");
    expect({"get", "--"}, 0, "-1\n", "");
}

TEST_F(Skvs, LongestValue_IsPrintedWhole) {
    const std::string value(4096, 'v');
    expect({"set", "KEY", value}, 0, "", "");
    expect({"get", "KEY"}, 0, value + "\n", "");
}

TEST_F(Skvs, GetOfAMissingKey_IsOne) {
    expect({"get", "KEY"}, 1, "", "skvs: no key 'KEY'\n");  // no store at all
    skvs_set("KEY2", "value");
    expect({"get", "KEY"}, 1, "", "skvs: no key 'KEY'\n");
    expect({"get", ""}, 1, "", "skvs: no key ''\n");
}

TEST_F(Skvs, List_PrintsLines) {
    expect({"list"}, 0, "", "");
    skvs_set("B", "2");
    skvs_set("A1", "x=y");
    skvs_set("A2", "");
    expect({"list"}, 0, "A1=x=y\nA2=\nB=2\n", "");
    expect({"list", "A"}, 0, "A1=x=y\nA2=\n", "");
    expect({"list", "C"}, 0, "", "");
}

TEST_F(Skvs, WrongUsage_IsTwoWithTheUsageAsError) {
    const std::string usage = run({"--help"}).out;
    EXPECT_EQ(usage.find("Usage: skvs get KEY"), 0u);
    expect({"--help"}, 0, usage, "");
    expect({"-h"}, 0, usage, "");
    const std::vector<std::string> wrong[] = {
        {},           {"get"},      {"get", "A", "B"},  {"set"},
        {"set", "A"}, {"delete"},   {"list", "A", "B"}, {"set", "A", "B", "C"},
        {""},         {"GET", "A"},
    };
    for (const auto& arguments : wrong) {
        expect(arguments, 2, "", usage);
    }
}

TEST_F(Skvs, Program_EndsWithTheCommandsStatus) {
    const auto statusOf = [](const std::string& arguments) {
        const int status = system((std::string(SKVS) + arguments + " >/dev/null 2>&1").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(statusOf(" --help"), 0);
    EXPECT_EQ(statusOf(" get"), 2);
    EXPECT_EQ(statusOf(" set " + std::string(501, 'k') + " 1"), 2);
}

TEST_F(Skvs, RefusedKeyOrValue_IsTwo) {
    const std::string longKey(501, 'k');
    expect({"set", longKey, "1"}, 2, "",
           "skvs: cannot store key '" + longKey + "': Invalid argument\n");
    expect({"set", "", "1"}, 2, "", "skvs: cannot store key '': Invalid argument\n");
    EXPECT_EQ(run({"set", "KEY", std::string(4097, 'v')}).status, 2);
    expect({"get", longKey}, 1, "", "skvs: no key '" + longKey + "'\n");
}

TEST_F(Skvs, StoreThatCannotBeUsed_IsTwoWithItsCause) {
    writeFile(m_folder / "store", "a file");
    expect({"get", "KEY"}, 2, "", "skvs: cannot read the store: Not a directory\n");
    expect({"list"}, 2, "", "skvs: cannot read the store: Not a directory\n");
    expect({"set", "KEY", "1"}, 2, "", "skvs: cannot store key 'KEY': Not a directory\n");
}

TEST_F(Skvs, DamagedStore_IsTwoForReadersUntilItIsWritten) {
    skvs_set("KEY", "value");
    setKeyValueStorePath("/nonexistent");
    writeFile(m_folder / "store/data.mdb", std::string(20'000, '\xA5'));
    setKeyValueStorePath(m_folder / "store");
    expect({"get", "KEY"}, 2, "", "skvs: cannot read the store\n");
    expect({"set", "KEY", "new"}, 0, "", "");
    expect({"get", "KEY"}, 0, "new\n", "");
}
