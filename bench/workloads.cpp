#include "bench/workloads.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "atcmd/catalogue.h"
#include "atcmd/operators.h"
#include "bench/meter.h"
#include "device/at_transaction.h"
#include "device/recorder.h"
#include "include/device_records.h"
#include "include/options.h"
#include "include/sleep.h"
#include "platform/include/key_value_store.h"
#include "published/recording_request.h"
#include "sms/assembly.h"
#include "sms/receive.h"
#include "sms/send.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "statemachine/bring_up.h"
#include "statemachine/carrier_list.h"
#include "statemachine/data_session.h"
#include "statemachine/polling.h"
#include "statemachine/sim_pin.h"
#include "statemachine/status_files.h"
#include "statemachine/timers.h"
#include "tests/support/simulated_port.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t PIECE_BYTES = 64;
constexpr unsigned LIST_TIMEOUT_S = 600;
constexpr size_t OPERATORS_KEPT = 8192;  // the parser stores no more
constexpr int PARTS_OF_A_MESSAGE = 3;
constexpr int CHECKS_MAX = 5;
constexpr int STORE_KEYS = 100;
constexpr int POLLS_BEFORE = 10;  // of a recording that is measured
constexpr time_t STATUS_PERIOD_S = 2;
const char* const FOLDER_OF_STUBS = "/tmp/bench-tools";

struct sGateway {
    std::unique_ptr<cSimulatedPort> port;
    sDeviceInfo device;
    sConfigFileOpts config;
};

sGateway& gateway() {
    static sGateway instance;
    return instance;
}

struct sFile {
    const char* path;
    size_t size;
};

constexpr size_t FILE_BYTES_MAX = 4096;
constexpr sFile STATUS_FILES[] = {{"/var/log/bench.cardstats.1", 3200},
                                  {"/var/log/bench.cardstats", 3100},
                                  {"/var/log/bench.serialno", 16},
                                  {"/var/log/bench.mdn", 12}};

[[noreturn]] void fail(const std::string& what) {
    fprintf(stderr, "bench: %s\n", what.c_str());
    exit(1);
}

void require(bool condition, const char* what) {
    if (!condition) fail(what);
}

void replaceFile(const char* path, size_t size) {
    static const char content[FILE_BYTES_MAX] = {};
    char temporary[] = "/var/log/.bench-XXXXXX";
    struct stat old {};
    const int file = mkostemp(temporary, O_CLOEXEC);
    require(write(file, content, size) == static_cast<ssize_t>(size), "no file");
    const bool isOld = lstat(path, &old) == 0 && fchown(file, old.st_uid, old.st_gid) == 0;
    require(fchmod(file, isOld ? old.st_mode & 0777 : 0644) == 0, "no mode");
    close(file);
    require(rename(temporary, path) == 0, "no rename");
}

void letModemWork(unsigned microseconds) {
    unmeasured([microseconds] { gateway().port->pass(microseconds); });
}

// The wall clock as the daemon reads it.
struct sWallClock {
    time_t aheadS = 0;
};

sWallClock g_wallClock;

// The host programs that the daemon runs: present, but they do nothing.
void makeStubs() {
    fs::create_directories(FOLDER_OF_STUBS);
    for (const char* name : {"/setup_cellint.sh", "/systime.sh"}) {
        const std::string path = std::string(FOLDER_OF_STUBS) + name;
        std::ofstream(path) << "#!/bin/sh\n";
        fs::permissions(path, fs::perms::owner_all);
    }
    setenv("PATH", (std::string(FOLDER_OF_STUBS) + ":" + getenv("PATH")).c_str(), 1);
}

void startSession() {
    sGateway& self = gateway();
    require(setupModem(self.port->descriptor(), self.device, self.config) == eSUCCESS, "no set-up");
    require(pollDevice(self.port->descriptor(), self.device, self.config) == eSUCCESS, "no poll");
    require(maybeStartDataSession(self.port->descriptor(), self.device, self.config,
                                  g_C_netConDelayTimer) == eSUCCESS,
            "no session");
}

// "001010","Operator 00000": as long as a real line.
std::string operatorList(size_t lines) {
    std::string text = "AT+COPN\r";
    char line[64];
    for (size_t i = 0; i < lines; ++i) {
        snprintf(line, sizeof line, "\r\n+COPN: \"%06zu\",\"Operator %05zu\"", 100000 + i, i);
        text += line;
    }
    return text + "\r\n\r\nOK\r\n";
}

// A socket whose other end sends a text, one piece whenever the daemon sleeps.
struct sPiecewisePort {
    int ends[2] = {-1, -1};
    std::string text;
    size_t at = 0;
};

sPiecewisePort g_pieces;

void sendNextPiece(unsigned) {
    unmeasured([] {
        const std::string piece = g_pieces.text.substr(g_pieces.at, PIECE_BYTES);
        if (piece.empty()) return;
        g_pieces.at += piece.size();
        require(send(g_pieces.ends[1], piece.data(), piece.size(), 0) ==
                    static_cast<ssize_t>(piece.size()),
                "the port is full");
    });
}

