#ifndef LE910SIM_MODEM_STATE_H
#define LE910SIM_MODEM_STATE_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace le910sim {

// The whole state of the simulated modem. Plain values: a copy is a second modem in the same state.

enum eModel { eMODEL_NA1, eMODEL_NA_V2, eMODEL_EU_V2 };

struct sModelRow {
    eModel model;
    const char* name;  // as in the answer to +GMM and in --model
    const char* defaultVersion;
    uint32_t umtsBands;     // bit n: UMTS band number n of #BND
    uint64_t lteBands;      // bit n - 1: LTE band n
    std::vector<int> ws46;  // accepted by +WS46
    int defaultWs46;
};

const std::vector<sModelRow>& modelTable();
const sModelRow& modelRow(eModel model);

// A radio technology and its numbers in the commands.
struct sTechRow {
    const char* name;
    int psnt;     // #PSNT
    int copsAct;  // +COPS, +CREG; 3GPP TS 27.007 section 7.3
    enum eFamily { eFAMILY_GSM, eFAMILY_WCDMA, eFAMILY_LTE } family;
};

const std::vector<sTechRow>& techTable();

enum eCardState {
    eCARD_MISSING,
    eCARD_READY,
    eCARD_PIN,
    eCARD_PUK,
    eCARD_BLOCKED,  // PUK attempts used up
};

constexpr int PIN_ATTEMPTS_MAX = 3;
constexpr int PUK_ATTEMPTS_MAX = 10;

struct sSimCard {
    bool present = true;
    std::string iccid = "89014100000000000015";
    std::string imsi = "310410000000001";
    std::string ownName;
    std::string ownNumber = "12025550101";
    int ownNumberType = 129;
    std::string pin = "1234";
    std::string puk = "12345678";
    bool lock = false;
    int pinAttempts = PIN_ATTEMPTS_MAX;
    int pukAttempts = PUK_ATTEMPTS_MAX;
    bool verified = false;  // the PIN was given since power-up
    std::string cpinText;   // answered by +CPIN? instead of the real state
    std::string pctText;    // answered by #PCT instead of the real number; "none": no such line
};

eCardState cardState(const sSimCard& card);

struct sOperator {
    std::string plmn;
    std::string name;
};

// What the network offers to this modem; registrationState() is the resulting state.
struct sNetwork {
    int state = 1;    // +CREG stat
    size_t tech = 0;  // row of techTable()
    sOperator current = {"310410", "AT&T"};
    std::string area = "700D";
    std::string cell = "00001D7";
    std::string rac = "1";
    int bandNumber = 4;
    int channel = 2225;
    bool ims = false;
    bool autoAttach = false;
    bool acceptsAttach = true;
    bool acceptsActivation = true;
    std::vector<sOperator> visible;               // others that manual selection can find
    std::string time = "20/06/15,20:32:05-24,1";  // empty: none received
    uint64_t timeSetMs = 0;
};

struct sRadioSignal {
    int rssi = 17;  // +CSQ number
    int ber = 99;
    int rsrpDbm = -98;
    int rssiDbm = -68;
    int rsrqDb = -9;
    int rscpDbm = -85;
    std::string ecioDb = "-4.5";
    std::vector<std::string> activeSet;  // "channel,code,ecio"
    std::vector<int> hspa;               // the four values after the type of #PSNT in WCDMA
};

enum eContextFamily { eIPV4 = 1, eIPV6 = 2, eIPV4V6 = 3 };

// What a context gets at activation. If a list or text is empty, the simulator makes a value up.
struct sAddressPlan {
    int families = eIPV4;
    std::vector<std::string> ipv4;  // one per activation; the last one is reused
    std::string ipv4Mask = "255.255.255.0";
    std::optional<std::string> ipv4Gateway;
    std::vector<std::string> ipv4Dns = {"10.0.0.1", "10.0.0.2"};
    std::vector<std::string> ipv6;
    int ipv6Prefix = 64;
    std::string ipv6Gateway = "fe80::1";
    std::vector<std::string> ipv6Dns = {"2001:db8::53"};
    std::vector<std::string> ipv4Pcscf;
    std::vector<std::string> ipv6Pcscf;
};

struct sContext {
    std::string type = "IP";
    std::string apn;
    std::string address;  // as defined by +CGDCONT
    bool active = false;
    int activations = 0;
    std::string ipv4;  // while active
    std::string ipv6;
    int authType = 0;
    std::string user;
    std::string password;
    bool ncm = false;
    std::optional<sAddressPlan> plan;  // without one the network's plan applies
};

constexpr int CONTEXT_ID_MAX = 16;

struct sGpioPin {
    int direction = 0;  // 0 input, 1 output, 2 alternate function
    int value = 0;
};

constexpr int GPIO_PIN_MAX = 10;
constexpr int SIM_SLOT_PIN = 2;

enum eSmsStatus { eSMS_UNREAD = 0, eSMS_READ = 1, eSMS_UNSENT = 2, eSMS_SENT = 3 };

struct sStoredSms {
    eSmsStatus status = eSMS_UNREAD;
    std::string pdu;  // service centre included, upper-case hex
};

struct sSentSms {
    uint64_t timeMs = 0;
    std::string pdu;  // empty if sent in text mode
    std::string number;
    std::string text;
    std::string coding;  // gsm7, 8bit, ucs2, or the character set of text mode
    int reference = 0;   // of the concatenation, 0 none
    int part = 0;
    int total = 0;
};

