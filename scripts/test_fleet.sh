#!/usr/bin/env bash
# Builds cellslot-fleet and its package, and tests them over real brokers with the configurations of contrib/:
# mosquitto, and three nodes of nats-server. Installs what that needs. Everything listens on the loopback
# interface of a private namespace. scripts/test_more.sh runs it.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/package_test.sh
. scripts/lib/package_test.sh
# shellcheck source=scripts/lib/package_suite.sh
. scripts/lib/package_suite.sh
# Of the suite:
# shellcheck disable=SC2034
readonly JOBS=2 SUITE=tests/fleet UNITS=fleet_tests SUITE_PYTHON=python3 \
    SUITE_SETTINGS=("CELLSLOT_PAGES=$PWD/build/web/fleet-page" "CELLSLOT_RESULTS=$PWD/build/web/fleet-results"
        "CELLSLOT_AXE=$PWD/build/web/npm/node_modules/axe-core/axe.min.js"
        "CELLSLOT_ASYNCAPI=$PWD/build/web/npm/node_modules/@asyncapi/specs/schemas")
# shellcheck disable=SC2034
readonly TARGETS=(cellslot-fleet fleet_tests)
readonly WORK=$PWD/build/fleet-package-test
# About a minute.
readonly SHORT=(description_test 'permissions_test MosquittoPermissions' 'fleet_test Shows Events Sends BrokerThatGoes'
    'serve_test WhoMayAsk Answers' 'page_test Fleet')

usage() {
    cat <<'TEXT'
Usage: test_fleet.sh [--all | TEST [CLASS[.NAME]]...]
Builds cellslot-fleet and tests it over mosquitto, and its package; or one TEST, a file of tests/fleet without
".py".
  --all  also over a cluster of three nodes that lose and find each other, with whole gateways end to end, and under
         the sanitizers
TEXT
}

# What stands at the other end: end_to_end_test has whole gateways.
buildGateways() {
    cmake --build --preset release -j "$JOBS" --target cellslot cellslotd cellslot-agent cellslot-agent-command \
        cellslot-agent-root le910sim skvs
}

testPackage() {
    rm -rf "$WORK"
    scripts/package_fleet.sh --no-build --output "$WORK/old"
    runTests fleet_package_test Contents
}

main() {
    local failed=0
    checkSuiteArgument "${1:-}"
    scripts/setup.sh --test
    scripts/setup_mqtt.sh --test
    scripts/setup_web.sh --test
    scripts/web_page.sh --test
    scripts/web_page.sh --fleet
    buildSuite release
    if [[ ${1:-} == --all || ${1:-} == end_to_end_test ]]; then
        buildGateways
    fi
    if [[ ${1:-} == *_test ]]; then
        runSuiteTest release "$@"
        return
    fi
    testPackage || failed=1
    if [[ ${1:-} != --all ]]; then
        runSuite release "${SHORT[@]}" || failed=1
        return "$failed"
    fi
    runSuite release description_test permissions_test fleet_test serve_test page_test end_to_end_test || failed=1
    buildSuite asan
    runSuite asan "${SHORT[@]}" || failed=1
    return "$failed"
}

main "$@"
