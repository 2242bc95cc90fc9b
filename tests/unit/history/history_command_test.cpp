#include "history/history_command.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/unit/history/recorded_days.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>

// It is asked in a thread of pango's.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}
#endif

namespace {

// librrd keeps what it has drawn with; the program ends after a picture.
struct sDrawing {
    sDrawing() {}
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler ignoreLeaks;
#endif
};

class HistoryCommand : public RecordedDays {
  protected:
    static constexpr time_t NOW = DAY + DAY_S;

    eExitStatus run(const std::vector<std::string>& words) {
        std::vector<const char*> arguments = {"cellslot history"};
        for (const std::string& word : words)
            arguments.push_back(word.c_str());
        std::istringstream input;
        std::ostringstream shown;
        std::ostringstream errors;
        sCliContext context{places, input, shown};
        const eExitStatus status = runHistoryCommand(static_cast<int>(arguments.size()),
                                                     arguments.data(), context, NOW, errors);
        out = shown.str();
        err = errors.str();
        return status;
    }
    nlohmann::json json(const std::vector<std::string>& words) {
        EXPECT_EQ(run(words), eExitStatus::OK) << err;
        return nlohmann::json::parse(out);
    }
    // The lines without the one of names.
    std::vector<std::string> csv(const std::vector<std::string>& words, const std::string& names) {
        EXPECT_EQ(run(words), eExitStatus::OK) << err;
        std::istringstream text(out);
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        EXPECT_FALSE(lines.empty());
        if (lines.empty()) return {};
        EXPECT_EQ(lines.front(), names);
        lines.erase(lines.begin());
        return lines;
    }

    std::string out;
    std::string err;
};

}  // namespace

TEST_F(HistoryCommand, WithoutWords_IsTheScreenOfTheLastDay) {
    recordDays(DAY_S);
    EXPECT_EQ(run({}), eExitStatus::OK);
    EXPECT_EQ(out.find("Slot 1  from 2026-11-21 00:00 to 2026-11-22 00:00\n\nConnected    96.7 %"),
              0u)
        << out;
    EXPECT_EQ(err, "");
}

TEST_F(HistoryCommand, Json_HasEverySeries_AndNullForWhatIsNotKnown) {
    recordDays(DAY_S);
    const nlohmann::json history = json({"--since", "2d", "--json"});
    EXPECT_EQ(history["slot"], 1);
    EXPECT_EQ(history["from"], NOW - 2 * DAY_S);
    EXPECT_EQ(history["known_s"], DAY_S);
    EXPECT_EQ(history["connected_s"], DAY_S - 720 - 2100);
    EXPECT_EQ(history["received_bytes"], 250 * DAY_S);
    EXPECT_EQ(history["sent_bytes"], 25 * DAY_S);
    EXPECT_EQ(history["outages"].size(), 2u);
    ASSERT_EQ(history["series"].size(), SOURCES);
    const nlohmann::json& rsrp = history["series"][0];
    EXPECT_EQ(rsrp["source"], "rsrp");
    EXPECT_EQ(rsrp["unit"], "dBm");
    EXPECT_TRUE(rsrp["points"][0][1].is_null()) << "before the first figure";
    for (const nlohmann::json& point : rsrp["points"])
        if (point[0] >= DAY && !point[1].is_null()) {
            EXPECT_LE(point[2], point[1]);
            EXPECT_GE(point[3], point[1]);
        }
}

TEST_F(HistoryCommand, RangeWithoutFigures_AmountsAreNullNotZero) {
    recordDays(12 * HOUR_S);
    const nlohmann::json history = json({"--since", "6h", "--json"});
    EXPECT_EQ(history["known_s"], 0);
    EXPECT_TRUE(history["received_bytes"].is_null());
    EXPECT_TRUE(history["sent_bytes"].is_null());
}

