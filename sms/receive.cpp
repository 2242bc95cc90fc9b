#include "sms/receive.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "atcmd/command.h"
#include "include/device_records.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "sms/assembly.h"
#include "sms/joined_journal.h"
#include "sms/listing_marker.h"
#include "sms/repeated_parts.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"

namespace {

constexpr unsigned LIST_TIMEOUT_S = 10;
constexpr unsigned DELETE_TIMEOUT_S = 2;

const char* const LIST_PREFIX = "+CMGL:";
const char* const LIST_END = "OK";
constexpr size_t HEADER_FIELDS = 4;

// How much of a line that was not understood is logged, which is more than any PDU has, and how
// many such lines after a header.
constexpr size_t LOGGED_LINE_MAX = 1000;
constexpr size_t LOGGED_LINES_MAX = 16;

constexpr int LAST_ASCII_CHARACTER = 126;

// More than any modem stores: a modem that never deletes must not fill our memory.
constexpr size_t LISTED_MAX = 2000;

template <typename tType>
struct sCommandRow {
    tType type;
    eAtCmd command;
};

const sCommandRow<eSmsReadType> READ_COMMANDS[] = {
    {eSMS_READ_UNREAD, eAT_CMD_CMGL_PDU_UNREAD},
    {eSMS_READ_READ, eAT_CMD_CMGL_PDU_READ},
    {eSMS_READ_ALL, eAT_CMD_CMGL_PDU_ALL},
};

const sCommandRow<eSmsDelType> DELETE_COMMANDS[] = {
    {eSMS_DELETE_READ, eAT_CMD_CMGD_READ},
    {eSMS_DELETE_READ_SENT, eAT_CMD_CMGD_READ_SENT},
    {eSMS_DELETE_READ_SENT_UNSENT, eAT_CMD_CMGD_READ_SENT_UNSENT},
    {eSMS_DELETE_ALL, eAT_CMD_CMGD_ALL},
};

// False for a type that is not in the table.
template <typename tType, size_t SIZE>
bool findCommand(const sCommandRow<tType> (&table)[SIZE], tType type, std::string& command) {
    for (const sCommandRow<tType>& row : table) {
        if (row.type != type) continue;
        command = commandText(row.command);
        return true;
    }
    return false;
}

// Sends a listing. cutOff: the modem listed messages, and so marked them as read, but then failed.
ePortReturn listMessages(int port, e3gppType type, const std::string& command, tSmsQueue& queue,
                         bool& cutOff) {
    std::string response;
    const ePortReturn result =
        queryModem(port, command, eParseCmx::ON_CMX_ERROR, LIST_TIMEOUT_S, &response);
    cutOff = result != ePORT_OK && response.find(LIST_PREFIX) != std::string::npos;
    if (result == ePORT_NO_FINAL_RESULT) {
        debug(eLOG_NOTICE, g_i_debugMode, "getSmsMsg(): Command '%s' TIMEOUT", command.c_str());
    } else if (result == ePORT_ERROR) {
        debug(eLOG_NOTICE, g_i_debugMode, "getSmsMsg(): Command '%s' reported ERROR",
              command.c_str());
    } else if (result != ePORT_OK) {
        debug(eLOG_NOTICE, g_i_debugMode, "getSmsMsg(): Command '%s' reported CME/CMS ERROR %d",
              command.c_str(), result);
    } else {
        parseSmsPduMessages(type, response, queue);
    }
    return result;
}

// The fields of a header. A comma within quotes, as in a name, does not separate fields. If the
// quotes are not balanced, every comma does.
std::vector<std::string> headerFields(const std::string& text) {
    const bool balanced = std::count(text.begin(), text.end(), '"') % 2 == 0;
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (const char c : text) {
        if (c == '"') quoted = balanced && !quoted;
        if (c == ',' && !quoted)
            fields.emplace_back();
        else
            fields.back() += c;
    }
    return fields;
}

// The modem deletes the messages that it has listed, so the log is then the only place that has
// them.
void logLost(const char* what, const std::string& line) {
    debug(eLOG_NOTICE, g_i_debugMode, "%s: %s", what,
          oneLineText(line.substr(0, LOGGED_LINE_MAX)).c_str());
}

void logNotUnderstood(const std::string& line) {
    logLost("SMS listing, not understood", line);
}

// Reads a listing line by line.
class cListingReader {
  public:
    cListingReader(e3gppType type, tSmsQueue& queue) : m_type(type), m_queue(queue) {}

