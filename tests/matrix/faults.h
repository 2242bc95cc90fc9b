#ifndef TESTS_MATRIX_FAULTS_H
#define TESTS_MATRIX_FAULTS_H

#include <random>
#include <string>
#include <vector>

// What can go wrong with the answer to one command.
enum eFault {
    eSILENCE,
    eANSWER_LOST,  // as silence, but the command is executed
    eERROR,
    eCME_KNOWN,
    eCME_UNKNOWN,
    eCME_TEXT,
    eCUT,
    eGARBAGE_BYTES,
    eGARBAGE_KILOBYTES,
    eGARBAGE_FLOOD,
    eURC_BEFORE,
    eURC_INSIDE,
    eURC_AFTER,
    eLATE,        // arrives when the next command was sent
    eOTHER,       // the answer to another command
    eSHELL_TEXT,  // shell syntax in the fields of the answer
    eHANGUP,
    eHANGUP_LONG,
    eMIXED,  // any of those above, chosen for each command
    // Not a fault: an unsolicited line beside the answer, which must cost nothing.
    eINTERJECTION,
};

// The position of an unsolicited line; APART: in a read of its own.
enum eInterjectionPlace {
    eBEFORE_ANSWER,
    eBEFORE_ANSWER_APART,
    eBETWEEN_LINES,
    eBETWEEN_LINES_APART,
    eBEFORE_FINAL,
    eBEFORE_FINAL_APART,
    eAFTER_ANSWER,
    eAFTER_ANSWER_APART,
};

struct sInterjectionRow {
    eInterjectionPlace place;
    const char* name;
};

struct sFaultRow {
    eFault fault;
    const char* name;
    bool executes;  // the command takes effect
};

const std::vector<sFaultRow>& faultTable();
const sFaultRow& faultRow(eFault fault);

struct sAnswer {
    std::string echo;
    std::string body;
};

// What the modem sends instead of an answer. other: the body of an answer to another command.
std::string spoiledAnswer(eFault fault, const sAnswer& answer, const std::string& other,
                          std::mt19937_64& random);

const std::vector<sInterjectionRow>& interjectionTable();
// Unsolicited lines as modems send them. Lines that look like an answer to the command, or to the
// command that reads them, are left out: the daemon cannot distinguish them.
std::vector<std::string> interjectionsFor(eInterjectionPlace place, const std::string& command);

// Pause before a portion that must be read by itself.
constexpr uint64_t APART_MS = 20;

// An answer with an added line, in portions.
std::vector<std::string> interjected(eInterjectionPlace place, const sAnswer& answer,
                                     const std::string& line);

// A number from 0 to end - 1.
size_t below(size_t end, std::mt19937_64& random);

#endif