void emptySpool() {
    for (const char* folder : {"/recv", "/recv_parts", "/send", "/send_ok", "/send_fail"})
        for (const auto& entry : fs::directory_iterator(g_s_root_sms_path + folder))
            fs::remove(entry.path());
    resetSmsState();
}

void injectParts(size_t parts) {
    cSimulatedPort& port = *gateway().port;
    for (size_t i = 0; i < parts; ++i)
        port.order({{"op", "inject-sms"},
                    {"from", "+12025550123"},
                    {"text", std::string(150, static_cast<char>('a' + i % 26))},
                    {"coding", "gsm7"},
                    {"reference", 1 + i / PARTS_OF_A_MESSAGE},
                    {"part", 1 + i % PARTS_OF_A_MESSAGE},
                    {"total", PARTS_OF_A_MESSAGE}});
}

// Writes two parts of three for as many messages as needed.
void writeWaitingParts(size_t parts) {
    tSmsQueue queue;
    for (size_t i = 0; i < parts; ++i) {
        S_smsRecordRx record;
        record.from = "+12025550123";
        record.time = "2020-06-15 20:32:05";
        record.timeUnformatted = "1592253125";
        record.message = std::string(150, 'x');
        record.msgId = static_cast<int32_t>(1 + i / 2);
        record.partNumber = static_cast<int32_t>(1 + i % 2);
        record.partTotal = PARTS_OF_A_MESSAGE;
        queue.push(record);
    }
    require(writeSmsMessages(queue, g_s_root_sms_path) == parts, "parts were not written");
}

void fillSendFolder(size_t files) {
    const std::string folder = g_s_root_sms_path + "/send/";
    const auto entries = fs::directory_iterator(folder);
    for (auto there = static_cast<size_t>(std::distance(begin(entries), end(entries)));
         there < files; ++there) {
        static size_t number = 0;
        std::ofstream(folder + "m" + std::to_string(++number)) << "TO=+12025550123\nMSG=Pump\n";
    }
}

void writeBatch(const std::string& prefix, const std::string& changing) {
    skvs_batch_begin();
    for (int i = 0; i < STORE_KEYS; ++i)
        skvs_set((prefix + std::to_string(i)).c_str(), i < 2 ? changing.c_str() : "a value");
    require(skvs_batch_end() == 0, "the store was not written");
}

// Writes until stop is closed at the other end.
[[noreturn]] void writeUntil(int stop, size_t number) {
    const std::string prefix = "BENCHWRITER" + std::to_string(number) + "_";
    timeval noWait{};
    for (size_t count = 0;; ++count) {
        writeBatch(prefix, std::to_string(count));
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(stop, &readable);
        if (select(stop + 1, &readable, nullptr, nullptr, &noWait) > 0) _exit(0);
    }
}

}  // namespace

// --wrap=time
extern "C" time_t __wrap_time(time_t* result) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t seconds = now.tv_sec + g_wallClock.aheadS;
    if (result != nullptr) *result = seconds;
    return seconds;
}

void connectGateway() {
    const char* inside = getenv("CELLSLOT_PRIVATE_NAMESPACE");
    if (inside == nullptr || std::string(inside) != "1")
        fail("this changes the host's files: run it with scripts/private_namespace.sh");
    makeStubs();
    setupVariableMaps();
    sGateway& self = gateway();
    g_S_options = {"", "/dev/null", "wwan0", "1"};
    self.config.simSlot = 1;
    self.config.apn = "internet";
    self.config.enableInterface = 1;
    self.config.syncTime = false;
    self.config.gpsEnable = false;
    self.device.sim.s_cpin_path = "/etc/vuk/cellular_cpin.1";
    self.device.sim.s_cpin_new_path = "/etc/vuk/cellular_cpin_new.1";
    self.device.sim.s_puk_path = "/etc/vuk/cellular_puk.1";
    self.port = std::make_unique<cSimulatedPort>(nlohmann::json{{"sms", {{"capacity", 255}}}});
    g_S_options.s_device = self.port->path();
    createTimers();
    initSMS(g_s_root_sms_path);
    createCpinMonitors(self.device.sim);
    startSession();
}

sWorkload bringUp() {
    return {[] {
                setSleepFunction(letModemWork);
                telitCarrier_list_Map.clear();
            },
            startSession};
}

sWorkload poll() {
    return {[] {
                setSleepFunction(letModemWork);
                g_Cp_CheckSMS->Start();  // no check of the messages is due
            },
            [] {
                sGateway& self = gateway();
                require(pollDevice(self.port->descriptor(), self.device, self.config) == eSUCCESS,
                        "no poll");
            }};
}

