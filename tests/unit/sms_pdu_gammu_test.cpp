#include <gammu.h>
#include <gtest/gtest.h>

#include <ctime>

#include "tests/unit/sms_pdu_support.h"

// libgammu's decoder as an independent judge of ours. It reads beyond the end of PDUs that are not
// well-formed, so it sees only those that ours has taken, with zeros behind them.

namespace {

constexpr size_t MAX_PDU_OCTETS = 180;
constexpr size_t PADDED_OCTETS = 1024;
constexpr int ROUNDS = 2000;

struct sVerdict {
    GSM_Error error = ERR_NONE;
    GSM_SMSMessageType type = SMS_Deliver;
    std::string from;
    std::string time;
    std::string seconds;
    int reference = 0;
    int partNumber = 0;
    int numberOfParts = 0;
    int dataCoding = SMS_CODING_TEXT;
    std::string userData;
};

std::string utf8Of(const unsigned char* unicode) {
    char utf8[4096] = {};
    EncodeUTF8(utf8, unicode);
    return utf8;
}

// Length counts what was in the PDU, characters or octets; of a text with pairs from the extension
// table that is more than Text holds.
void setUserData(const GSM_SMSMessage& message, sVerdict& verdict) {
    const size_t length = static_cast<size_t>(message.Length);
    switch (message.Coding) {
        case SMS_Coding_Default_No_Compression:
            verdict.dataCoding = SMS_CODING_TEXT;
            verdict.userData = utf8Of(message.Text);
            return;
        case SMS_Coding_Unicode_No_Compression:
            verdict.dataCoding = SMS_CODING_16BIT;
            verdict.userData.assign(message.Text, message.Text + length * 2);
            return;
        case SMS_Coding_8bit:
            verdict.dataCoding = SMS_CODING_8BIT;
            verdict.userData.assign(message.Text, message.Text + length);
            return;
        default:
            ADD_FAILURE() << "a coding of the judge that no test expects: " << message.Coding;
    }
}

std::string secondsOf(const GSM_DateTime& time) {
    tm utc{};
    utc.tm_year = time.Year - 1900;
    utc.tm_mon = time.Month - 1;
    utc.tm_mday = time.Day;
    utc.tm_hour = time.Hour;
    utc.tm_min = time.Minute;
    utc.tm_sec = time.Second;
    return std::to_string(timegm(&utc) - time.Timezone);
}

std::string textOf(const GSM_DateTime& time) {
    char text[128];
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.Year, time.Month, time.Day,
             time.Hour, time.Minute, time.Second);
    return text;
}

sVerdict judge(const std::string& pdu) {
    sVerdict verdict;
    std::string line = octetsOfHexText(pdu);
    if (line.size() > MAX_PDU_OCTETS) {
        ADD_FAILURE() << "too long for the judge: " << pdu;
        verdict.error = ERR_MOREMEMORY;
        return verdict;
    }
    const size_t length = line.size();
    line.resize(PADDED_OCTETS, '\0');
    static GSM_SMSMessage s_message;
    s_message = GSM_SMSMessage{};
    size_t end = 0;
    verdict.error = GSM_DecodePDUFrame(GSM_GetGlobalDebug(), &s_message,
                                       reinterpret_cast<const unsigned char*>(line.data()), length,
                                       &end, TRUE);
    verdict.type = s_message.PDU;
    verdict.from = utf8Of(s_message.Number);
    verdict.time = textOf(s_message.DateTime);
    verdict.seconds = secondsOf(s_message.DateTime);
    const GSM_UDHHeader& header = s_message.UDH;
    if (header.Type != UDH_NoUDH) {
        verdict.reference = header.ID16bit >= 0 ? header.ID16bit : header.ID8bit;
        verdict.partNumber = header.PartNumber;
        verdict.numberOfParts = header.AllParts;
    }
    setUserData(s_message, verdict);
    return verdict;
}

}  // namespace

TEST(SmsGammu, Probe) {
  auto show=[](std::string addr, std::string first="04"){ sTestDeliver d; d.address=addr; d.firstOctet=first; auto v=judge(d.pdu()); auto o=decode(d); printf("%s: %s | %s  (%d)\n",addr.c_str(),v.from.c_str(),o.sms.from.c_str(),v.error);};
  show("0DD0E474D81C0EBB01"); show("0DD0E474D81C0EBB01","44"); show("0ED0E474D81C0EBB01"); show("14D0" + packedHex(plainSeptets("ABCDEFGHIJK")));
  for (int n=1;n<=11;n++){ std::string t=std::string("ABCDEFGHIJK").substr(0,n); show(hexOctet((n*7+3)/4)+"D0"+packedHex(plainSeptets(t))); }
  show("0681BADCFE"); show("0BA17238880900F1");show("0BC87238880900F1");show("0BB17238880900F1"); show("0191F7"); show("0091"); show("0081");
  for (auto h: {"00032A0302","0803120302","08041234030200","080412340302","00032A0101","00032A0300","00032A0304","080400000302","0804000A0302","240101","050423F00000"}) { auto d=deliverWithHeader(h,plainSeptets("text")); auto v=judge(d.pdu()); printf("%s: ref %d %d/%d '%s' err %d\n",h,v.reference,v.partNumber,v.numberOfParts,v.userData.c_str(),v.error);}
  std::string codes; for(int i=0;i<256;i++){ sTestDeliver d; d.scheme=hexOctet(i); static GSM_SMSMessage m; m=GSM_SMSMessage{}; auto l=octetsOfHexText(d.pdu()); size_t n=l.size(); l.resize(1024); size_t e; int r=GSM_DecodePDUFrame(GSM_GetGlobalDebug(),&m,(const unsigned char*)l.data(),n,&e,TRUE); printf("%02X: %d/%d%s",i,r,m.Coding,i%16==15?"\n":" "); }
  for (auto st: {"00209200000000","09101000000000","98211332959500","02606251013597","0260625101359F","02606251013508","99309251619500"}) { sTestDeliver d; d.stamp=st; auto v=judge(d.pdu()); auto o=decode(d); printf("%s: %s %s | %s %s\n",st,v.time.c_str(),v.seconds.c_str(),o.sms.timestamp.c_str(),o.sms.timestampUnformatted.c_str()); }
  for (int c=0;c<128;c++) for (int esc=0; esc<2; esc++) { std::vector<uint8_t> x={'a'}; if(esc) x.push_back(0x1b); x.push_back(c); x.push_back('b'); sTestDeliver d; d.length=x.size(); d.userData=packedHex(x); auto v=judge(d.pdu()); auto o=decode(d); if (v.userData!=o.text()) printf("esc %d %02X: judge %s ours %s\n",esc,c,hexOfText(v.userData).c_str(),o.hex().c_str()); }
  for (auto p: {"0001000B916407281553F800000AE8329BFD4697D9EC37","00010004812143000002E834"}) { auto v=judge(p); printf("submit %d %d %s %s\n", v.error, v.type, v.from.c_str(), v.userData.c_str()); }
}
