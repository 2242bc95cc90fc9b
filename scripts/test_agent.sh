#!/usr/bin/env bash
# Builds the agent of a gateway and its package, and tests them beside the daemon and the simulated modem, on
# Debian's mosquitto with TLS. Installs what that needs. Everything listens on the loopback interface of a
# private namespace. scripts/test_more.sh runs it.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly JOBS=2
readonly TESTS=(agent_test command_test config_test package_agent_test)
# About three minutes.
readonly SHORT=(agent_test 'command_test Hostile' 'config_test Change.testGood_IsConfirmedOverANewConnection'
    'config_test Change.testDataOff_OldFileComesBack' package_agent_test)
readonly TARGETS=(cellslot cellslotd cellslot-agent cellslot-agent-command cellslot-agent-root le910sim skvs
    agent_tests)

usage() {
    cat <<'TEXT'
Usage: test_agent.sh [--all | TEST [CLASS[.NAME]]...]
Builds the agent of a gateway and tests it: what it sends, hostile commands, a configuration change, the package;
or one TEST, a file of tests/agent without ".py".
  --all  every test, also under the sanitizers
TEXT
}

build() { # PRESET
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" -j "$JOBS" --target "${TARGETS[@]}"
}

run() { # PRESET TEST [CLASS]...
    local preset=$1 test=$2
    shift 2
    echo "== $test ($preset)"
    # Debian's Python has the client of the broker.
    CELLSLOT_BIN=$PWD/build/$preset/bin CELLSLOT_HOST=$PWD/gateway-tools CELLSLOT_PACKAGES=$PWD/build/agent/packages \
        scripts/private_namespace.sh --keep "$PWD/build" /usr/bin/python3 "tests/agent/$test.py" "$@"
}

runAll() { # PRESET "TEST [CLASS]"...
    local preset=$1 test words failed=0
    shift
    TMPDIR=/dev/shm "build/$preset/bin/agent_tests" --gtest_brief=1 || failed=1
    for test in "$@"; do
        read -ra words <<<"$test"
        run "$preset" "${words[@]}" || failed=1
    done
    return "$failed"
}

main() {
    local failed=0
    case ${1:-} in
    '' | --all | *_test) ;;
    *) helpOrRefuse "$1" ;;
    esac
    scripts/setup.sh --test
    scripts/setup_agent.sh --test
    build release
    if [[ ${1:-} == *_test ]]; then
        run release "$@"
        return
    fi
    rm -rf build/agent/packages
    scripts/package_agent.sh --no-build --output build/agent/packages
    if [[ ${1:-} != --all ]]; then
        runAll release "${SHORT[@]}"
        return
    fi
    runAll release "${TESTS[@]}" || failed=1
    build asan
    CELLSLOT_SLOW=1 runAll asan agent_test command_test config_test || failed=1
    return "$failed"
}

main "$@"
