#include "history/history_export.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/base/printable_text.h"

namespace {

using tJson = nlohmann::ordered_json;

tJson valueOf(double value) {
    return std::isnan(value) ? tJson() : tJson(value);
}

// Text of the network may not be UTF-8.
std::string dumped(const tJson& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

tJson jsonOf(const sSeries& series) {
    const sSource& source = describe(series.source);
    tJson points = tJson::array();
    for (const sPoint& point : series.points)
        points.push_back(
            {point.time, valueOf(point.average), valueOf(point.least), valueOf(point.greatest)});
    return {{"source", source.name},
            {"unit", source.unit},
            {"step_s", series.stepS},
            {"points", points}};
}

tJson jsonOf(const std::vector<sOutage>& outages) {
    tJson list = tJson::array();
    for (const sOutage& outage : outages)
        list.push_back({{"from", outage.from},
                        {"to", outage.to == 0 ? tJson() : tJson(outage.to)},
                        {"cause", outage.cause},
                        {"text", outage.text},
                        {"ends_unknown", outage.endsUnknown}});
    return list;
}

tJson jsonOf(const std::vector<sUsageLine>& lines) {
    tJson list = tJson::array();
    for (const sUsageLine& line : lines)
        list.push_back({{"period", line.period},
                        {"sim", line.sim},
                        {"received_bytes", line.usage.receivedBytes},
                        {"sent_bytes", line.usage.sentBytes},
                        {"received_messages", line.usage.receivedMessages},
                        {"sent_messages", line.usage.sentMessages},
                        {"failed_messages", line.usage.failedMessages},
                        {"connected_s", line.usage.connectedS},
                        {"known_s", line.usage.knownS}});
    return list;
}

// To three digits after the point: a plot shows no more, and the page is sent over a cellular link.
tJson shortValueOf(double value) {
    return valueOf(std::round(value * 1000) / 1000);
}

// The value of the point in whose step the time is.
const sPoint* pointAt(const sSeries& series, time_t time) {
    if (series.points.empty() || time < series.points.front().time) return nullptr;
    const auto at = static_cast<size_t>((time - series.points.front().time) / series.stepS);
    return at < series.points.size() ? &series.points[at] : nullptr;
}

// A series with longer steps repeats its values.
tJson columnsAt(const sSeries& series, const std::vector<sPoint>& grid) {
    const sSource& source = describe(series.source);
    tJson average = tJson::array();
    tJson least = tJson::array();
    tJson greatest = tJson::array();
    for (const sPoint& time : grid) {
        const sPoint* point = pointAt(series, time.time);
        average.push_back(point == nullptr ? tJson() : shortValueOf(point->average));
        least.push_back(point == nullptr ? tJson() : shortValueOf(point->least));
        greatest.push_back(point == nullptr ? tJson() : shortValueOf(point->greatest));
    }
    return {{"words", source.words},
            {"unit", source.unit},
            {"average", average},
            {"least", least},
            {"greatest", greatest}};
}

// Null if no figure is known.
tJson amountOf(const cSlotHistory& history, eSource source, const sTimeRange& range) {
    const double amount = history.amount(source, range);
    return std::isnan(amount) ? tJson() : tJson(std::llround(amount));
}

// A text field; one that a spreadsheet takes for a formula begins with a quote.
std::string csvText(const std::string& text) {
    std::string field = "\"";
    if (!text.empty() && std::string("=+-@").find(text[0]) != std::string::npos) field += "'";
    for (const char character : printableLine(text)) {
        if (character == '"') field += '"';
        field += character;
    }
    return field + "\"";
}

std::string csvValue(double value) {
    if (std::isnan(value)) return "";
    char text[32];
    snprintf(text, sizeof text, "%.10g", value);
    return text;
}

}  // namespace

std::string seriesJson(const sSeries& series) {
    return dumped(jsonOf(series));
}

std::string outagesJson(const std::vector<sOutage>& outages) {
    return dumped(jsonOf(outages));
}

std::string eventsJson(const std::vector<sEvent>& events) {
    std::string text = "[";
    for (const sEvent& event : events)
        text += (text.size() > 1 ? "," : "") + eventLine(event);
    return text + "]";
}

std::string usageJson(const std::vector<sUsageLine>& lines) {
    return dumped(jsonOf(lines));
}

std::string historyJson(const cSlotHistory& history, int slot, const sTimeRange& range) {
    const sAvailability availability = history.availability(range);
    tJson json = {{"slot", slot},
                  {"from", range.from},
                  {"to", range.to},
                  {"last", history.end()},
                  {"connected_s", availability.connectedS},
                  {"known_s", availability.knownS},
                  {"received_bytes", amountOf(history, eSource::RECEIVED, range)},
                  {"sent_bytes", amountOf(history, eSource::SENT, range)},
                  {"outages", jsonOf(history.outages(range))}};
    tJson list = tJson::array();
    for (const sSource& source : SOURCE_TABLE)
        list.push_back(jsonOf(history.series(source.source, range, EXPORT_POINTS_MAX)));
    json["series"] = list;
    return dumped(json);
}

std::string pageJson(const cSlotHistory& history, const sTimeRange& range) {
    const std::vector<sPoint> grid = history.series(eSource::RSRP, range, PAGE_POINTS_MAX).points;
    tJson times = tJson::array();
    for (const sPoint& point : grid)
        times.push_back(point.time);
    tJson series = tJson::object();
    for (const sSource& source : SOURCE_TABLE)
        series[source.name] =
            columnsAt(history.series(source.source, range, PAGE_POINTS_MAX), grid);
    std::vector<sOutage> outages = history.outages(range);
    const size_t outagesInAll = outages.size();
    if (outages.size() > PAGE_OUTAGES_MAX)
        outages.erase(outages.begin(), outages.end() - static_cast<long>(PAGE_OUTAGES_MAX));
    const sAvailability availability = history.availability(range);
    return dumped(
        {{"times", times},
         {"series", series},
         {"availability",
          {{"connected_seconds", availability.connectedS}, {"known_seconds", availability.knownS}}},
         {"outages_total", outagesInAll},
         {"outages", jsonOf(outages)},
         {"usage",
          {{"received_bytes", amountOf(history, eSource::RECEIVED, range)},
           {"sent_bytes", amountOf(history, eSource::SENT, range)}}}});
}

// Series of the two files have different steps, so a line is one figure.
std::string historyCsv(const cSlotHistory& history, const sTimeRange& range) {
    std::string text = "time,step_s,source,unit,average,least,greatest\n";
    for (const sSource& source : SOURCE_TABLE) {
        const sSeries series = history.series(source.source, range, EXPORT_POINTS_MAX);
        for (const sPoint& point : series.points)
            text += std::to_string(point.time) + "," + std::to_string(series.stepS) + "," +
                    source.name + "," + source.unit + "," + csvValue(point.average) + "," +
                    csvValue(point.least) + "," + csvValue(point.greatest) + "\n";
    }
    return text;
}

std::string outagesCsv(const std::vector<sOutage>& outages) {
    std::string text = "from,to,ends_unknown,cause,text\n";
    for (const sOutage& outage : outages)
        text += std::to_string(outage.from) + "," +
                (outage.to == 0 ? "" : std::to_string(outage.to)) + "," +
                (outage.endsUnknown ? "1" : "0") + "," + csvText(outage.cause) + "," +
                csvText(outage.text) + "\n";
    return text;
}

std::string eventsCsv(const std::vector<sEvent>& events) {
    std::string text = "time,kind,cause,duration_s,text\n";
    for (const sEvent& event : events)
        text += std::to_string(event.time) + "," + csvText(event.kind) + "," +
                csvText(event.cause) + "," +
                (event.durationS ? std::to_string(*event.durationS) : "") + "," +
                csvText(event.text) + "\n";
    return text;
}

std::string usageCsv(const std::vector<sUsageLine>& lines) {
    std::string text =
        "period,sim,received_bytes,sent_bytes,received_messages,sent_messages,failed_messages,"
        "connected_s,known_s\n";
    for (const sUsageLine& line : lines) {
        const sUsage& usage = line.usage;
        text += line.period + "," + csvText(line.sim);
        for (const uint64_t count :
             {usage.receivedBytes, usage.sentBytes, usage.receivedMessages, usage.sentMessages,
              usage.failedMessages, usage.connectedS, usage.knownS})
            text += "," + std::to_string(count);
        text += "\n";
    }
    return text;
}
