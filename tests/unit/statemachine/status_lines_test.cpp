#include "statemachine/status_lines.h"

#include <gtest/gtest.h>

#include "tests/support/heap_peak.h"

namespace {

using tPairs = std::vector<std::pair<std::string, std::string>>;

class StatusLines : public testing::Test {
  protected:
    void update(const tPairs& keys) {
        m_lines.beginUpdate();
        m_lines.comment("#begin");
        for (const auto& [name, value] : keys)
            m_lines.key(name, value);
        m_lines.endUpdate();
    }

    std::string changed() const {
        std::string names;
        for (const size_t place : m_lines.changedPlaces())
            names += m_lines.list()[place].first + " ";
        return names;
    }

    cStatusLines m_lines;
};

}  // namespace

TEST_F(StatusLines, FirstUpdate_ChangesEveryLine) {
    update({{"A", "1"}, {"B", ""}});
    EXPECT_EQ(m_lines.list(), (tStatusList{{"#begin", ""}, {"_A", "1"}, {"_B", ""}}));
    EXPECT_EQ(changed(), "#begin _A _B ");
    EXPECT_TRUE(m_lines.hasOtherKeys());
}

TEST_F(StatusLines, NextUpdate_ChangesOnlyLinesWithAnotherValue) {
    update({{"A", "1"}, {"B", "2"}});
    update({{"A", "1"}, {"B", "3"}});
    EXPECT_EQ(m_lines.list(), (tStatusList{{"#begin", ""}, {"_A", "1"}, {"_B", "3"}}));
    EXPECT_EQ(changed(), "_B ");
    update({{"A", "1"}, {"B", "3"}});
    EXPECT_EQ(changed(), "");
    EXPECT_FALSE(m_lines.hasOtherKeys());
}

TEST_F(StatusLines, KeysThatComeAndGo_BeginTheLinesFromThereAnew) {
    update({{"A", "1"}, {"B", "2"}, {"C", "3"}});
    update({{"A", "1"}, {"NEW", "x"}, {"B", "2"}, {"C", "3"}});
    EXPECT_EQ(changed(), "_NEW _B _C ");
    EXPECT_TRUE(m_lines.hasOtherKeys());
    update({{"A", "1"}, {"NEW", "x"}});
    EXPECT_EQ(m_lines.list(), (tStatusList{{"#begin", ""}, {"_A", "1"}, {"_NEW", "x"}}));
    EXPECT_EQ(changed(), "");
    EXPECT_TRUE(m_lines.hasOtherKeys());
    update({{"A", "1"}, {"OLD", "x"}});  // as long as the key that was there
    EXPECT_EQ(changed(), "_OLD ");
    update({});
    EXPECT_EQ(m_lines.list(), (tStatusList{{"#begin", ""}}));
}

TEST_F(StatusLines, ControlCharacters_BecomeBlanksAndAreNoChangeTheNextTime) {
    update({{"A", "x\ny\x7f"}});
    EXPECT_EQ(m_lines.list()[1].second, "x y ");
    update({{"A", "x\ny\x7f"}});
    EXPECT_EQ(changed(), "");
}

TEST_F(StatusLines, UpdateWithoutChange_AllocatesNothing) {
    const tPairs keys = {{"A", "a text that is longer than a short string"},
                         {"A_KEY_THAT_IS_LONGER_THAN_A_SHORT_STRING", "2026-11-22 13:00:00"}};
    update(keys);
    update(keys);
    EXPECT_EQ(heapPeakOf([&] { update(keys); }), 0u);
    tPairs later = keys;
    later[1].second = "2026-11-22 13:00:02";
    EXPECT_EQ(heapPeakOf([&] { update(later); }), 0u);
}
