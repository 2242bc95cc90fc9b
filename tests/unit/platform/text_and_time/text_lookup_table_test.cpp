#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/include/text_lookup_table.h"
#include "tests/support/temp_folder.h"

namespace {

using tEntries = std::map<std::string, std::string>;

tEntries entriesOf(const std::string& content) {
    const cTempFolder folder;
    writeFile(folder / "file", content);
    return cTextLookupTable(folder / "file", '=').entries();
}

}  // namespace

TEST(TextLookupTable, Lines_AreSplitAtTheFirstSeparator) {
    const std::pair<std::string, tEntries> cases[] = {
        {"", {}},
        {"A=1\nB=2\n", {{"A", "1"}, {"B", "2"}}},
        {"A=1", {{"A", "1"}}},
        {"PASSWORD=a=b=", {{"PASSWORD", "a=b="}}},
        {"  KEY\t=  value with blanks  \n", {{"KEY", "  value with blanks  "}}},
        {"A=1\r\nB=2\r\n", {{"A", "1"}, {"B", "2"}}},
        {"A=1\r\r\n", {{"A", "1\r"}}},
        {"A=\nB=\r\n", {{"A", ""}, {"B", ""}}},
        {"#A=1\n  # B=2\nC=#3\nD=4 # no comment\n", {{"C", "#3"}, {"D", "4 # no comment"}}},
        {"no separator\n\n  \nA=1\n", {{"A", "1"}}},
        {"A=first\nA=second\n", {{"A", "first"}}},
        {"A=first\n A =second\n", {{"A", "first"}}},
        {"a=lower\nA=upper\n", {{"a", "lower"}, {"A", "upper"}}},
        {"\xEF\xBB\xBF"
         "A=1\nB=2\n",
         {{"A", "1"}, {"B", "2"}}},
        {std::string("A=1\0"
                     "2\nB=3\n",
                     10),
         {{"A", std::string("1\0"
                            "2",
                            3)},
          {"B", "3"}}},
    };
    for (const auto& [content, expected] : cases) {
        EXPECT_EQ(entriesOf(content), expected) << content;
    }
}

TEST(TextLookupTable, Entry_IsKeyAndValue) {
    const cTempFolder folder;
    writeFile(folder / "file", "APN: internet\nEMPTY:\n");
    const cTextLookupTable table(folder / "file", ':', 1);
    EXPECT_TRUE(table.DoesEntryExist("APN"));
    EXPECT_EQ(table.GetEntryByLabel("APN").size(), 2u);
    EXPECT_EQ(table.GetEntryByLabel("APN")[0], "APN");
    EXPECT_EQ(table.GetEntryByLabel("APN")[1], " internet");
    EXPECT_TRUE(table.DoesEntryExist("EMPTY"));
    EXPECT_EQ(table.GetEntryByLabel("EMPTY")[1], "");
}

TEST(TextLookupTable, MissingKey_HasNoTokens) {
    const cTempFolder folder;
    writeFile(folder / "file", "APN=internet\n");
    const cTextLookupTable table(folder / "file", '=');
    EXPECT_FALSE(table.DoesEntryExist("apn"));
    EXPECT_FALSE(table.DoesEntryExist(""));
    EXPECT_TRUE(table.GetEntryByLabel("apn").empty());
    EXPECT_EQ(table.GetEntryByLabel("apn")[1], "");
}

TEST(TextLookupTable, UnreadableFile_GivesAnEmptyTable) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const std::string& path : {folder / "missing", folder / "fifo", folder.path()}) {
        EXPECT_TRUE(cTextLookupTable(path, '=').entries().empty()) << path;
    }
}

TEST(TextLookupTable, LongFile_IsReadUpToTheLimit) {
    const std::string filler = "LONG=" + std::string(131072 - 5 - 1 - 4, 'x') + "\n";
    EXPECT_EQ(entriesOf(filler + "A=12\nB=3\n").at("A"), "12");
    EXPECT_EQ(entriesOf(filler + "A=123\n").at("A"), "12");
    EXPECT_EQ(entriesOf(filler + "A=12\nB=3\n").count("B"), 0u);
}
