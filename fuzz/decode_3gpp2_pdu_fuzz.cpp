#include "fuzz/fuzz_support.h"

// The input is the line of a modem, as octets: a point-to-point message. It is also used as bearer
// data alone, so that the fuzzer need not find the layer around it.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string pdu = hexOf(data, size);
    decodeAndCheck(sms_decode_3gpp2_pdu, pdu, size);
    decodeAndCheck(sms_decode_3gpp2_pdu, pdu, size + 1);
    if (size > 0) decodeAndCheck(sms_decode_3gpp2_pdu, pdu, size - 1);
    decodeAndCheck(sms_decode_3gpp2_pdu, std::string(data, data + size), size / 2);
    if (size > 255) return 0;
    const uint8_t length = static_cast<uint8_t>(size);
    decodeAndCheck(sms_decode_3gpp2_pdu, "0008" + hexOf(&length, 1) + pdu, size + 3);
    return 0;
}
