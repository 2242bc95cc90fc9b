#!/usr/bin/env bash
# Builds the page of a gateway and its package, and tests them: the server, the page in Debian's Chromium,
# proxies, and Debian's Prometheus with the alert rules. Installs what that needs. Everything listens on
# the loopback interface of a private namespace. Screenshots are in build/web/results. scripts/test_more.sh
# runs it.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/package_suite.sh
. scripts/lib/package_suite.sh
# shellcheck source=scripts/lib/package_test.sh
. scripts/lib/package_test.sh
# shellcheck disable=SC2034 # of package_suite.sh
readonly JOBS=2 SUITE=tests/web UNITS=web_tests SUITE_PYTHON=python3 \
    SUITE_SETTINGS=("CELLSLOT_PAGES=$PWD/build/web/page" "CELLSLOT_RESULTS=$PWD/build/web/results"
        "CELLSLOT_AXE=$PWD/build/web/npm/node_modules/axe-core/axe.min.js")
readonly WORK=$PWD/build/web/package-test
readonly TESTS=(server_test lan_test fuzz_test page_test proxy_test monitoring_test)
# About three minutes.
readonly SHORT=(server_test 'page_test Values' 'monitoring_test Rules')
# shellcheck disable=SC2034
readonly TARGETS=(cellslot cellslotd cellslot-web cellslot-web-history le910sim make_history skvs web_tests)

usage() {
    cat <<'TEXT'
Usage: test_web.sh [--all | TEST [CLASS[.NAME]]...]
Builds the page of a gateway and tests it: the server, the page's live values, the alert rules, the package;
or one TEST, a file of tests/web without ".py".
  --all  every test, and the server's also under the sanitizers, with a longer fuzz run; the package on a
         fresh host, made with mmdebstrap, which needs the network
TEXT
}

main() {
    local failed=0
    checkSuiteArgument "${1:-}"
    scripts/setup.sh --test
    scripts/setup_web.sh --test
    scripts/web_page.sh --test
    buildSuite release
    if [[ ${1:-} == *_test ]]; then
        runSuiteTest release "$@"
        return
    fi
    rm -rf build/web/results "$WORK"
    scripts/package_web.sh --no-build --output "$WORK/old"
    runTests web_package_test Contents || failed=1
    if [[ ${1:-} != --all ]]; then
        runSuite release "${SHORT[@]}" || failed=1
        return "$failed"
    fi
    testLife package_web.sh cellslot-web web_package_test || failed=1
    runSuite release "${TESTS[@]}" || failed=1
    buildSuite asan
    CELLSLOT_SLOW=1 CELLSLOT_FUZZ_S=300 runSuite asan fuzz_test lan_test server_test || failed=1
    return "$failed"
}

main "$@"