    void takeLine(const std::string& text) {
        if (startsWith(text, LIST_PREFIX)) {
            endHeader();
            takeHeader(text);
        } else if (text.find(LIST_PREFIX) != std::string::npos) {
            logNotUnderstood(text);
        } else {
            takePdu(text);
        }
    }

    // After the last line.
    void finish() { endHeader(); }

  private:
    // +CMGL: 1,0,"",23
    //        0 1 2  3    index, status, name in the phone book, octets of the PDU
    void takeHeader(const std::string& text) {
        const std::vector<std::string> fields = headerFields(text.substr(strlen(LIST_PREFIX)));
        debug(eLOG_SMS, g_i_debugMode,
              "parseSmsPduMessages(): Found a message header, token count is %d",
              static_cast<int>(fields.size()));
        m_pduMissing = true;
        if (fields.size() != HEADER_FIELDS) {
            logNotUnderstood(text);
            return;
        }
        const int length = textToInt(fields[3]);
        m_pduExpected = length > 0;
        if (!m_pduExpected) {
            debug(eLOG_NOTICE, g_i_debugMode,
                  "parseSmsPduMessages(): Error: Received SMS in PDU format, but length was 0. "
                  "skipping");
            logNotUnderstood(text);
            return;
        }
        m_length = static_cast<size_t>(length);
        m_index = static_cast<uint32_t>(std::max(textToInt(fields[0]), 0));
        m_unexplained.push_back(text);
    }

    // If no PDU came after the header, one of the lines since may be its remains, so all are
    // logged. If a PDU came, they were other reports of the modem.
    void endHeader() {
        if (m_pduMissing)
            for (const std::string& line : m_unexplained)
                logNotUnderstood(line);
        m_pduMissing = false;
        m_unexplained.clear();
    }

    void takePdu(const std::string& text) {
        if (!m_pduExpected)
            debug(eLOG_SMS, g_i_debugMode, "parseSmsPduMessages(): SMS start (%s) not found yet",
                  LIST_PREFIX);
        const std::string pdu = cleanWhiteSpace(text);
        if (!stringIsHex(pdu)) {
            if (m_pduMissing && text != LIST_END && m_unexplained.size() < LOGGED_LINES_MAX)
                m_unexplained.push_back(text);
            return;
        }
        m_pduMissing = false;
        sms_t sms;
        if (!m_pduExpected) {
            logNotUnderstood(pdu);
        } else if (!decode(pdu, sms)) {
            debug(eLOG_NOTICE, g_i_debugMode, "Error: Unable to decode SMS PDU message (%s)",
                  m_type == eSMS_3GPP2 ? "3GPP2" : "3GPP");
            logLost("SMS PDU that was not decoded", pdu);
        } else {
            enqueue(sms);
        }
    }

    bool decode(const std::string& pdu, sms_t& sms) const {
        const bool debugOutput = (g_i_debugMode & eLOG_SMS_PDU) != 0;
        return (m_type == eSMS_3GPP2 ? sms_decode_3gpp2_pdu(pdu, m_length, sms, debugOutput)
                                     : sms_decode_pdu(pdu, m_length, sms, debugOutput)) == 0;
    }

    void enqueue(const sms_t& sms) {
        resetSmsRecord(m_record);
        m_record.index = m_index;
        m_record.time = sms.timestamp;
        m_record.timeUnformatted = sms.timestampUnformatted;
        m_record.from = sms.from;
        m_record.msgId = sms.reference;
        m_record.partNumber = sms.partNumber;
        m_record.partTotal = sms.numberOfParts;
        decodePduUserdata(sms, m_record.message);
        logRecord();
        m_queue.push(m_record);
    }

    void logRecord() const {
        const char* const function = "parseSmsPduMessages";
        const std::string from = oneLineText(m_record.from);
        const std::string message = oneLineText(m_record.message);
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: time %s", function,
              m_record.time.c_str());
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: time_uf %s", function,
              m_record.timeUnformatted.c_str());
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: from %s ", function, from.c_str());
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: msg_id %d", function, m_record.msgId);
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: part_num %d", function,
              m_record.partNumber);
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: num_parts %d ", function,
              m_record.partTotal);
        debug(eLOG_SMS, g_i_debugMode, "%s(): Decode message: message %s", function,
              message.c_str());
        debug(eLOG_SMS, g_i_debugMode, "%s(): Enqueue message: %s, %s, %s", function, from.c_str(),
              m_record.time.c_str(), message.c_str());
    }

    e3gppType m_type;
    tSmsQueue& m_queue;
    bool m_pduExpected = false;
    bool m_pduMissing = false;               // no PDU since the last header
    std::vector<std::string> m_unexplained;  // that header, and the lines since that are not a PDU
    size_t m_length = 0;
    uint32_t m_index = 0;
    S_smsRecordRx m_record;
};

