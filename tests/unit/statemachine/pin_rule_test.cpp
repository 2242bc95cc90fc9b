#include "statemachine/pin_rule.h"

#include <gtest/gtest.h>

#include <vector>

#include "include/modem_types.h"
#include "tests/support/shown_case.h"

namespace {

const sFileStamp NONE;
const sFileStamp FILE_A = {131, 5, 1790000000, 123456789};
const sFileStamp FILE_B = {131, 5, 1790000000, 123456790};

sPinRecord recordOf(ePinState state, int attempts = 3, int sendings = 0, bool opens = false) {
    return {FILE_A, state, attempts, sendings, opens};
}

// Every possible situation, as far as values make a difference.
std::vector<sPinSituation> allSituations() {
    std::vector<sPinSituation> all;
    std::vector<sPinRecord> records = {{}};
    for (const int before : {ATTEMPTS_NOT_READ, 1, 2, 3, 10}) {
        for (const bool opens : {false, true})
            for (const int sendings : {1, 2, 3})
                records.push_back(recordOf(ePinState::SENT, before, sendings, opens));
        records.push_back(recordOf(ePinState::GOOD, before));
        records.push_back(recordOf(ePinState::FAILED, before, 1, true));
    }
    for (const sPinRecord& record : records)
        for (const sFileStamp& file : {NONE, FILE_A, FILE_B})
            for (const bool old : {false, true})
                for (const int lock : {0, 2, 3, 5, 255})
                    for (const int attempts : {ATTEMPTS_NOT_READ, 0, 1, 2, 3, 9, 10})
                        for (const int outages : {-1, 0, 1, 2, 100})
                            all.push_back({record, file, old, lock, attempts, outages});
    return all;
}

bool isSent(const sPinSituation& situation) {
    return decidePin(situation) == ePinDecision::SEND;
}

bool isSameFile(const sPinSituation& situation) {
    return situation.record.state != ePinState::NEW && situation.record.file == situation.file;
}

bool isLower(const sPinSituation& situation) {
    return situation.attempts != ATTEMPTS_NOT_READ &&
           situation.attempts < situation.record.attempts;
}

// The rule in the operator's words: every sentence holds, and the PIN is never sent unless a
// sentence allows it.
bool mayBeSent(const sPinSituation& s) {
    const bool isAsked = s.lockClass == eSIM_PIN_REQUIRED && s.file.exists();
    const bool isAfterAnOutage = s.outages >= 1;
    const bool isNotLower = s.attempts == ATTEMPTS_NOT_READ || s.attempts >= s.record.attempts;
    const bool isRewritten = s.record.state != ePinState::NEW && s.record.file != s.file;
    const bool isUnknown = s.record.state == ePinState::NEW &&
                           !(s.isOlderThanHost && (s.attempts == 0 || s.attempts == 1));
    const bool isGood = isSameFile(s) && s.record.state == ePinState::GOOD;
    const bool isSentOnce =
        isSameFile(s) && s.record.state == ePinState::SENT && s.record.sendings == 1;
    return isAsked &&
           (isRewritten || isUnknown || ((isGood || isSentOnce) && isAfterAnOutage && isNotLower));
}

}  // namespace

TEST(PinRule, EverySituation_FollowsTheRule) {
    size_t sent = 0;
    const std::vector<sPinSituation> all = allSituations();
    for (const sPinSituation& situation : all) {
        ASSERT_EQ(isSent(situation), mayBeSent(situation))
            << pinRecordText(situation.record) << " file " << situation.file.modifiedNs << " old "
            << situation.isOlderThanHost << " lock " << situation.lockClass << " attempts "
            << situation.attempts << " outages " << situation.outages;
        if (isSent(situation)) ++sent;
    }
    EXPECT_EQ(all.size(), 41u * 3 * 2 * 5 * 7 * 5);
    EXPECT_GT(sent, 1000u);
}

TEST(PinRule, EverySituation_KeepsTheInvariants) {
    for (const sPinSituation& situation : allSituations()) {
        if (situation.lockClass != eSIM_PIN_REQUIRED || !situation.file.exists()) {
            ASSERT_FALSE(isSent(situation));
        }
        if (!isSameFile(situation)) continue;
        if (situation.record.state == ePinState::FAILED || situation.record.sendings > 1 ||
            isLower(situation) || situation.outages < 1) {
            ASSERT_FALSE(isSent(situation)) << pinRecordText(situation.record);
        }
    }
}

struct sDecisionCase {
    const char* name;
    sPinRecord record;
    sFileStamp file;
    bool isOld;
    int lockClass;
    int attempts;
    int outages;
    ePinDecision decision;
};

SHOW_CASE(sDecisionCase, row.name)

