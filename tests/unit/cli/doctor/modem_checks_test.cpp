#include "cli/doctor/modem_checks.h"
#include "tests/unit/cli/doctor/doctor_fixture.h"

TEST_F(Doctor, ModemHabits_AsFarAsPublished) {
    const std::string iccid = "89014100000000000015";
    host.status(1, {{"SIM_STATUS", "Not Present"}});
    expect(eHealth::FINE, checkModemHabits);  // from a daemon that no longer runs
    setup.pid = 42;
    expect(eHealth::NOTE, checkModemHabits, "#QSS mode is 2");
    expect(eHealth::NOTE, checkModemHabits, "cellslot doctor --ask-modem -p 1");
    host.status(1, {{"SIM_STATUS", "Available"}, {"SIM_ID", iccid}});
    expect(eHealth::FINE, checkModemHabits);
    host.status(1, {{"SIM_STATUS", "Available"}, {"SIM_ID", std::string(22, '0')}});
    expect(eHealth::NOTE, checkModemHabits, "filler F");
    const auto failed = [&](const char* state, const char* error) {
        host.status(1, {{"SIM_STATUS", "Available"},
                        {"SIM_ID", iccid},
                        {"QMI_STATE", state},
                        {"LAST_CONNECT_ERROR_E", error}});
    };
    failed("DISCONNECTED", "207");
    expect(eHealth::NOTE, checkModemHabits, "the mask 255.255.255.255");
    failed("CONNECTED", "207");
    expect(eHealth::FINE, checkModemHabits);
    failed("DISCONNECTED", "206");
    expect(eHealth::FINE, checkModemHabits);
}

TEST_F(Doctor, ModemsAnswer_IsChecked) {
    const struct {
        const char* answer;
        eHealth health;
        const char* mentioned;
    } cases[] = {
        {"AT#QSS?\r\r\n#QSS: 0,1\r\n\r\nOK\r\n", eHealth::FINE, "detects the SIM"},
        {"#QSS: 1\r\n#QSS: 2,3\r\nOK\r\n", eHealth::BROKEN, "cellslot at AT#QSS=0 -p 1"},
        {"#QSS: 2,2\r\nOK\r\n", eHealth::BROKEN, "#QSS mode is 2"},
        {"#QSS: 1,0\r\nOK\r\n", eHealth::BROKEN, "detects no SIM"},
        {"#QSS: 0,1\r\n+CCID: 8949020000012345678F\r\nOK\r\n", eHealth::NOTE,
         "8949020000012345678F contains more than digits"},
        {"#QSS: 0,1\r\n+CCID: 89490200000123456785\r\nOK\r\n", eHealth::FINE, "detects the SIM"},
        {"+CGCONTRDP: 1,5,\"internet\",\"10.64.1.8.255.255.255.255\",\"10.64.1.9\"\r\nOK\r\n",
         eHealth::BROKEN, "CM_IPFAMILY=ipv6"},
        {"+CGCONTRDP: 1,5,internet,10.64.1.8.255.255.255.252,10.64.1.9\r\nOK\r\n", eHealth::FINE,
         "mask is usable"},
        // The beginning of an IPv6 prefix.
        {"+CGCONTRDP: 1,5,i,32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1.255.255.255.255.255.255.255.255.0."
         "0.0.0.0.0.0.0\r\nOK\r\n",
         eHealth::FINE, "mask is usable"},
        {"AT#QSS?\nTIMEOUT\n", eHealth::NOTE, "did not answer as expected"},
        {"", eHealth::NOTE, "did not answer as expected"},
    };
    for (const auto& row : cases) {
        const tFindings findings = judgeModemAnswer(row.answer, setup);
        expectMends(findings);
        EXPECT_EQ(row.health, worst(findings)) << row.answer;
        EXPECT_TRUE(mentions(findings, row.mentioned)) << row.answer << findings[0].text;
    }
    const std::string endless = "+CCID: F" + std::string(5000, 'x') + "\n";
    EXPECT_GT(200u, judgeModemAnswer(endless, setup).front().text.size());
}

TEST_F(Doctor, ModemQueries_AreOneRequestForTheActiveContext) {
    EXPECT_EQ("AT#QSS?\nAT+CCID?\nAT+CGCONTRDP=3::5\n", modemQuestions("3"));
    for (const char* context : {"", "x", "1\nAT+CFUN=4", "123"})
        EXPECT_EQ("AT#QSS?\nAT+CCID?\nAT+CGCONTRDP=1::5\n", modemQuestions(context));
}
