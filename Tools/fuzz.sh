#!/bin/bash
# Builds the fuzz configuration (clang, libFuzzer, AddressSanitizer and UBSan) and runs the fuzz
# targets, each for SECONDS (default 60): all of them, or the ones named. New inputs found are
# merged into the corpus in Tests/Fuzz/corpus/<target>/; a crash is reported with the input that
# made it, kept in the build folder.
#
#   Tools/fuzz.sh [SECONDS] [TARGET...]
#
# Targets: the list KEL_FUZZ_TARGETS of Tests/Fuzz/CMakeLists.txt.
#
# KEL_FUZZ_BUILD sets the build folder (default build-fuzz), KEL_FUZZ_JOBS the build's jobs;
# KEL_FUZZ_RUNS=N runs each target for N executions instead of a time.
set -u -o pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
build="${KEL_FUZZ_BUILD:-$root/build-fuzz}"
jobs="${KEL_FUZZ_JOBS:-2}"
seconds=60
if [[ $# -gt 0 && "$1" =~ ^[0-9]+$ ]]; then
    seconds="$1"
    shift
fi
read -r -a all_targets <<<"$(sed -n '/^set(KEL_FUZZ_TARGETS/,/)/p' "$root/Tests/Fuzz/CMakeLists.txt" |
    tr '\n' ' ' | sed -e 's/set(KEL_FUZZ_TARGETS//' -e 's/).*//')"
targets=("$@")
[[ ${#targets[@]} -eq 0 ]] && targets=("${all_targets[@]}")
for target in "${targets[@]}"; do
    if [[ ! " ${all_targets[*]} " =~ " $target " ]]; then
        echo "unknown target '$target' (known: ${all_targets[*]})" >&2
        exit 2
    fi
done

cc="$(command -v clang-14 || command -v clang)"
cxx="$(command -v clang++-14 || command -v clang++)"
if [[ -z "$cc" || -z "$cxx" ]]; then
    echo "clang is needed for libFuzzer" >&2
    exit 2
fi

cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEL_FUZZ=ON -DKEL_SANITIZE=address,undefined \
    -DKEL_BUILD_TOOLS=OFF -DKEL_FUZZ_SECONDS="$seconds" >"$build.cmake.log" 2>&1 || {
    cat "$build.cmake.log" >&2
    exit 2
}
for target in "${targets[@]}"; do
    cmake --build "$build" -j "$jobs" --target "fuzz_$target" || exit 2
done

failed=0
for target in "${targets[@]}"; do
    corpus="$root/Tests/Fuzz/corpus/$target"
    found="$build/fuzz-found/$target"
    crashes="$build/fuzz-crashes/$target"
    mkdir -p "$corpus" "$found" "$crashes"
    limit=(-max_total_time="$seconds")
    [[ -z "${KEL_FUZZ_RUNS:-}" ]] || limit=(-runs="$KEL_FUZZ_RUNS")
    echo "== $target: ${limit[*]}"
    log="$build/fuzz-$target.log"
    start=$SECONDS
    "$build/Tests/Fuzz/fuzz_$target" "${limit[@]}" -timeout=10 -rss_limit_mb=2048 \
        -max_len=8192 -print_final_stats=1 -artifact_prefix="$crashes/" \
        "$found" "$corpus" >"$log" 2>&1
    status=$?
    grep -E "^#[0-9]+ +DONE|stat::number_of_executed_units|stat::peak_rss_mb" "$log" | tail -3
    echo "   $((SECONDS - start)) s"
    # Only what adds coverage goes into the kept corpus, chosen as a small set that covers it all.
    "$build/Tests/Fuzz/fuzz_$target" -set_cover_merge=1 "$corpus" "$found" >"$build/fuzz-$target.merge.log" 2>&1
    if [[ $status -ne 0 ]]; then
        failed=1
        echo "!! $target failed (status $status); log: $log"
        grep -E "ERROR: |SUMMARY: |check failed|Test unit written to" "$log" | head -20
        for input in "$crashes"/*; do
            [[ -f "$input" ]] && echo "   input: $input ($(stat -c %s "$input") bytes)"
        done
    else
        echo "   no crash; corpus now $(ls "$corpus" | wc -l) files"
    fi
done
exit $failed