class PinDecision : public ::testing::TestWithParam<sDecisionCase> {};

TEST_P(PinDecision, IsGivenWithItsReason) {
    const sDecisionCase& test = GetParam();
    EXPECT_EQ(decidePin({test.record, test.file, test.isOld, test.lockClass, test.attempts,
                         test.outages}),
              test.decision);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Each, PinDecision,
    ::testing::Values(
        sDecisionCase{"Ready",            recordOf(ePinState::GOOD),             FILE_A, false, 0,   3,  1, ePinDecision::NOT_ASKED},
        sDecisionCase{"Missing",          recordOf(ePinState::GOOD),             FILE_A, false, 2,   3,  1, ePinDecision::NOT_ASKED},
        sDecisionCase{"PukLocked",        recordOf(ePinState::GOOD),             FILE_A, false, 5,   3,  1, ePinDecision::NOT_ASKED},
        sDecisionCase{"Unknown",          recordOf(ePinState::GOOD),             FILE_A, false, 255, 3,  1, ePinDecision::NOT_ASKED},
        sDecisionCase{"NoFile",           recordOf(ePinState::GOOD),             NONE,   false, 3,   3,  1, ePinDecision::NO_FILE},
        sDecisionCase{"NoFileNoRecord",   {},                                    NONE,   false, 3,   3,  1, ePinDecision::NO_FILE},
        sDecisionCase{"NewFile",          {},                                    FILE_A, false, 3,   3,  0, ePinDecision::SEND},
        sDecisionCase{"NewFileLast",      {},                                    FILE_A, false, 3,   1,  0, ePinDecision::SEND},
        sDecisionCase{"OldFile",          {},                                    FILE_A, true,  3,   2,  0, ePinDecision::SEND},
        sDecisionCase{"OldFileUnread",    {},                                    FILE_A, true,  3,   -1, 0, ePinDecision::SEND},
        sDecisionCase{"OldFileLast",      {},                                    FILE_A, true,  3,   1,  5, ePinDecision::LAST_ATTEMPT},
        sDecisionCase{"RewrittenGood",    recordOf(ePinState::GOOD),             FILE_B, true,  3,   1,  0, ePinDecision::SEND},
        sDecisionCase{"RewrittenFailed",  recordOf(ePinState::FAILED, 3, 1),     FILE_B, true,  3,   1,  0, ePinDecision::SEND},
        sDecisionCase{"Failed",           recordOf(ePinState::FAILED, 3, 1),     FILE_A, false, 3,   3,  9, ePinDecision::FAILED},
        sDecisionCase{"SentNoOutage",     recordOf(ePinState::SENT, 3, 1, true), FILE_A, false, 3,   3,  0, ePinDecision::USED},
        sDecisionCase{"SentOwnClose",     recordOf(ePinState::SENT, 3, 1, true), FILE_A, false, 3,   3, -1, ePinDecision::USED},
        sDecisionCase{"SentOutage",       recordOf(ePinState::SENT, 3, 1, true), FILE_A, false, 3,   3,  1, ePinDecision::SEND},
        sDecisionCase{"SentLower",        recordOf(ePinState::SENT, 3, 1, true), FILE_A, false, 3,   2,  1, ePinDecision::ATTEMPT_LOST},
        sDecisionCase{"SentTwoLeft",      recordOf(ePinState::SENT, 2, 1, true), FILE_A, false, 3,   2,  1, ePinDecision::SEND},
        sDecisionCase{"SentNotRead",      recordOf(ePinState::SENT, 3, 1, true), FILE_A, false, 3,   -1, 1, ePinDecision::SEND},
        sDecisionCase{"SentNeverRead",    recordOf(ePinState::SENT, -1, 1, true),FILE_A, false, 3,   1,  1, ePinDecision::SEND},
        sDecisionCase{"SentTwice",        recordOf(ePinState::SENT, 3, 2, true), FILE_A, false, 3,   3,  9, ePinDecision::FAILED},
        sDecisionCase{"GoodNoOutage",     recordOf(ePinState::GOOD),             FILE_A, false, 3,   3,  0, ePinDecision::USED},
        sDecisionCase{"GoodOutage",       recordOf(ePinState::GOOD),             FILE_A, false, 3,   3,  1, ePinDecision::SEND},
        sDecisionCase{"GoodOutages",      recordOf(ePinState::GOOD),             FILE_A, false, 3,   3,  7, ePinDecision::SEND},
        sDecisionCase{"GoodLower",        recordOf(ePinState::GOOD),             FILE_A, false, 3,   2,  1, ePinDecision::ATTEMPT_LOST},
        sDecisionCase{"GoodHigher",       recordOf(ePinState::GOOD, 2),          FILE_A, false, 3,   3,  1, ePinDecision::SEND},
        sDecisionCase{"GoodTen",          recordOf(ePinState::GOOD, 10),         FILE_A, false, 3,   10, 1, ePinDecision::SEND},
        sDecisionCase{"GoodNeverRead",    recordOf(ePinState::GOOD, -1),         FILE_A, false, 3,   -1, 1, ePinDecision::SEND}),
    [](const auto& test) { return test.param.name; });
