#!/usr/bin/env bash
# Builds and runs every test: the normal build (with the real-host checks), AddressSanitizer with
# UndefinedBehaviorSanitizer over the whole suite, ThreadSanitizer over the concurrency and host
# tests, and the fuzz targets for a bounded time. Usage: Tools/test-all.sh [--quick]
# (--quick: the normal build only). KEL_FUZZ_SECONDS sets the time per fuzz target (default 20).
set -uo pipefail
cd "$(dirname "$0")/.."
bash Tools/install-deps.sh --with-hosts || exit 1

jobs=${KEL_JOBS:-$(nproc)}
passed=0
failed=0
status=0
timings=()
stage_name=""
stage_start=$SECONDS

# stage NAME: ends the running stage (noting its time) and starts the next; no name ends it only.
stage()
{
    if [ -n "$stage_name" ]; then
        timings+=("$(printf '%-34s %4d s' "$stage_name" $((SECONDS - stage_start)))")
    fi
    stage_name=$1
    stage_start=$SECONDS
    [ -z "$stage_name" ] || echo "== $stage_name"
}

# run_ctest BUILD_DIR CTEST_ARGS...: runs ctest and adds its counts to the totals.
run_ctest()
{
    local dir=$1
    shift
    local log
    log=$(mktemp)
    ctest --test-dir "$dir" --output-on-failure -j "$jobs" "$@" 2>&1 | tee "$log"
    local line total fails
    line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
    if [ -z "$line" ]; then
        if grep -q 'No tests were found' "$log"; then
            rm -f "$log"
            return 0
        fi
        echo "test-all: ctest in $dir gave no summary" >&2
        failed=$((failed + 1))
        status=1
        rm -f "$log"
        return 0
    fi
    fails=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/')
    total=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\2/')
    passed=$((passed + total - fails))
    failed=$((failed + fails))
    [ "$fails" = 0 ] || status=1
    rm -f "$log"
}

# build DIR CMAKE_ARGS...: configures and builds (only the target in $KEL_TARGET if set); a failed
# build counts as a failed test.
build()
{
    local dir=$1
    shift
    local targets=()
    [ -z "${KEL_TARGET:-}" ] || targets=(--target "$KEL_TARGET")
    if ! { cmake -S . -B "$dir" "$@" > /dev/null && cmake --build "$dir" -j "$jobs" "${targets[@]}"; }; then
        echo "test-all: build in $dir failed" >&2
        failed=$((failed + 1))
        status=1
        return 1
    fi
}

stage "normal build and tests"
build build -DCMAKE_BUILD_TYPE=RelWithDebInfo && run_ctest build

if [ "${1:-}" != "--quick" ]; then
    stage "AddressSanitizer + UBSan"
    build build-asan -DCMAKE_BUILD_TYPE=Debug -DKEL_SANITIZE=address,undefined -DKEL_DEBUG_CHANNEL=ON &&
        run_ctest build-asan -LE 'ardour|fuzz$'

    stage "ThreadSanitizer"
    if build build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEL_SANITIZE=thread; then
        run_ctest build-tsan -L 'host'
        run_ctest build-tsan -LE 'host' -R 'Concurrency|Thread'
    fi

    stage "fuzz targets, ${KEL_FUZZ_SECONDS:-20} s each"
    KEL_TARGET=fuzz_all build build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
        -DCMAKE_CXX_COMPILER=clang++-14 -DKEL_SANITIZE=address,undefined -DKEL_FUZZ=ON -DKEL_FUZZ_SECONDS="${KEL_FUZZ_SECONDS:-20}" &&
        run_ctest build-fuzz -L '^fuzz$' -j 1
fi

stage ""
echo
for line in "${timings[@]}"; do
    echo "time: $line"
done
echo "time: total $SECONDS s"
echo "test-all: $passed passed, $failed failed"
exit $status