void append16BitText(const unsigned char* data, size_t length, std::string& text) {
    for (size_t i = 0; i + 1 < length; i += 2) {
        const unsigned high = data[i];
        if (high != 0) {
            debug(eLOG_SMS_PDU, g_i_debugMode,
                  "decodePduUserdata(): Got NON-Latin Basic/Suppliment-1 header 0x%02X", high);
            text += '?';
        } else {
            debug(eLOG_SMS_PDU, g_i_debugMode,
                  "decodePduUserdata(): Got Latin Basic/Suppliment-1 ASCII header 0x%02X", high);
            text += static_cast<char>(data[i + 1]);
        }
    }
}

void append8BitText(const unsigned char* data, size_t length, std::string& text) {
    for (size_t i = 0; i < length; ++i) {
        const int byte = data[i];
        if (byte > LAST_ASCII_CHARACTER) {
            debug(eLOG_SMS_PDU, g_i_debugMode,
                  "decodePduUserdata(): Got NON-Supported ASCII character '%d' (0x%02X)", byte,
                  static_cast<unsigned>(byte));
            text += '?';
        } else {
            debug(eLOG_SMS_PDU, g_i_debugMode,
                  "decodePduUserdata(): Got ASCII character '%d' (0x%02X)", byte,
                  static_cast<unsigned>(byte));
            text += static_cast<char>(byte);
        }
    }
}

// The codec has unpacked the text. The buffer holds the longest one and its end.
void appendUnpackedText(const unsigned char* data, size_t length, std::string& text) {
    constexpr size_t BUFFER_SIZE = SMS_MAX_TEXT_OCTETS + 2;
    char buffer[BUFFER_SIZE] = {};
    memcpy(buffer, data, std::min(length, BUFFER_SIZE - 1));
    text += buffer;
}

bool sameMessage(const S_smsRecordRx& a, const S_smsRecordRx& b) {
    return a.index == b.index && a.from == b.from && a.time == b.time &&
           a.timeUnformatted == b.timeUnformatted && a.message == b.message && a.msgId == b.msgId &&
           a.partNumber == b.partNumber && a.partTotal == b.partTotal;
}

bool isListed(const S_smsRecordRx& record) {
    const std::vector<S_smsRecordRx>& listed = g_smsMemory.listed;
    return std::any_of(listed.begin(), listed.end(),
                       [&](const S_smsRecordRx& other) { return sameMessage(record, other); });
}

// Writes the messages of a listing to files, remembers and counts those that were written. False
// when one could not be written.
bool saveListed(tSmsQueue& queue, sModemInfo& modem, const std::string& root,
                std::vector<std::string>& partPaths) {
    waitForFreeNames(queue, root);
    bool allWritten = true;
    for (sSmsOutcome& outcome : writeSmsBatch(queue, root)) {
        if (!outcome.written) {
            allWritten = false;
            continue;
        }
        ++modem.i_sms_received;
        if (outcome.record.partTotal >= 2) partPaths.push_back(outcome.path);
        if (g_smsMemory.listed.size() < LISTED_MAX)
            g_smsMemory.listed.push_back(std::move(outcome.record));
    }
    return allWritten;
}

// The messages of a listing of the read ones that are not in a file yet. A daemon that was killed
// may have written some already.
tSmsQueue withoutSaved(tSmsQueue& queue, const std::string& root) {
    tSmsQueue fresh;
    for (; !queue.empty(); queue.pop()) {
        const S_smsRecordRx& record = queue.front();
        const bool saved = isListed(record) || (record.partTotal < 2 && isInRecv(record, root));
        if (!saved) fresh.push(std::move(queue.front()));
    }
    return fresh;
}

enum class eListing { SAVED, HELD, TIMEOUT };

// Lists the read messages, because an earlier listing of the unread ones may have been lost.
eListing recoverRead(int port, e3gppType type, sModemInfo& modem, const std::string& root,
                     std::vector<std::string>& partPaths) {
    notice("A listing of SMS messages may have been cut off, listing the read ones as well");
    bool cutOff;
    tSmsQueue queue;
    const ePortReturn result =
        listMessages(port, type, commandText(eAT_CMD_CMGL_PDU_READ), queue, cutOff);
    if (result == ePORT_NO_FINAL_RESULT) return eListing::TIMEOUT;
    tSmsQueue fresh = withoutSaved(queue, root);
    const bool saved = saveListed(fresh, modem, root, partPaths);
    return saved && result == ePORT_OK ? eListing::SAVED : eListing::HELD;
}

