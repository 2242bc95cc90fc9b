#ifndef RECORDING_LINE_NAMES_H
#define RECORDING_LINE_NAMES_H

#include <cstddef>
#include <cstdint>

// What of a command's arguments may be recorded.
enum eArguments : uint8_t {
    eARGUMENTS_KEPT,
    eARGUMENTS_NUMBERS,         // quoted texts are numbers
    eARGUMENTS_SECRET,          // all
    eARGUMENTS_SECRET_AFTER_1,  // AT+CPWD="SC","1234","5678"
    eARGUMENTS_SECRET_AFTER_2,  // AT+CLCK="SC",0,"1234"
    eARGUMENTS_CREDENTIALS,     // AT#PDPAUTH=1,2,user,password
};

// What of an answer may be recorded.
enum eAnswer : uint8_t {
    eANSWER_UNKNOWN,
    eANSWER_KEPT,
    eANSWER_NUMBERS,      // quoted texts are names and numbers
    eANSWER_MESSAGES,     // the same, and the lines after it up to the result are messages
    eANSWER_ONE_MESSAGE,  // the same, and the next line is a message
    eANSWER_SENT,         // ends the echo of a message
    eANSWER_CREDENTIALS,  // what somebody has stored in the modem; short numbers are kept
};

// What a line without a name (an answer to AT+CGSN, for example) may be; the last command says it.
enum class eBareLine { UNKNOWN, KEPT, IDENTITY };

// What is known of a command and of the lines that answer it.
struct sName {
    const char* name;
    eArguments arguments;
    eAnswer answer;
    eBareLine bareLine;
};

// row is nullptr if the name is not known.
struct sFoundName {
    const sName* row;
    size_t size;  // of the name with its first character
};

// The name that begins with the first character of the text: "+CPIN". size is at least 1.
sFoundName findName(const char* text, size_t size);

#endif