TEST_F(HistoryCommand, Csv_OneFigureALine_EmptyForWhatIsNotKnown) {
    recordDays(DAY_S);
    const auto lines =
        csv({"--since", "24h", "--csv"}, "time,step_s,source,unit,average,least,greatest");
    std::map<std::string, int> counts;
    for (const std::string& line : lines) {
        EXPECT_EQ(std::count(line.begin(), line.end(), ','), 6) << line;
        std::istringstream fields(line);
        std::string time, step, source;
        std::getline(fields, time, ',') && std::getline(fields, step, ',') &&
            std::getline(fields, source, ',');
        ++counts[source];
        if (source == "rscp") {
            EXPECT_EQ(line.substr(line.find("dBm")), "dBm,,,") << line;
        }
        EXPECT_EQ(line.find("nan"), std::string::npos) << line;
    }
    EXPECT_EQ(counts.size(), SOURCES);
}

TEST_F(HistoryCommand, Outages_InWordsJsonAndCsv) {
    recordDays(DAY_S);
    EXPECT_EQ(run({"outages"}), eExitStatus::OK);
    EXPECT_EQ(out,
              "2026-11-21 06:00:00  for 12 min: No network yet; the modem is searching.\n"
              "2026-11-21 19:00:00  for 35 min: The modem detects no SIM card.\n");
    const nlohmann::json outages = json({"outages", "--json"});
    ASSERT_EQ(outages.size(), 2u);
    EXPECT_EQ(outages[1]["from"], DAY + 19 * HOUR_S);
    EXPECT_EQ(outages[1]["to"], DAY + 19 * HOUR_S + 2100);
    EXPECT_EQ(outages[1]["cause"], "no_sim");
    EXPECT_EQ(csv({"outages", "--csv"}, "from,to,ends_unknown,cause,text").at(0),
              std::to_string(DAY + 6 * HOUR_S) + "," + std::to_string(DAY + 6 * HOUR_S + 720) +
                  ",0,\"searching\",\"No network yet; the modem is searching.\"");
    EXPECT_EQ(run({"outages", "--since", "1h"}), eExitStatus::OK);
    EXPECT_EQ(out, "no outage is recorded in this time\n");
}

TEST_F(HistoryCommand, Events_InWordsJsonAndCsv) {
    recordDays(DAY_S);
    EXPECT_EQ(run({"events"}), eExitStatus::OK);
    EXPECT_NE(out.find("2026-11-21 06:12:00  Connected after 12 min without a connection.\n"),
              std::string::npos)
        << out;
    const nlohmann::json events = json({"events", "--since", "6h", "--json"});
    ASSERT_EQ(events.size(), 2u) << events;
    EXPECT_EQ(events[0]["kind"], "offline");
    EXPECT_EQ(events[0]["at"], "2026-11-21T19:00:00Z");
    EXPECT_EQ(events[1]["duration_s"], 2100);
    EXPECT_EQ(csv({"events", "--since", "6h", "--csv"}, "time,kind,cause,duration_s,text").size(),
              2u);
    EXPECT_EQ(run({"events", "--since", "1m"}), eExitStatus::OK);
    EXPECT_EQ(out, "no event is recorded in this time\n");
}

TEST_F(HistoryCommand, Usage_ByDayAndMonth) {
    recordDays(DAY_S);
    const nlohmann::json days = json({"usage", "--json"});
    ASSERT_EQ(days.size(), 1u);
    EXPECT_EQ(days[0]["period"], "2026-11-21");
    EXPECT_EQ(days[0]["sim"], "89014100000000000015");
    EXPECT_EQ(days[0]["received_bytes"], 250 * DAY_S);
    EXPECT_EQ(days[0]["known_s"], DAY_S);
    EXPECT_EQ(json({"usage", "--month", "--json"})[0]["period"], "2026-11");
    EXPECT_EQ(csv({"usage", "--csv"},
                  "period,sim,received_bytes,sent_bytes,received_messages,sent_messages,"
                  "failed_messages,connected_s,known_s")
                  .at(0),
              "2026-11-21,\"89014100000000000015\",21600000,2160000,4,0,0,83580,86400");
}

