#!/bin/sh
# Runs every benchmark of a build directory, one after the other.
# Usage: bench/run.sh <build-dir>
set -e
BUILD=${1:?usage: bench/run.sh <build-dir>}

"$BUILD/bench/sff_read_bench"
"$BUILD/bench/store_load_bench"
"$BUILD/bench/relink_bench" "$BUILD/src/readfix/readfix"
