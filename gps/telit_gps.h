#ifndef GPS_TELIT_GPS_H
#define GPS_TELIT_GPS_H

#include <cstdint>
#include <string>

#include "include/result_codes.h"

// State of the receiver in the key-value store.
enum eSkvsEnableStatus : int {
    eSKVS_GPS_NOT_ENABLED = -1,  // not found, or being enabled
    eSKVS_GPS_CLEARED = 0,
    eSKVS_GPS_ENABLED = 1,
};

// State of the stream in the key-value store.
enum eSkvsStreamStatus : int {
    eSKVS_STREAM_NOT_STARTED = -1,  // the start failed, or it is being stopped
    eSKVS_STREAM_STOPPED = 0,
    eSKVS_STREAM_STARTED = 1,
};

// The last command to gpsd about the port; NONE if there was none.
enum class eGpsdHandOver { NONE, ADD, REMOVE };

// How often the receiver is enabled at most, over all runs of the daemon, until it is found.
constexpr int GPS_ENABLE_MAX = 3;

// The modem's second serial port. It accepts AT commands until the stream of positions is started;
// then it belongs to the host's gpsd until "+++" stops the stream. A FIFO in its place is for bench
// tests: no waits and no gpsd.
class cTelitGps {
  public:
    cTelitGps() = default;
    ~cTelitGps();
    cTelitGps(const cTelitGps&) = delete;
    cTelitGps& operator=(const cTelitGps&) = delete;

    void setDebug(uint64_t mask) { m_debugMask = mask; }
    // Does not change the state of the stream.
    void init(const std::string& devicePath, const std::string& slot);
    // Resets to the constructed state; closes an open port.
    void reset();

    // The port has vanished, and a stream with it.
    void forgetStream() { m_streamOn = false; }

    bool getStreamStatus() const { return m_streamOn; }

    // Finds the receiver, starts the stream and hands the port to gpsd. The port is always closed
    // afterwards. streamFlag follows getStreamStatus.
    //   START_STREAM_SUCCESS      running. If it ran before, chipset does not change, and gpsd gets
    //                             the port if it was taken away, for example by a failed stop
    //   DEVICE_HANDLE_INVALID, DEV_OPEN_FAILURE
    //   DEVICE_REQUIRES_RESET     not found, but enabled: it appears after a restart of the modem
    //   ENABLE_MAX_COUNT          not found, and enabled too often already
    //   SET_SKVS_FAILURE          not found, and the store could not be written
    //   RESPONSE_TIMEOUT, RESPONSE_ERROR, START_STREAM_FAILURE
    eGeneralErrors gpsStart(std::string& chipset, bool& streamFlag);

    // Takes the port back from gpsd and stops the stream that gpsStart started.
    // STOP_STREAM_SUCCESS, also when none was started; STOP_STREAM_FAILURE,
    // DEVICE_HANDLE_INVALID or DEV_OPEN_FAILURE.
    eGeneralErrors gpsStop(bool& streamFlag);

    // eSUCCESS, DEVICE_HANDLE_INVALID or DEV_OPEN_FAILURE.
    eGeneralErrors openGpsDevice();
    // 0 for a character device or a FIFO (a FIFO switches to FIFO mode), errno if stat fails, -1
    // for anything else.
    int checkFileHandle(const std::string& path);
    // Hands the port to gpsd, or takes it away. gpsdctl does not report whether gpsd succeeded.
    void updateGpsd(bool add);
    void maybeSleep(unsigned microseconds) const;

    // GPS_ENABLED with the chipset known and stored; GPS_DISABLED after five empty answers;
    // RESPONSE_TIMEOUT or RESPONSE_ERROR.
    eGeneralErrors getGpsChipset(int port);
    // The result of the last command sent.
    ePortReturn gpsEnable(int port);

    // Counts an attempt. OK_TO_ENABLE, or ENABLE_MAX_COUNT, also when it cannot be counted.
    eGeneralErrors checkSkvsEnableCount();

    // The store. Setters return eSUCCESS or SET_SKVS_FAILURE. For an entry that is missing or
    // invalid, getters return 0, not enabled, and stopped.
    int getSkvsEnableCount() const;
    eGeneralErrors setSkvsEnableCount(int count);
    eGeneralErrors clearSkvsEnabled();
    eGeneralErrors setSkvsEnabled(eSkvsEnableStatus status);
    eSkvsEnableStatus getSkvsEnabled() const;
    eGeneralErrors setSkvsChipset(const std::string& chipset);
    eGeneralErrors setSkvsStream(eSkvsStreamStatus status);
    eSkvsStreamStatus getSkvsStream() const;

    // START_STREAM_SUCCESS, START_STREAM_FAILURE, or RESPONSE_TIMEOUT without "CONNECT".
    eGeneralErrors startGpsStream();
    // Tests the port: false if it accepts commands or shows no sentence.
    bool isGpsStreamOn();
    // STOP_STREAM_SUCCESS or STOP_STREAM_FAILURE.
    eGeneralErrors stopGpsStream();
    ePortReturn sendEscapeSequence();

  private:
    void trace(const char* function) const;
    eGeneralErrors startOnOpenPort();
    eGeneralErrors enableReceiver();
    eGeneralErrors stopAndClose();
    void noteChipset(const std::string& chipset, int queries);
    std::string storeKey(const char* name) const;
    eGeneralErrors store(const char* name, const std::string& value);
    int stored(const char* name, int least, int most, int fallback) const;

    int m_port = -1;
    bool m_fifoMode = false;
    std::string m_devicePath;
    uint64_t m_debugMask = 0;
    std::string m_gpsSlot;
    std::string m_chipset;
    bool m_streamOn = false;
    eGpsdHandOver m_lastHandOver = eGpsdHandOver::NONE;
};

#endif
