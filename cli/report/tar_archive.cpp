#include "cli/report/tar_archive.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

constexpr size_t BLOCK = 512;

// The header of a member. Numbers are octal texts.
struct sTarHeader {
    char name[100];
    char mode[8];
    char user[8];
    char group[8];
    char size[12];
    char time[12];
    char checksum[8];
    char type;
    char link[100];
    char magic[6];
    char version[2];
    char userName[32];
    char groupName[32];
    char deviceMajor[8];
    char deviceMinor[8];
    char prefix[155];
    char unused[12];
};
static_assert(sizeof(sTarHeader) == BLOCK);

// Octal digits to the field's end, which is 0. Those of a greater value are cut off.
template <size_t size>
void setOctal(char (&field)[size], unsigned long long value) {
    field[size - 1] = '\0';
    for (size_t i = size - 1; i > 0; --i, value /= 8)
        field[i - 1] = static_cast<char>('0' + value % 8);
}

// The sum of the header's octets, with blanks in the place of the sum.
unsigned sumOf(sTarHeader header) {
    memset(header.checksum, ' ', sizeof header.checksum);
    unsigned char octets[BLOCK];
    memcpy(octets, &header, BLOCK);
    unsigned sum = 0;
    for (const unsigned char octet : octets)
        sum += octet;
    return sum;
}

}  // namespace

void cTarArchive::add(const std::string& name, const std::string& content, time_t time) {
    sTarHeader header{};
    if (name.size() > sizeof header.name) throw std::length_error("name too long for tar");
    memcpy(header.name, name.data(), name.size());
    setOctal(header.mode, 0600);
    setOctal(header.user, 0);
    setOctal(header.group, 0);
    setOctal(header.size, content.size());
    setOctal(header.time, static_cast<unsigned long long>(time));
    header.type = '0';
    memcpy(header.magic, "ustar", sizeof header.magic);
    memcpy(header.version, "00", sizeof header.version);
    setOctal(header.checksum, sumOf(header));
    m_text.append(reinterpret_cast<const char*>(&header), BLOCK);
    m_text += content;
    m_text.append((BLOCK - content.size() % BLOCK) % BLOCK, '\0');
}

std::string cTarArchive::text() const {
    return m_text + std::string(2 * BLOCK, '\0');
}
