#!/usr/bin/env bash
# Runs the fuzz targets: each for FUZZ_SECONDS (default 600), FUZZ_JOBS (default 2)
# at a time, starting from the kept corpus fuzz/corpus/<Name>/. New inputs go to
# <build>/corpus/<Name>/, crashes to <build>/artifacts/<Name>/, logs to <build>/logs/.
# fuzz/<Name>.dict, when present, gives the target's tokens (element and option names).
#   fuzz/run.sh [build-dir] [Name...]          fuzz (all targets when none is named)
#   FUZZ_MERGE=1 fuzz/run.sh [build-dir] [Name...]
#                                              then add to fuzz/corpus/<Name>/ only the
#                                              new inputs that reach new code (-merge=1)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-fuzz}
shift || true
seconds=${FUZZ_SECONDS:-600}
jobs=${FUZZ_JOBS:-2}

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for src in "$root"/fuzz/*Fuzz.cpp; do
        name=$(basename "$src" .cpp)
        targets+=("${name%Fuzz}")
    done
fi

# Leaks are not checked, here nor at exit: the readers allocate with new and free at
# process end by design, and a reader stopped by die leaves its objects behind (the
# project file's XML tree, a few KB an input: hence the high memory limit below).
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
mkdir -p "$build/logs"
runOne() {
    local name=$1
    mkdir -p "$build/corpus/$name" "$build/artifacts/$name" "$root/fuzz/corpus/$name"
    local start=$SECONDS
    local dict=()
    [ -f "$root/fuzz/$name.dict" ] && dict=(-dict="$root/fuzz/$name.dict")
    # Output of the readers (warnings, usage texts) is dropped; reports still print.
    "$build/fuzz/${name}Fuzz" -max_total_time="$seconds" -detect_leaks=0 -close_fd_mask=3 \
        -timeout=10 -rss_limit_mb=6144 -print_final_stats=1 "${dict[@]}" \
        -artifact_prefix="$build/artifacts/$name/" \
        "$build/corpus/$name" "$root/fuzz/corpus/$name" >"$build/logs/$name.log" 2>&1
    local status=$?
    echo "$name: exit $status, $(grep -h 'stat::number_of_executed_units' "$build/logs/$name.log" |
        awk '{print $2}') executions in $((SECONDS - start))s (log $build/logs/$name.log)"
    if [ "${FUZZ_MERGE:-0}" = 1 ]; then
        "$build/fuzz/${name}Fuzz" -merge=1 -detect_leaks=0 -close_fd_mask=3 -timeout=10 \
            "$root/fuzz/corpus/$name" "$build/corpus/$name" >>"$build/logs/$name.log" 2>&1
    fi
    return $status
}
export -f runOne
export root build seconds

printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c 'runOne {}'