// clang-format on

// ---- how events change the record ----

TEST(PinRule, Sending_IsCountedAndKeepsTheAttemptsFromBefore) {
    const sPinRecord first = pinSent({}, FILE_A, 2, true);
    EXPECT_EQ(first, recordOf(ePinState::SENT, 2, 1, true));
    EXPECT_EQ(pinSent(first, FILE_A, 2, true), recordOf(ePinState::SENT, 2, 2, true));
    EXPECT_EQ(pinSent(first, FILE_A, ATTEMPTS_NOT_READ, true),
              recordOf(ePinState::SENT, 2, 2, true));
    EXPECT_EQ(pinSent(recordOf(ePinState::GOOD, 3), FILE_A, 3, true),
              recordOf(ePinState::SENT, 3, 1, true));
    EXPECT_EQ(pinSent(recordOf(ePinState::GOOD, 3), FILE_A, ATTEMPTS_NOT_READ, true),
              recordOf(ePinState::SENT, 3, 1, true));
    EXPECT_EQ(pinSent({}, FILE_A, ATTEMPTS_NOT_READ, false),
              recordOf(ePinState::SENT, ATTEMPTS_NOT_READ, 1, false));
}

TEST(PinRule, SendingOfAnotherWriting_StartsANewRecord) {
    for (const ePinState state : {ePinState::SENT, ePinState::GOOD, ePinState::FAILED}) {
        const sPinRecord sent = pinSent(recordOf(state, 3, 2), FILE_B, ATTEMPTS_NOT_READ, true);
        EXPECT_EQ(sent, (sPinRecord{FILE_B, ePinState::SENT, ATTEMPTS_NOT_READ, 1, true}));
    }
}

TEST(PinRule, RequestWithAPinThatFailed_LeavesItFailedUntilItIsAccepted) {
    const sPinRecord failed = recordOf(ePinState::FAILED, 3, 1);
    const sPinRecord sent = pinSent(failed, FILE_A, 3, false);
    EXPECT_EQ(sent, failed);
    EXPECT_EQ(pinAnswered(sent, failed, ePORT_NO_FINAL_RESULT), failed);
    EXPECT_EQ(pinAnswered(sent, failed, ePORT_OK).state, ePinState::GOOD);
}

struct sAnswerCase {
    int result;
    bool opens;
    ePinState before;
    ePinState after;
};

SHOW_CASE(sAnswerCase, "result " << row.result << " in state " << static_cast<int>(row.before))

class PinAnswer : public ::testing::TestWithParam<sAnswerCase> {};

TEST_P(PinAnswer, LeavesItsState) {
    const sAnswerCase& test = GetParam();
    const sPinRecord before =
        test.before == ePinState::NEW ? sPinRecord{} : recordOf(test.before, 3);
    const sPinRecord sent = pinSent(before, FILE_A, 3, test.opens);
    const sPinRecord after = pinAnswered(sent, before, static_cast<ePortReturn>(test.result));
    EXPECT_EQ(after.state, test.after);
    EXPECT_EQ(after.file, FILE_A);
    EXPECT_EQ(after.attempts, 3);
    EXPECT_EQ(after.sendings, test.after == ePinState::GOOD ? 0 : 1);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Each, PinAnswer,
    ::testing::Values(
        sAnswerCase{ePORT_OK,              true,  ePinState::NEW,  ePinState::GOOD},
        sAnswerCase{ePORT_NO_FINAL_RESULT, true,  ePinState::NEW,  ePinState::SENT},
        sAnswerCase{ePORT_ERROR,           true,  ePinState::NEW,  ePinState::FAILED},
        sAnswerCase{ePORT_CMX_ERROR,       true,  ePinState::NEW,  ePinState::FAILED},
        sAnswerCase{ePORT_CONNECT,         true,  ePinState::NEW,  ePinState::FAILED},
        sAnswerCase{12,                    true,  ePinState::NEW,  ePinState::FAILED},
        sAnswerCase{14,                    true,  ePinState::NEW,  ePinState::FAILED},
        sAnswerCase{16,                    true,  ePinState::NEW,  ePinState::FAILED},
        sAnswerCase{14,                    true,  ePinState::GOOD, ePinState::FAILED},
        sAnswerCase{ePORT_NO_FINAL_RESULT, true,  ePinState::GOOD, ePinState::SENT},
        sAnswerCase{ePORT_OK,              false, ePinState::NEW,  ePinState::GOOD},
        sAnswerCase{ePORT_NO_FINAL_RESULT, false, ePinState::GOOD, ePinState::SENT},
        sAnswerCase{ePORT_ERROR,           false, ePinState::NEW,  ePinState::SENT},
        sAnswerCase{ePORT_ERROR,           false, ePinState::GOOD, ePinState::GOOD},
        sAnswerCase{14,                    false, ePinState::GOOD, ePinState::GOOD},
        sAnswerCase{16,                    false, ePinState::GOOD, ePinState::FAILED},
        sAnswerCase{12,                    false, ePinState::GOOD, ePinState::FAILED}));
