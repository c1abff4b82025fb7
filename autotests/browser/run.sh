#!/bin/sh
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# The browser test of the sheet pictures and index.html, as CTest runs it:
#
#   run.sh FIXTURE_PROGRAM WORK_DIR [SIMULATOR COMMAND_PARSER]
#
# FIXTURE_PROGRAM (sheets-fixture) writes an output folder into WORK_DIR/fixture; check-sheets.js
# then looks at it in headless Chromium, once while a job runs and once when all have ended. With
# SIMULATOR and COMMAND_PARSER, the same checks then run on a folder the real simulator wrote
# (simulator-folder.sh), where each picture must show as many dots as it has circles; the top of
# its index.html is saved as WORK_DIR/simulator/finished.png (docs/images/sheets.png is one).
# The pinned npm packages are installed into WORK_DIR (npm ci, once per lock file).
# Exits 77, which CTest reports as skipped, where node, npm, Chromium or the packages are missing.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
fixture_program=$1
work=$2
simulator=${3:-}
parser=${4:-}
chromium=${CHROMIUM:-/usr/bin/chromium}

skip() {
    echo "SKIPPED: $*"
    exit 77
}

command -v node >/dev/null 2>&1 || skip "node is not installed (Debian: apt-get install nodejs npm)"
# The dot counter first: it needs no browser, and a counter that sees nothing would pass anything.
node "$here/dots.test.js"
[ -x "$chromium" ] || skip "$chromium is missing (Debian: apt-get install chromium; or set CHROMIUM)"

mkdir -p "$work"
if ! cmp -s "$here/package-lock.json" "$work/package-lock.json" \
    || [ ! -d "$work/node_modules/puppeteer-core" ] || [ ! -d "$work/node_modules/axe-core" ]; then
    command -v npm >/dev/null 2>&1 || skip "npm is not installed (Debian: apt-get install npm)"
    rm -rf "$work/node_modules" "$work/package-lock.json"
    cp "$here/package.json" "$here/package-lock.json" "$work/"
    if ! (cd "$work" && npm ci --no-audit --no-fund --loglevel=error); then
        rm -f "$work/package-lock.json"
        skip "npm ci could not install axe-core and puppeteer-core (is the npm registry reachable?)"
    fi
fi

rm -rf "$work/fixture"
"$fixture_program" "$work/fixture"

export NODE_PATH="$work/node_modules"
# Checks a folder in both its states, running and finished, in the browser; the last argument says
# what else to do: compare with the folder's expected.json, or keep a screenshot.
check_states() {
    heading=$1 folder=$2 also=$3
    for state in running finished; do
        echo "== $heading$state"
        refresh=no
        [ "$state" = running ] && refresh=yes
        also_option=--screenshot also_file="$folder/$state.png"
        if [ "$also" = expected ]; then
            also_option=--expected also_file="$folder/$state/expected.json"
        fi
        node "$here/check-sheets.js" --chromium "$chromium" \
            --index "$folder/$state/index.html" --refresh "$refresh" \
            --sheet "$folder/$state/job-1-copy-1-sheet-1.svg" "$also_option" "$also_file"
    done
}

check_states "" "$work/fixture" expected

[ -n "$simulator" ] || exit 0
"$here/simulator-folder.sh" "$simulator" "$parser" "$work/simulator"
check_states "simulator, " "$work/simulator" screenshot
