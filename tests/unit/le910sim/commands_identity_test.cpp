#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

// Commands by which programs find out what a modem is and can do.

namespace le910sim {

namespace {

struct sRow {
    const char* command;
    const char* lines;
};

}  // namespace

TEST(Le910simIdentity, WhatTheModemIsAndCan_IsAnswered) {
    const sRow ROWS[] = {
        {"AT+GCAP", "+GCAP: +CGSM,+DS,+FCLASS,+MS"},
        {"AT+CBC", "+CBC: 2,0"},
        {"AT#SWPKGV", "20.00.402-P0A.000000\r\nM20.00.402\r\nP0A.000000\r\nA00.000"},
        {"AT+CLCK=?", "+CLCK: (\"SC\")"},
        {"AT$GPSP=?", "$GPSP: (0,1)"},
        {"AT#BND=?", "#BND: (0-5),(0,1,2,4),(1-71706)"},
        {"AT+CSCS=?", "+CSCS: (\"GSM\",\"IRA\",\"8859-1\",\"PCCP437\",\"UCS2\",\"HEX\")"},
        {"AT+CPMS=?", "+CPMS: (\"SM\"),(\"SM\"),(\"SM\")"},
        {"AT+CGDCONT=?",
         "+CGDCONT: (1-16),\"IP\",,,(0-4),(0-4)\r\n"
         "+CGDCONT: (1-16),\"IPV6\",,,(0-4),(0-4)\r\n"
         "+CGDCONT: (1-16),\"IPV4V6\",,,(0-4),(0-4)"},
        {"AT+CUSD=?", "+CUSD: (0-2)"},
        {"AT+CMMS=?", "+CMMS: (0-2)"},
        {"AT+IFC=?", "+IFC: (0-2),(0-2)"},
        {"AT+CTZU=?", "+CTZU: (0-1)"},
        {"AT+CEMODE?", "+CEMODE: 2"},
        {"AT+CGEREP=?", "+CGEREP: (0-2),(0-1)"},
        {"AT+CMER=?", "+CMER: (0-3),(0-0),(0-0),(0-2),(0-1)"},
        {"AT+CESQ=?", "+CESQ: (0-63,99),(0-7,99),(0-96,255),(0-49,255),(0-34,255),(0-97,255)"},
        {"AT+CIND=?",
         "+CIND: ((\"battchg\",(0-5,99)),(\"signal\",(0-7,99)),(\"service\",(0,1)),"
         "(\"sounder\",(0,1)),(\"message\",(0,1)),(\"call\",(0,1)),"
         "(\"roam\",(0,1)),(\"smsfull\",(0,1)),(\"rssi\",(0-5,99)))"},
    };
    for (const sRow& row : ROWS) {
        cModemDriver sim;
        EXPECT_EQ(sim.reply(row.command), std::string("\r\n") + row.lines + "\r\n\r\nOK\r\n");
        EXPECT_TRUE(sim.modem.problems().empty()) << row.command;
    }
}

TEST(Le910simIdentity, CommandsOfOtherPrograms_AreAccepted) {
    cModemDriver sim;
    for (const char* command :
         {"ATX4", "AT+CHUP=?", "AT+CUSD=1", "AT+CLIP=1", "AT+CRC=1", "AT+CCWA=1", "AT+CLCC=?",
          "AT+CLCC", "AT+CMMS=2", "AT+CGEREP=2,1", "AT+CMER=3,0,0,2", "AT+CTZU=1", "AT+IFC=2,2",
          "AT+CIND=0,1,1,0,0,0,1,0,0"}) {
        EXPECT_EQ(sim.reply(command), "\r\nOK\r\n") << command;
    }
    EXPECT_TRUE(sim.modem.problems().empty());
}

}  // namespace le910sim