// Lists the unread messages. recover: an earlier listing may be incomplete.
eListing takeMessages(int port, e3gppType type, sModemInfo& modem, const std::string& root,
                      bool recover, std::vector<std::string>& partPaths) {
    bool cutOff;
    tSmsQueue queue;
    const ePortReturn result =
        listMessages(port, type, commandText(eAT_CMD_CMGL_PDU_UNREAD), queue, cutOff);
    if (result == ePORT_NO_FINAL_RESULT) return eListing::TIMEOUT;
    const bool saved = queue.empty() || saveListed(queue, modem, root, partPaths);
    if (!recover && !cutOff) return saved ? eListing::SAVED : eListing::HELD;
    const eListing recovered = recoverRead(port, type, modem, root, partPaths);
    return recovered == eListing::SAVED && !saved ? eListing::HELD : recovered;
}

void reportSpoolError(const std::string& root) {
    const int error = errno;
    debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot write SMS folder %s, errno %d (%s)",
          root.c_str(), error, strerror(error));
}

// Delivers complete messages, and those that an earlier check could not write.
void joinParts(sModemInfo& modem, const std::string& root,
               const std::vector<std::string>& written) {
    removeRepeatedParts(root, written);
    tSmsQueue queue;
    takeJournals(queue, root);
    checkSmsParts(queue, root);
    if (queue.empty()) return;
    waitForFreeNames(queue, root);
    modem.i_sms_received += writeSmsMessages(queue, root);
}

}  // namespace

ePortReturn getSmsMsg(int port, e3gppType type, eSmsReadType readType, tSmsQueue& queue) {
    traceEntry(eLOG_SMS, __func__);
    std::string command;
    if (!findCommand(READ_COMMANDS, readType, command)) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: Unknown SMS read command Command %d",
              __func__, readType);
        return SMS_UNKNOWN_TYPE;
    }
    bool cutOff;
    return listMessages(port, type, command, queue, cutOff);
}

ePortReturn deleteSmsMsg(int port, eSmsDelType type) {
    traceEntry(eLOG_SMS, __func__);
    std::string command;
    if (!findCommand(DELETE_COMMANDS, type, command)) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: Unknown SMS delete command Command %d",
              __func__, type);
        return SMS_UNKNOWN_TYPE;
    }
    return queryModem(port, command, eParseCmx::ALWAYS, DELETE_TIMEOUT_S);
}

void parseSmsPduMessages(e3gppType type, const std::string& response, tSmsQueue& queue) {
    cListingReader reader(type, queue);
    for (const std::string& line : responseLines(response))
        reader.takeLine(line);
    reader.finish();
}

void decodePduUserdata(const sms_t& sms, std::string& text) {
    text.clear();
    const size_t length = std::min(sms.userDataLength, sms.userData.size());
    if (length == 0) return;
    if (sms.dataCoding == SMS_CODING_16BIT)
        append16BitText(sms.userData.data(), length, text);
    else if (sms.dataCoding == SMS_CODING_8BIT)
        append8BitText(sms.userData.data(), length, text);
    else
        appendUnpackedText(sms.userData.data(), length, text);
}

eGeneralErrors checkReceiveSmS(int port, sModemInfo& modem, const std::string& root) {
    traceEntry(eLOG_SMS, __func__);
    const e3gppType type = smsTypeOf(modem);
    // If this answer comes late, it could be taken for the answer to the listing.
    const bool answerAstray = setSmsMode(port, eSMS_MODE_PDU) == ePORT_NO_FINAL_RESULT;

    bool leftOver;
    if (!openListing(root, leftOver)) {
        reportSpoolError(root);
        return eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE;
    }
    std::vector<std::string> partPaths;
    const eListing listing =
        takeMessages(port, type, modem, root, leftOver || answerAstray, partPaths);
    if (listing == eListing::TIMEOUT) return eERROR_DEVICE_RESPONSE_TIMEOUT;
    if (listing == eListing::SAVED) closeListing(root);
    joinParts(modem, root, partPaths);
    return eSUCCESS;
}

void forgetListedMessages() {
    g_smsMemory.listed.clear();
}
