#include "fuzz/fuzz_support.h"

// The input is the line of a modem, as octets: service centre and DELIVER PDU.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string pdu = hexOf(data, size);
    // Length announced with a service centre in front, without one, and wrongly.
    if (size > 0 && size > data[0]) decodeAndCheck(sms_decode_pdu, pdu, size - 1 - data[0]);
    decodeAndCheck(sms_decode_pdu, pdu, size);
    decodeAndCheck(sms_decode_pdu, pdu, size + 1);
    if (size > 0) decodeAndCheck(sms_decode_pdu, pdu, data[0]);
    // Mostly not hexadecimal.
    decodeAndCheck(sms_decode_pdu, std::string(data, data + size), size / 2);
    return 0;
}
