#include "recording/line_names.h"

#include <strings.h>

#include <array>

#include "recording/characters.h"

namespace {

// Everything that the daemon sends and reads, and what a modem of this family sends unasked. Of a
// command that is not here, all arguments may be secrets.
// clang-format off
constexpr sName NAMES[] = {
    {"+CPIN",      eARGUMENTS_SECRET,         eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CPWD",      eARGUMENTS_SECRET_AFTER_1, eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"+CLCK",      eARGUMENTS_SECRET_AFTER_2, eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#PDPAUTH",   eARGUMENTS_CREDENTIALS,    eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"+CGAUTH",    eARGUMENTS_CREDENTIALS,    eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"#SGACTAUTH", eARGUMENTS_CREDENTIALS,    eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"$QCPDPP",    eARGUMENTS_SECRET_AFTER_2, eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"#EUSER",     eARGUMENTS_SECRET,         eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"#EPASSW",    eARGUMENTS_SECRET,         eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"#USERID",    eARGUMENTS_SECRET,         eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"#PASSW",     eARGUMENTS_SECRET,         eANSWER_CREDENTIALS, eBareLine::UNKNOWN},
    {"+CUSD",      eARGUMENTS_SECRET,         eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CRSM",      eARGUMENTS_SECRET,         eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CSIM",      eARGUMENTS_SECRET,         eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CPBF",      eARGUMENTS_SECRET,         eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CMGS",      eARGUMENTS_NUMBERS,        eANSWER_SENT,        eBareLine::UNKNOWN},
    {"+CMGW",      eARGUMENTS_NUMBERS,        eANSWER_SENT,        eBareLine::UNKNOWN},
    {"+CMGL",      eARGUMENTS_KEPT,           eANSWER_MESSAGES,    eBareLine::UNKNOWN},
    {"+CMGR",      eARGUMENTS_KEPT,           eANSWER_MESSAGES,    eBareLine::UNKNOWN},
    {"+CMT",       eARGUMENTS_SECRET,         eANSWER_ONE_MESSAGE, eBareLine::UNKNOWN},
    {"+CBM",       eARGUMENTS_SECRET,         eANSWER_ONE_MESSAGE, eBareLine::UNKNOWN},
    {"+CDS",       eARGUMENTS_SECRET,         eANSWER_ONE_MESSAGE, eBareLine::UNKNOWN},
    {"+CNUM",      eARGUMENTS_SECRET,         eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CLIP",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CCWA",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CSCA",      eARGUMENTS_NUMBERS,        eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CPBR",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::UNKNOWN},
    {"+CGSN",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"#CGSN",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"+GSN",       eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"+CIMI",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"#CIMI",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"+CCID",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"#CCID",      eARGUMENTS_KEPT,           eANSWER_NUMBERS,     eBareLine::IDENTITY},
    {"+GMM",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"+CGMM",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"+GMI",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"+CGMI",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"+GMR",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"+CGMR",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"#CFVR",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"#MONI",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"#SERVINFO",  eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"#RFSTS",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"#PSNT",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#PCT",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#QSS",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#TEMPMON",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#TEMPMEAS",  eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#FWSWITCH",  eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#NCM",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#CCLK",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#CCLKMODE",  eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#NITZ",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#REBOOT",    eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#TESTMODE",  eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#GPIO",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#SLED",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#SLEDSAV",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#AUTOBND",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#ENS",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#BND",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#IMSPDPSET", eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#PORTCFG",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#ATDELAY",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#SIMDET",    eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#CEER",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"#QTEMP",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CSQ",       eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CESQ",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CREG",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGREG",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CEREG",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CIREG",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CIREGU",    eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CMEE",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+COPN",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+COPS",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGATT",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGACT",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGCONTRDP", eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGPADDR",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGDATA",    eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGDCONT",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGEV",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CGEREP",    eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CIEV",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CSDF",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CCLK",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+WS46",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CFUN",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CSCS",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CMGF",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CMGD",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CMTI",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CNMI",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CPMS",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"+CEER",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"$GPSSW",     eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::KEPT},
    {"$GPSNMUN",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"$GPSD",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"$GPSP",      eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"$GPSSAV",    eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"$GPSGPIO",   eARGUMENTS_KEPT,           eANSWER_KEPT,        eBareLine::UNKNOWN},
    {"$GPSSERSPEED", eARGUMENTS_KEPT,         eANSWER_KEPT,        eBareLine::UNKNOWN},
};
// clang-format on

// The hash of a name, letter by letter, so that it is ready when the name ends.
constexpr unsigned hashStep(unsigned hash, char upper) {
    return hash * 33 + static_cast<unsigned char>(upper);
}

// Finds a name in NAMES with about one comparison.
class cNameIndex {
  public:
    cNameIndex() {
        for (const sName& row : NAMES) {
            unsigned hash = 0;
            for (const char* at = row.name; *at != '\0'; ++at)
                hash = hashStep(hash, *at);
            while (m_places[hash % PLACES] != nullptr)
                ++hash;
            m_places[hash % PLACES] = &row;
        }
    }
    const sName* find(const char* text, size_t size, unsigned hash) const {
        for (; m_places[hash % PLACES] != nullptr; ++hash) {
            const sName* row = m_places[hash % PLACES];
            if (strncasecmp(row->name, text, size) == 0 && row->name[size] == '\0') return row;
        }
        return nullptr;
    }

  private:
    static constexpr unsigned PLACES = 512;
    std::array<const sName*, PLACES> m_places{};
};

const cNameIndex& nameIndex() {
    static const cNameIndex INDEX;
    return INDEX;
}

}  // namespace

sFoundName findName(const char* text, size_t size) {
    unsigned hash = hashStep(0, text[0]);
    size_t end = 1;
    for (; end < size && isAlphanumeric(text[end]); ++end)
        hash = hashStep(hash, upperOf(text[end]));
    return {nameIndex().find(text, end, hash), end};
}