TEST_F(HistoryCommand, Pictures_ArePngAndSvgThatCanBeMailed) {
    recordDays(DAY_S);
    const std::string png = folder / "last.png";
    const std::string svg = folder / "last.svg";
    const sDrawing drawing;
    EXPECT_EQ(run({"--png", png, "--svg", svg}), eExitStatus::OK) << err;
    EXPECT_EQ(out, "");
    const std::string drawn = read(png);
    EXPECT_EQ(drawn.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_GT(drawn.size(), 3000u);
    EXPECT_LT(drawn.size(), 300u * 1024);
    const std::string vector = read(svg);
    EXPECT_NE(vector.find("<svg"), std::string::npos);
    EXPECT_NE(vector.find("</svg>"), std::string::npos);
    EXPECT_EQ(vector.find("<script"), std::string::npos);
}

TEST_F(HistoryCommand, PictureThatCannotBeWritten_IsAFailure) {
    recordDays(HOUR_S);
    const sDrawing drawing;
    EXPECT_EQ(run({"--png", folder / "none/last.png"}), eExitStatus::FAILED);
    EXPECT_NE(err.find("none/"), std::string::npos) << err;
}

TEST_F(HistoryCommand, TwoSlots_OneHasToBeChosen) {
    recordDays(HOUR_S);
    cSlotRecorder second(places, 2);
    start(second, {DAY, 0});
    EXPECT_EQ(run({}), eExitStatus::USAGE);
    EXPECT_NE(err.find("choose one with -p"), std::string::npos) << err;
    EXPECT_EQ(run({"-p", "2"}), eExitStatus::OK) << err;
    EXPECT_EQ(out.find("Slot 2  "), 0u) << out;
    EXPECT_EQ(run({"outages", "-p", "1"}), eExitStatus::OK) << err;
}

TEST_F(HistoryCommand, NothingRecorded_SaysWhatToCheck) {
    EXPECT_EQ(run({}), eExitStatus::FAILED);
    EXPECT_EQ(out, "");
    EXPECT_NE(err.find("systemctl status cellslot-history cellslotd@1"), std::string::npos) << err;
}

TEST_F(HistoryCommand, DamagedStore_SaysHowItIsMended) {
    recordDays(HOUR_S);
    write(historyPath(places, "1.rrd"), "no figures");
    EXPECT_EQ(run({"events"}), eExitStatus::FAILED);
    EXPECT_NE(err.find("restart cellslot-history.service"), std::string::npos) << err;
}

TEST_F(HistoryCommand, WrongWords_AreRefused) {
    recordDays(HOUR_S);
    const std::vector<std::vector<std::string>> wrong = {
        {"--since", "yesterday"}, {"--since"}, {"--json", "--csv"},     {"-p", "4"}, {"outage"},
        {"usage", "--months"},    {"--png"},   {"events", "--png", "x"}};
    for (const std::vector<std::string>& words : wrong) {
        EXPECT_EQ(run(words), eExitStatus::USAGE) << words.front();
        EXPECT_EQ(out, "");
        EXPECT_EQ(err.find("cellslot history: "), 0u) << err;
    }
}

TEST_F(HistoryCommand, Help_NamesEverySubcommandAndOption) {
    EXPECT_EQ(run({"--help"}), eExitStatus::OK);
    for (const char* word :
         {"outages", "events", "usage", "--since", "--json", "--csv", "--png", "--svg", "-p"})
        EXPECT_NE(out.find(word), std::string::npos) << word;
}

// A row of a year's picture is a day: an hour of it is no day without a connection.
TEST_F(HistoryCommand, PictureOfAYear_ShowsADayWithOutagesAsOneForAPartOfTheTime) {
    recordDays(4 * DAY_S);
    const std::string file = folder / "picture.svg";
    const sDrawing drawing;
    const auto areas = [&](const char* since, const char* colour) {
        EXPECT_EQ(run({"--svg", file.c_str(), "--since", since}), eExitStatus::OK) << err;
        const std::string picture = readFile(file);
        size_t count = 0;
        for (size_t at = 0; (at = picture.find(colour, at)) != picture.npos; ++at)
            ++count;
        return count;
    };
    // Each colour is in the legend too.
    EXPECT_GT(areas("1d", "rgb(78.43"), 1u);
    EXPECT_EQ(areas("1y", "rgb(78.43"), 1u);
    EXPECT_GT(areas("1y", "rgb(90.98"), 1u);
}