sWorkload recordedPoll() {
    const sWorkload plain = poll();
    return {[plain] {
                plain.prepare();
                if (isRecording()) return;
                sRecordSettings settings;
                settings.path = "/tmp/recording";
                settings.olderPath = "/tmp/recording.older";
                settings.fileBytes = RECORDING_BYTES;
                settings.program = "bench";
                require(startRecording(settings), "no recording");
                // A recording lasts for minutes: what comes again is known after some polls.
                for (int i = 0; i < POLLS_BEFORE; ++i)
                    plain.run();
            },
            [plain] {
                plain.run();
                flushRecording();
            }};
}

sWorkload statusFiles() {
    return {[] { g_wallClock.aheadS += STATUS_PERIOD_S; },
            [] { doWriteOutStatusFiles(gateway().device, gateway().config); }};
}

sWorkload fourFiles() {
    return {[] {},
            [] {
                for (const auto& [path, size] : STATUS_FILES)
                    replaceFile(path, size);
            }};
}

sWorkload readOperatorList(size_t lines) {
    return {[lines] {
                if (g_pieces.ends[0] == -1)
                    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, g_pieces.ends) == 0,
                            "no socket");
                g_pieces.text = operatorList(lines);
                g_pieces.at = 0;
                setSleepFunction(sendNextPiece);
            },
            [] {
                std::string response;
                require(
                    readAtCommandResponse(g_pieces.ends[0], response, LIST_TIMEOUT_S) == ePORT_OK &&
                        response.size() == g_pieces.text.size(),
                    "the list was not read");
            }};
}

sWorkload parseOperatorList(size_t lines) {
    return {[] { telitCarrier_list_Map.clear(); },
            [text = operatorList(lines), lines] {
                parseCarrierList(text);
                require(telitCarrier_list_Map.size() == std::min(lines, OPERATORS_KEPT),
                        "the list was not parsed");
            }};
}

sWorkload writeOperatorFile(size_t lines) {
    return {[text = operatorList(lines)] {
                telitCarrier_list_Map.clear();
                parseCarrierList(text);
            },
            [] { require(writeCarrierList(g_s_var_log_dir, true) == 1, "no operator file"); }};
}

sWorkload receiveParts(size_t parts) {
    return {[parts] {
                setSleepFunction(letModemWork);
                emptySpool();
                injectParts(parts);
            },
            [parts] {
                sGateway& self = gateway();
                const unsigned before = self.device.modem.i_sms_received;
                const unsigned all =
                    before + static_cast<unsigned>(parts + parts / PARTS_OF_A_MESSAGE);
                // One check joins at most one message in each of its passes.
                for (int checks = 0; checks < CHECKS_MAX && self.device.modem.i_sms_received < all;
                     ++checks)
                    checkReceiveSmS(self.port->descriptor(), self.device.modem, g_s_root_sms_path);
                deleteSmsMsg(self.port->descriptor(), eSMS_DELETE_READ);
                require(self.device.modem.i_sms_received == all, "messages were lost");
            }};
}

sWorkload checkWaitingParts(size_t parts) {
    return {[parts, written = false]() mutable {
                if (written) return;
                emptySpool();
                writeWaitingParts(parts);
                tSmsQueue queue;
                checkSmsParts(queue, g_s_root_sms_path);  // the first check reads them all
                written = true;
            },
            [] {
                tSmsQueue queue;
                checkSmsParts(queue, g_s_root_sms_path);
                require(queue.empty(), "a part was joined");
            }};
}

sWorkload sendFromFolder(size_t files) {
    return {[files, cleared = false]() mutable {
                setSleepFunction(letModemWork);
                if (!cleared) emptySpool();
                cleared = true;
                fillSendFolder(files);
            },
            [] {
                sGateway& self = gateway();
                const unsigned before = self.device.modem.i_sms_sent;
                checkSendSmS(self.port->descriptor(), self.device.modem, g_s_root_sms_path);
                require(self.device.modem.i_sms_sent == before + 1, "no message was sent");
            }};
}

sWorkload storeBatch() {
    return {[] {}, [count = 0]() mutable { writeBatch("BENCH_", std::to_string(++count)); }};
}

cStoreWriters::cStoreWriters(size_t count) : m_count(count) {
    int stop[2];
    require(pipe(stop) == 0, "no pipe");
    for (size_t i = 0; i < count; ++i) {
        const pid_t child = fork();
        require(child >= 0, "no process");
        if (child != 0) continue;
        close(stop[1]);
        // An LMDB environment must not be used across a fork.
        setKeyValueStorePath("/run/cellslot/skvs");
        writeUntil(stop[0], i);
    }
    close(stop[0]);
    m_stop = stop[1];
}

cStoreWriters::~cStoreWriters() {
    close(m_stop);
    for (size_t i = 0; i < m_count; ++i)
        wait(nullptr);
}

size_t operatorListBytes(size_t lines) {
    return operatorList(lines).size();
}
