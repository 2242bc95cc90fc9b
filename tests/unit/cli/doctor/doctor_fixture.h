#ifndef TESTS_UNIT_CLI_DOCTOR_DOCTOR_FIXTURE_H
#define TESTS_UNIT_CLI_DOCTOR_DOCTOR_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cli/doctor/finding.h"
#include "tests/unit/cli/empty_host.h"

// The worst health among the findings of a check; FINE if it finds nothing.
inline eHealth worst(const tFindings& findings) {
    eHealth health = eHealth::FINE;
    for (const sFinding& finding : findings)
        if (finding.health > health) health = finding.health;
    return health;
}

inline bool mentions(const tFindings& findings, const std::string& text) {
    for (const sFinding& finding : findings)
        if ((finding.text + finding.mend).find(text) != std::string::npos) return true;
    return false;
}

// Every finding that is not fine says what to do; fine findings do not.
inline void expectMends(const tFindings& findings) {
    for (const sFinding& finding : findings)
        EXPECT_EQ(finding.health == eHealth::FINE, finding.mend.empty()) << finding.text;
}

class Doctor : public testing::Test {
  protected:
    Doctor() {
        setup.slot = 1;
        setup.path = "/tools";
    }

    void expect(eHealth health, tCheck check, const std::string& mentioned = "") {
        const tFindings findings = check(host.places, setup);
        expectMends(findings);
        EXPECT_EQ(health, worst(findings)) << (findings.empty() ? "" : findings[0].text);
        EXPECT_TRUE(mentioned.empty() || mentions(findings, mentioned)) << mentioned;
    }

    void port(const std::string& path, mode_t mode = 0660) {
        ASSERT_EQ(0, mkfifo(host.places.at(path).c_str(), mode));
        chmod(host.places.at(path).c_str(), mode);
    }

    void shell(const std::string& answer) {
        host.file("/bin/sh", "#!/bin/bash\nexit " + answer + "\n", 0755);
    }

    cEmptyHost host;
    sSlotSetup setup;
};

#endif