struct sSmsStore {
    std::map<int, sStoredSms> slots;   // by index, from 1
    std::vector<std::string> waiting;  // PDUs that the network keeps while the memory is full
    std::vector<sSentSms> sent;
    int capacity = 20;
    int nextReference = 1;
    bool bareAlpha = false;  // +CMGL: 1,0,,24 instead of 1,0,"",24
    std::string characterSet = "IRA";
    std::string serviceCentre = "+12025550100";
    uint64_t promptTimeoutMs = 0;  // 0: the prompt waits forever
    uint64_t sendDelayMs = 0;
};

struct sGpsPoint {
    double latitude = 0;
    double longitude = 0;
    double altitudeM = 0;
};

struct sGpsReceiver {
    bool running = false;  // enabled and restarted since
    bool power = false;    // $GPSP, saved by $GPSSAV
    bool savedPower = false;
    std::string chipset = "GSW3.5.0";
    bool fix = true;
    int satellites = 8;
    double hdop = 1.1;
    double speedKnots = 0.0;
    double courseDeg = 0.0;
    std::vector<sGpsPoint> track = {{50.825543, 5.93291667, 192.0}};  // one point per second
    std::string ggaTalker = "GP";
    std::string rmcTalker = "GN";
    std::string escapeReply = "NO CARRIER";
};

struct sFirmware {
    bool dual = false;
    int slot = 0;
    std::array<std::string, 2> version;  // empty: that of the model
    int configVersion = 1;
};

struct sIdentity {
    std::string manufacturer = "Telit";
    std::string hardware = "DOB 1.10";
    std::string imei = "356938035643809";
};

struct sTimings {
    uint64_t readyMs = 500;         // from unlock, SIM detection or boot to +PACSP0
    uint64_t restartGraceMs = 500;  // from the OK of AT#REBOOT to the ports going
    uint64_t restartMs = 3000;      // ports away
    uint64_t registerMs = 0;        // from boot or +COPS=0 to registered
    uint64_t replyMs = 0;           // before every reply
};

struct sBehaviour {
    bool cgdataOk = true;
    bool quoted = true;  // fields of +CGCONTRDP and +CGDCONT
    bool echoPings = true;
    bool anySource = false;  // answer pings from addresses that no context has
    std::vector<std::string> bootLines = {"+PACSP0"};
};

struct sModemState {
    uint64_t nowMs = 0;
    eModel model = eMODEL_NA_V2;
    bool testMode = false;
    bool testModeNext = false;  // test mode after the next restart
    sIdentity identity;
    sFirmware firmware;
    std::array<sSimCard, 2> cards;  // slot 1 and slot 2
    int activeSlot = 1;
    bool simForcedOut = false;  // #SIMDET=0
    int simDetect = 2;
    bool radioOn = true;        // +CFUN
    bool deregistered = false;  // +COPS=2
    int copsMode = 0;
    int copsFormat = 0;
    std::string manualPlmn;  // +COPS=1, if another network's
    uint64_t registerAtMs = 0;
    sNetwork network;
    bool attached = false;
    sRadioSignal signal;
    int temperatureC = 28;
    int temperatureLevel = 0;
    sAddressPlan addresses;
    std::map<int, sContext> contexts;
    int callContext = 0;  // of the data call; 0: there is none
    std::string imsApn;
    std::array<sGpioPin, GPIO_PIN_MAX + 1> gpio;
    std::map<std::string, std::vector<int64_t>> settings;  // by command name
    std::vector<int64_t> savedLed;
    std::vector<int64_t> bands;  // #BND
    sSmsStore sms;
    sGpsReceiver gps;
    sTimings timings;
    sBehaviour behaviour;
    std::vector<sOperator> operatorNames;  // +COPN

    sModemState();

    sSimCard& card() { return cards[static_cast<size_t>(activeSlot - 1)]; }
    const sSimCard& card() const { return cards[static_cast<size_t>(activeSlot - 1)]; }
    // The state of the SIM as the modem sees it.
    eCardState simState() const;
    const sTechRow& tech() const { return techTable()[network.tech]; }
    int64_t setting(const std::string& name, size_t index = 0) const;
};

// Current +CREG stat: that of the network, unless SIM, radio or operator selection prevents it.
int registrationState(const sModemState& state);
bool isRegistered(const sModemState& state);

// Updates dependent states: no network, no attach; no attach, no context.
void settle(sModemState& state);

// Gives a context its addresses. False if the network supports no address family of its type.
bool activateContext(sModemState& state, int contextId);
void deactivateContext(sContext& context);
// Ends the data call, if there is one, and with it its context.
void endCall(sModemState& state);

// Resets what a restart forgets and applies what takes effect at a restart.
void resetAtPowerUp(sModemState& state);

// Seconds since 1970 of the modem's clock, in network local time, and its zone in quarter hours.
struct sClock {
    int64_t localSeconds = 0;
    int zoneQuarters = 0;
    int daylightSaving = 0;
};
// Reads "yy/MM/dd,hh:mm:ss-zz,d"; nothing if the text is no such time.
std::optional<sClock> parseClock(const std::string& text);
sClock modemClock(const sModemState& state);
// "yy/MM/dd,hh:mm:ss-zz"
std::string clockText(const sClock& clock);

}  // namespace le910sim

#endif
