#include <gtest/gtest.h>

#include <fstream>

#include "cli/base/daemon_log.h"
#include "cli/base/printable_text.h"
#include "tests/unit/cli/empty_host.h"

TEST(PrintableText, Utf8StaysAndEverythingElseIsLatin1) {
    EXPECT_EQ("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
              printableText("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"));
    EXPECT_EQ("caf\xC3\xA9", printableText("caf\xE9"));
}

TEST(PrintableText, InvalidUtf8_IsLatin1) {
    // Cut short, too long a form, a surrogate, beyond the last code point, a byte out of place.
    for (const char* bytes : {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80\x41",
                              "\xE2\x82", "\xFF\xFE"}) {
        const std::string text = printableText(bytes);
        EXPECT_EQ(text, printableText(text)) << "not UTF-8 itself";
        EXPECT_NE(bytes, text);
    }
}

TEST(PrintableText, ControlCharacters_DoNotReachTheTerminal) {
    EXPECT_EQ("?[2J\n\tx?", printableText("\x1b[2J\n\tx\x7f"));
    EXPECT_EQ("??", printableText("\x9b\x07"));
    EXPECT_EQ("?", printableText("\xC2\x9B"));  // the same in UTF-8
    EXPECT_EQ("a b c", printableLine("a\nb\tc"));
}

TEST(DaemonLog, OnlyLinesOfTheDaemonSinceTheStart) {
    cEmptyHost host;
    const std::string path = host.places.at("/var/log/messages");
    host.file("/var/log/messages", "Nov 21 07:00:00 gw cellslotd[42]: Received SIGUSR2\n");
    const cDaemonLog log(host.places, 42);
    EXPECT_TRUE(log.isReadable());
    EXPECT_FALSE(log.has("Received"));
    std::ofstream(path, std::ios::app) << "Nov 21 07:00:01 gw other[43]: Received SIGUSR2\n"
                                       << "Nov 21 07:00:01 gw cellslotd[42]: one thing\n"
                                       << "Nov 21 07:00:01 gw cellslotd[42]: another thing\n";
    EXPECT_EQ((std::vector<std::string>{"one thing", "another thing"}), log.messages());
    EXPECT_EQ("another thing", log.last({"thing"}));
    EXPECT_FALSE(log.has("SIGUSR2"));
}

TEST(DaemonLog, RotatedMeanwhile_IsReadFromItsBeginning) {
    cEmptyHost host;
    host.file("/var/log/syslog", std::string(1000, 'x') + "\n");
    const cDaemonLog log(host.places, 42);
    host.file("/var/log/syslog", "cellslotd[42]: new\n");
    EXPECT_TRUE(log.has("new"));
}

TEST(DaemonLog, SeparateFileOfTheDaemon_IsReadToo) {
    cEmptyHost host;
    host.file("/var/log/messages", "");
    host.file("/var/log/cellslotd.log", "");
    const cDaemonLog log(host.places, 42);
    host.file("/var/log/cellslotd.log", "cellslotd[42]: here\n");
    EXPECT_TRUE(log.has("here"));
}

TEST(DaemonLog, OldLogFile_IsIgnoredAndTheJournalIsRead) {
    if (geteuid() != 0) GTEST_SKIP() << "others are shown an empty journal";
    cEmptyHost host;
    for (const char* folder : {"/run/systemd", "/run/systemd/journal"})
        host.folderAt(folder);
    host.file("/run/systemd/journal/socket", "");
    host.file("/tools/journalctl", "#!/bin/sh\necho said there\n", 0755);
    host.file("/var/log/messages", "an old line\n");
    const std::string path = getenv("PATH");
    setenv("PATH", (host.places.at("/tools") + ":" + path).c_str(), 1);
    const cDaemonLog log(host.places, 42);
    EXPECT_TRUE(log.has("said there"));
    host.file("/var/log/messages", "an old line\ncellslotd[42]: said here\n");
    EXPECT_EQ(std::vector<std::string>{"said here"}, log.messages());
    setenv("PATH", path.c_str(), 1);
}

TEST(DaemonLog, None_IsNotReadable) {
    const cEmptyHost host;
    EXPECT_FALSE(cDaemonLog(host.places, 42).isReadable());
    EXPECT_TRUE(cDaemonLog(host.places, 42).messages().empty());
}

TEST(PrintableText, Beginning_EndsBetweenTwoCharacters) {
    EXPECT_EQ(beginningOf("abc", 3), "abc");
    EXPECT_EQ(beginningOf("abc", 2), "ab");
    EXPECT_EQ(beginningOf("a\u00e9\u20ac", 2), "a");
    EXPECT_EQ(beginningOf("a\u00e9\u20ac", 5), "a\u00e9");
    EXPECT_EQ(beginningOf("\x80\x80", 1), "") << "no text";
}

TEST(PrintableText, CharactersThatTurnTheLineOrEndIt_AreReplaced) {
    EXPECT_EQ(printableLine("a\u202ecba\u202c"), "a?cba?");
    EXPECT_EQ(printableLine("\u2066x\u2069 y\u2028z\u2029"), "?x? y?z?");
    // Letters that are written from right to left stay as they are.
    EXPECT_EQ(printableLine("\u05d0\u05d1 \u202f"), "\u05d0\u05d1 \u202f");
}
