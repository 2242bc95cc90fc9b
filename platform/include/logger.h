#ifndef PLATFORM_INCLUDE_LOGGER_H
#define PLATFORM_INCLUDE_LOGGER_H

#include <string>

// A text log of bounded size with old files kept beside it as path.1, path.2 and so on.
class cLogger {
  public:
    // Opens path for logging, creating its folder where missing. maxKilobytes: size at which the
    // file is put aside; oldFiles: how many old files are kept; timeFormat: strftime format of the
    // stamp before each message; timestamps: whether there is one. May be called again at any
    // time. Returns false, with the cause in the system log, when the file cannot be used. A new
    // file has mode 0600; a symbolic link in its place is not followed.
    bool LogInit(const std::string& path, int maxKilobytes, int oldFiles,
                 const std::string& timeFormat, bool timestamps);

    // The next message, and only that, carries no time stamp.
    void NoTimestampThisMessage() { m_stampNext = false; }
    // The next message, and only that, is written byte for byte; otherwise control characters are
    // written as blanks.
    void DontModifyThisMessage() { m_modifyNext = false; }

    // Writes the message and a line end. Returns false, with the cause in the system log, when it
    // was not written.
    bool Log(const std::string& message);

  private:
    bool rotate();

    std::string m_path;
    std::string m_timeFormat;
    int m_maxKilobytes = 0;
    int m_oldFiles = 0;
    bool m_timestamps = true;
    bool m_stampNext = true;
    bool m_modifyNext = true;
};

#endif
