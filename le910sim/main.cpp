#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "le910sim/record_server.h"
#include "le910sim/replay_server.h"
#include "le910sim/replayed_part.h"
#include "le910sim/simulator.h"

namespace le910sim {
namespace {

constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;
constexpr double SPEED_MIN = 0.01;
constexpr double SPEED_MAX = 1000;

volatile std::sig_atomic_t g_stop = 0;

void onSignal(int) {
    g_stop = 1;
}

void catchSignals() {
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

nlohmann::json readJsonFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read " + path);
    try {
        return nlohmann::json::parse(file);
    } catch (const nlohmann::json::parse_error& problem) {
        throw std::runtime_error(path + ": " + problem.what());
    }
}

struct sArgumentTexts {
    std::string scenarioPath;
    std::string trackPath;
    std::string model;
    std::string pace;
};

// A track: one "latitude,longitude[,metres]" per line, one line per second; '#' begins a comment.
nlohmann::json readTrack(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read " + path);
    nlohmann::json track = nlohmann::json::array();
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#') continue;
        const nlohmann::json point = nlohmann::json::parse("[" + line + "]", nullptr, false);
        if (point.is_discarded())
            throw std::runtime_error(path +
                                     ": expected 'latitude,longitude[,metres]', found: " + line);
        track.push_back(point);
    }
    return track;
}

void applyTexts(const sArgumentTexts& texts, nlohmann::json& scenario) {
    if (!texts.scenarioPath.empty()) scenario = readJsonFile(texts.scenarioPath);
    if (!scenario.is_object()) return;
    if (!texts.model.empty()) scenario["model"] = texts.model;
    if (!texts.pace.empty()) scenario["pace"] = texts.pace;
    if (!texts.trackPath.empty()) scenario["gps"]["track"] = readTrack(texts.trackPath);
}

void defineOptions(CLI::App& app, sSimulatorOptions& options, sArgumentTexts& texts) {
    CLI::Option* atLink =
        app.add_option("--at-link", options.atLink,
                       "symbolic link to create for the AT port (required without a device)");
    CLI::Option* gpsLink =
        app.add_option("--gps-link", options.gpsLink,
                       "symbolic link to create for the GPS port (required without a device)");
    app.add_option("--at-device", options.atDevice, "device to serve instead, such as /dev/ttyGS0")
        ->excludes(atLink);
    app.add_option("--gps-device", options.gpsDevice, "device to serve instead")->excludes(gpsLink);
    CLI::Option* gadget = app.add_option("--gadget", options.gadget,
                                         "folder of the USB gadget to plug in and unplug");
    CLI::Option* controller = app.add_option("--controller", options.controller,
                                             "controller for the gadget, such as dummy_udc.0");
    gadget->needs(controller);
    controller->needs(gadget);
    app.add_option("--scenario", texts.scenarioPath, "JSON file with initial state and timeline");
    app.add_option("--control", options.controlPath, "control socket to create");
    app.add_option("--log", options.logPath, "log file, one JSON object per line");
    app.add_option("--memory", options.memoryPath,
                   "file for what the modem keeps without power, one JSON line per change");
    app.add_option("--pace", texts.pace, "'instant' or bits per second");
    CLI::Option* data = app.add_option("--data", options.dataInterface,
                                       "network interface to create, such as wwan0");
    app.add_option("--interface", options.interface,
                   "existing Ethernet interface to serve, such as usb0")
        ->excludes(data);
    app.add_option("--seconds", options.seconds, "end after this many seconds");
    app.add_option("--model", texts.model, "LE910-NA1, 'LE910-NA V2' or 'LE910-EU V2'");
    app.add_option("--track", texts.trackPath, "file of positions, one line per second");
}

// An empty name, as of a variable that is not set, would count as an option that was not given.
std::string fileNameError(const std::string& name) {
    return name.empty() ? "'' is not the name of a file" : "";
}

// Options of a simulated modem have no meaning for a recorded one.
void defineReplay(CLI::App& app, sReplayOptions& replay) {
    CLI::Option* option = app.add_option("--replay", replay.path, "recording to replay");
    option->check(fileNameError);
    for (const char* other : {"--scenario", "--control", "--log", "--memory", "--pace", "--data",
                              "--interface", "--gadget", "--model", "--track"})
        option->excludes(app.get_option(other));
    app.add_option("--speed", replay.speed, "replay so many times faster than recorded")
        ->needs(option)
        ->check(CLI::Range(SPEED_MIN, SPEED_MAX));
    app.add_flag("--strict", replay.strict, "end at the first command that was not recorded there")
        ->needs(option);
}

void defineRecording(CLI::App& app, sRecordOptions& record) {
    CLI::Option* from =
        app.add_option("--record-from", record.device,
                       "the AT port of a modem: offer it at --at-link, and record what passes");
    for (const char* other : {"--replay", "--scenario", "--control", "--log", "--memory", "--pace",
                              "--data", "--interface", "--gadget", "--model", "--track",
                              "--at-device", "--gps-link", "--gps-device"})
        from->excludes(app.get_option(other));
    CLI::Option* file = app.add_option("--recording", record.path, "file of the recording");
    from->check(fileNameError);
    file->check(fileNameError);
    from->needs(file)->needs(app.get_option("--at-link"));
    file->needs(from);
    app.add_flag("--with-identities", record.keepIdentities,
                 "record numbers and message texts as they are")
        ->needs(from);
}

int usageError(const std::string& text) {
    std::fprintf(stderr, "le910sim: %s (see le910sim --help)\n", text.c_str());
    return EXIT_USAGE;
}

// Names the missing port options; "" if both ports are given.
std::string missingPorts(const sSimulatorOptions& options) {
    const bool noAt = options.atLink.empty() && options.atDevice.empty();
    const bool noGps = options.gpsLink.empty() && options.gpsDevice.empty();
    if (!noAt && !noGps) return "";
    const std::string names = std::string(noAt ? "--at-link" : "") +
                              (noAt && noGps ? " and " : "") + (noGps ? "--gps-link" : "") +
                              (noAt && noGps ? " are" : " is");
    return names + " missing; for example: le910sim --at-link /tmp/at --gps-link /tmp/gps";
}

int runReplay(sReplayOptions replay, const sSimulatorOptions& options) {
    replay.links = {options.atLink, options.gpsLink};
    replay.devices = {options.atDevice, options.gpsDevice};
    replay.seconds = options.seconds;
    const sRecording recording = replayedPart(readRecording(replay.path));
    if (recording.torn)
        std::fprintf(stderr, "le910sim: %s: the last line is not complete, so it is left out\n",
                     replay.path.c_str());
    cReplayServer server(replay, recording);
    std::cout << "ready" << std::endl;
    return server.run(g_stop) ? 0 : EXIT_FAILED;
}

int runRecording(sRecordOptions record, const sSimulatorOptions& options) {
    record.link = options.atLink;
    record.seconds = options.seconds;
    cRecordServer server(record);
    std::cout << "ready" << std::endl;
    return server.run(g_stop) ? 0 : EXIT_FAILED;
}

int runProgram(int argc, char** argv) {
    CLI::App app("A simulated Telit LE910 modem", "le910sim");
    sSimulatorOptions options;
    sArgumentTexts texts;
    sReplayOptions replay;
    defineOptions(app, options, texts);
    defineReplay(app, replay);
    sRecordOptions record;
    defineRecording(app, record);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return usageError(error.what());
    }
    catchSignals();
    if (!record.device.empty()) return runRecording(record, options);
    const std::string missing = missingPorts(options);
    if (!missing.empty()) return usageError(missing);
    if (!replay.path.empty()) return runReplay(replay, options);
    applyTexts(texts, options.scenario);
    cSimulator simulator(options);
    std::cout << "ready" << std::endl;
    simulator.run(g_stop);
    return 0;
}

}  // namespace
}  // namespace le910sim

int main(int argc, char** argv) try {
    return le910sim::runProgram(argc, argv);
} catch (const std::exception& problem) {
    std::fprintf(stderr, "le910sim: %s\n", problem.what());
    return le910sim::EXIT_FAILED;
}
