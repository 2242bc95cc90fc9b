#include "published/recording_request.h"

#include <gtest/gtest.h>

TEST(RecordingRequest, WrittenText_IsReadAgain) {
    const sRecordingRequest request = {77, 200000, true};
    const sRecordingRequest read = parseRecordingRequest(recordingRequestText(request));
    EXPECT_EQ(read.untilS, 77U);
    EXPECT_EQ(read.fileBytes, 200000U);
    EXPECT_TRUE(read.keepIdentities);
}

TEST(RecordingRequest, NothingOrNonsense_HasTheDefaults) {
    for (const char* text :
         {"", "UNTIL=\nSIZE=\nIDENTITIES=\n", "UNTIL=x\nSIZE=-5\nIDENTITIES=all\n"}) {
        const sRecordingRequest read = parseRecordingRequest(text);
        EXPECT_EQ(read.untilS, 0U) << text;
        EXPECT_EQ(read.fileBytes, RECORDING_BYTES) << text;
        EXPECT_FALSE(read.keepIdentities) << text;
    }
}

TEST(RecordingRequest, Size_IsBounded) {
    EXPECT_EQ(parseRecordingRequest("SIZE=1\n").fileBytes, RECORDING_BYTES_MIN);
    EXPECT_EQ(parseRecordingRequest("SIZE=99999999999999999999\n").fileBytes, RECORDING_BYTES_MAX);
}
