#ifndef TESTS_MATRIX_FAULTS_H
#define TESTS_MATRIX_FAULTS_H

#include <random>
#include <string>
#include <vector>

// What can go wrong with the answer to one command.
enum eFault {
    eSILENCE,
    eANSWER_LOST,  // as silence, but the command took effect
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
    eMIXED,  // any of those above, for each command anew
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

// A number from 0 to end - 1.
size_t below(size_t end, std::mt19937_64& random);

#endif
