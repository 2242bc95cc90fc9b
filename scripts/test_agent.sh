#!/usr/bin/env bash
# Builds the agent of a gateway and its package, and tests them beside the daemon and the simulated modem, on
# Debian's mosquitto with TLS. Installs what that needs. Everything listens on the loopback interface of a
# private namespace. scripts/test_more.sh runs it.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/package_suite.sh
. scripts/lib/package_suite.sh
# shellcheck source=scripts/lib/package_test.sh
. scripts/lib/package_test.sh
# Debian's Python has the client of the broker.
# shellcheck disable=SC2034 # of package_suite.sh
readonly JOBS=2 SUITE=tests/agent UNITS=agent_tests SUITE_PYTHON=/usr/bin/python3 \
    SUITE_SETTINGS=()
readonly WORK=$PWD/build/agent/package-test
readonly TESTS=(agent_test command_test config_test)
# About three minutes.
readonly SHORT=(agent_test 'command_test Hostile' 'config_test Change.testGood_IsConfirmedOverANewConnection'
    'config_test Change.testDataOff_OldFileComesBack')
# shellcheck disable=SC2034
readonly TARGETS=(cellslot cellslotd cellslot-agent cellslot-agent-command cellslot-agent-root le910sim skvs
    agent_tests)

usage() {
    cat <<'TEXT'
Usage: test_agent.sh [--all | TEST [CLASS[.NAME]]...]
Builds the agent of a gateway and tests it: what it sends, hostile commands, a configuration change, the package;
or one TEST, a file of tests/agent without ".py".
  --all  every test, also under the sanitizers; the package on a fresh host, made with mmdebstrap, which needs
         the network
TEXT
}

main() {
    local failed=0
    checkSuiteArgument "${1:-}"
    scripts/setup.sh --test
    scripts/setup_agent.sh --test
    buildSuite release
    if [[ ${1:-} == *_test ]]; then
        runSuiteTest release "$@"
        return
    fi
    rm -rf "$WORK"
    scripts/package_agent.sh --no-build --output "$WORK/old"
    runTests agent_package_test Contents || failed=1
    if [[ ${1:-} != --all ]]; then
        runSuite release "${SHORT[@]}" || failed=1
        return "$failed"
    fi
    testLife package_agent.sh cellslot-agent agent_package_test || failed=1
    runSuite release "${TESTS[@]}" || failed=1
    buildSuite asan
    CELLSLOT_SLOW=1 runSuite asan agent_test command_test config_test || failed=1
    return "$failed"
}

main "$@"
