#!/usr/bin/env bash
# The command's whole job on a sample project: list it, move its read files,
# relink them, and list it again.
set -euo pipefail
build=${1:-build}
readfix="$build/src/readfix/readfix"
work=$(mktemp -d "${TMPDIR:-/tmp}/readfix-demo-XXXXXX")
trap 'rm -rf "$work"' EXIT

step() { printf '\n\033[1m$ %s\033[0m\n' "$*"; }

"$build/tools/makeSampleProject" "$work/project" "$work/runs" 3 2000

step readfix -verbose "$work/project"
"$readfix" -verbose "$work/project"

step mv "$work/runs" "$work/moved-runs"
mv "$work/runs" "$work/moved-runs"

step readfix -verbose "$work/project"
"$readfix" -verbose "$work/project"

step readfix -relink -verbose -verbose "$work/project" "$work/runs" "$work/moved-runs"
"$readfix" -relink -verbose -verbose "$work/project" "$work/runs" "$work/moved-runs"

step readfix -relink -verbose "$work/project" "$work/runs" "$work/moved-runs"
"$readfix" -relink -verbose "$work/project" "$work/runs" "$work/moved-runs"

step readfix -verbose "$work/project"
"$readfix" -verbose "$work/project"

step ls -l "$work/project/sff"
ls -l "$work/project/sff"