// clang-format on

TEST(PinRule, ReadySim_ProvesTheRequestedPinWhateverItsAttempts) {
    for (const int attempts : {0, 1, 2, 3, 10})
        EXPECT_EQ(pinSimReady(recordOf(ePinState::SENT, 3, 2, true), attempts),
                  recordOf(ePinState::GOOD, attempts));
    EXPECT_EQ(pinSimReady(recordOf(ePinState::SENT, 3, 1, true), ATTEMPTS_NOT_READ),
              recordOf(ePinState::GOOD, 3));
    EXPECT_EQ(pinSimReady(recordOf(ePinState::GOOD, 2), 3), recordOf(ePinState::GOOD, 3));
}

TEST(PinRule, ReadySim_DoesNotProveAPinThatWasNotRequested) {
    for (const sPinRecord& record :
         {sPinRecord{}, recordOf(ePinState::SENT, 3, 1, false), recordOf(ePinState::FAILED, 3, 1)})
        EXPECT_EQ(pinSimReady(record, 3), record);
}

// ---- the text in the store ----

TEST(PinRule, RecordText_IsReadAsItWasWritten) {
    std::vector<sPinRecord> records = {{}, {FILE_A, ePinState::GOOD, ATTEMPTS_NOT_READ, 0, false}};
    for (const sPinSituation& situation : allSituations())
        records.push_back(situation.record);
    records.push_back({{18446744073709551615U, -1, -5, 999999999}, ePinState::SENT, 3, 1, true});
    for (const sPinRecord& record : records) {
        EXPECT_EQ(parsePinRecord(pinRecordText(record)), record) << pinRecordText(record);
        EXPECT_LT(pinRecordText(record).size(), 128u);
    }
    EXPECT_EQ(pinRecordText(recordOf(ePinState::SENT, 3, 1, true)),
              "131.5.1790000000.123456789 sent 3 1 1");
}

TEST(PinRule, RecordOfAnEarlierVersion_CountsAsSentWithAllAttempts) {
    const sPinRecord record = parsePinRecord("131.5.1790000000.123456789");
    EXPECT_EQ(record, recordOf(ePinState::SENT, 3, 1, false));
    EXPECT_EQ(decidePin({record, FILE_A, false, eSIM_PIN_REQUIRED, 2, 1}),
              ePinDecision::ATTEMPT_LOST);
    EXPECT_EQ(decidePin({record, FILE_A, false, eSIM_PIN_REQUIRED, 3, 1}), ePinDecision::SEND);
}

TEST(PinRule, InvalidText_IsNoRecord) {
    for (const char* text : {"", " ", "x", "1.2.3", "1.2.3.4.5", "1.2.3.x", "1.2.3.4 sent",
                             "1.2.3.4 sent 3 1", "1.2.3.4 sent 3 1 1 1", "1.2.3.4 Sent 3 1 1",
                             "1.2.3.4 sent 3 x 1", "1.2.3.4 sent 3 1 ", "1.2.3.4  3 1 1"})
        EXPECT_EQ(parsePinRecord(text), sPinRecord{}) << text;
}

// ---- texts for the operator ----

TEST(PinRule, RefusalText_NamesOnlyAttemptsThatWereRead) {
    const sPinSituation lost = {recordOf(ePinState::GOOD), FILE_A, false, eSIM_PIN_REQUIRED, 1, 1};
    EXPECT_EQ(pinRefusalText(decidePin(lost), lost),
              "Error: SIM PIN not sent, the SIM has 1 attempt left and had 3 when the PIN was last "
              "good; write the PIN file again to use it");
    for (const sPinSituation& situation : allSituations()) {
        const std::string text = pinRefusalText(decidePin(situation), situation);
        EXPECT_EQ(text.find("-1"), std::string::npos) << text;
        if (isSent(situation)) {
            EXPECT_EQ(text, "");
        }
        if (situation.attempts == ATTEMPTS_NOT_READ) {
            EXPECT_EQ(text.find("attempt"), std::string::npos) << text;
        }
    }
}
