#ifndef PLATFORM_INCLUDE_LOGGER_H
#define PLATFORM_INCLUDE_LOGGER_H

#include <string>

// A text log of bounded size; old files are kept as path.1, path.2 and so on.
class cLogger {
  public:
    // Opens path for logging and creates a missing folder. maxKilobytes: size at which the file is
    // rotated; oldFiles: how many old files are kept; timeFormat: strftime format of the stamp
    // before each message; timestamps: whether there is one. May be called again at any time. If
    // the file cannot be used, returns false and logs the cause. A new file has mode 0600; a
    // symbolic link is not followed.
    bool LogInit(const std::string& path, int maxKilobytes, int oldFiles,
                 const std::string& timeFormat, bool timestamps);

    // The next message, and only that, has no time stamp.
    void NoTimestampThisMessage() { m_stampNext = false; }
    // The next message, and only that, is written byte for byte; otherwise control characters are
    // written as blanks.
    void DontModifyThisMessage() { m_modifyNext = false; }

    // Writes the message and a line end. If it cannot be written, returns false and logs the cause.
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
