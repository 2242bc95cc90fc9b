#include "fleet/slot_view.h"

#include <gtest/gtest.h>

#include "cli/status/diagnosis.h"
#include "cli/status/status_json.h"
#include "cli/status/status_screen.h"
#include "tests/support/recorded_text.h"
#include "tests/unit/fleet/made_fleet.h"

TEST(SlotView, EveryRecordedSlot_IsShownAsOnTheGateway) {
    const std::set<std::string> recordings = recordedNames("status", ".status");
    ASSERT_GE(recordings.size(), 5u);
    for (const std::string& recording : recordings) {
        cStatusHost host;
        host.addSlot(1, recording);
        const sSlotReport there = host.report(1);
        const sSlotState state = *readSlotState(
            slotStatusText(RECORDED_S, statusJson({there}, eJsonLayout::ONE_LINE)), 1);
        const sSlotView here = viewOf(state, true, RECORDED_S);
        sDiagnosis diagnosis;
        diagnosis.signal = readSignal(here.report.file.record);
        EXPECT_EQ(joinLines(sharedDetails(here.report, diagnosis)),
                  joinLines(sharedDetails(there, diagnose(there))))
            << recording;
    }
}

TEST(SlotView, OnlineGateway_ItsSessionGoesOn) {
    const sSlotState state = *readSlotState(madeStatus("healthy"), 1);
    const sSlotView now = viewOf(state, true, RECORDED_S);
    const sSlotView later = viewOf(state, true, RECORDED_S + 3600);
    const auto seconds = [](const sSlotView& view) {
        return *view.report.file.record.number(STATUS_QMI_CALL_TIME);
    };
    EXPECT_EQ(seconds(later), seconds(now) + 3600);
    EXPECT_FALSE(later.report.isStale());
}

TEST(SlotView, OfflineGateway_IsAsOldAsItsState) {
    const sSlotState state = *readSlotState(madeStatus("healthy"), 1);
    EXPECT_TRUE(viewOf(state, false, RECORDED_S + 3600).report.isStale());
}

TEST(SlotView, RubbishInFields_IsNotKnown) {
    sSlotState state;
    for (const char* json :
         {"", "[]", "{\"network\":{\"operator\":{}}}",
          "{\"network\":[1],\"session\":{\"addresses\":7}}",
          "{\"network\":{},\"session\":{\"seconds\":1e300,\"connected\":true}}"}) {
        state.json = json;
        const sSlotView view = viewOf(state, true, RECORDED_S);
        EXPECT_TRUE(view.report.file.record.text(STATUS_CARRIER).empty()) << json;
    }
}
