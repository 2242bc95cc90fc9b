#include "published/sms_spool.h"

#include <algorithm>

#include "platform/include/text_helpers.h"

namespace {

constexpr const char* BEFORE_TIME = ".";

// Whether the line belongs to the field; then value is the rest of the line.
bool takeField(const std::string& line, const char* field, std::string& value) {
    const std::string start = smsFieldStart(field);
    if (!startsWith(line, start)) return false;
    value = line.substr(start.size());
    return true;
}

}  // namespace

std::string smsFolder(const std::string& root, const char* dir) {
    const std::string path = root + dir;
    return path.substr(0, path.size() - 1);
}

std::string filedSmsName(const std::string& name, const std::string& time) {
    const std::string suffix = BEFORE_TIME + time;
    return name.substr(0, SMS_NAME_MAX - suffix.size()) + suffix;
}

bool isFiledSmsName(const std::string& filed, const std::string& name) {
    return startsWith(filed, name + BEFORE_TIME);
}

std::string smsFieldStart(const std::string& field) {
    return field + "=";
}

std::string sendFileText(const std::string& number, const std::string& text) {
    return smsFieldStart(SMS_FIELD_TO) + number + "\n" + smsFieldStart(SMS_FIELD_TEXT) + text +
           "\n";
}

sReceivedText parseReceivedText(const std::string& content) {
    sReceivedText message;
    size_t start = 0;
    while (start < content.size()) {
        const size_t end = std::min(content.find('\n', start), content.size());
        const std::string line = content.substr(start, end - start);
        if (takeField(line, SMS_FIELD_TEXT, message.text)) {
            message.text = content.substr(start + smsFieldStart(SMS_FIELD_TEXT).size());
            break;
        }
        takeField(line, SMS_FIELD_FROM, message.from);
        takeField(line, SMS_FIELD_TIME, message.time);
        start = end + 1;
    }
    return message;
}
