#!/bin/sh
# examples_test.sh COMMAND COMMAND...: every command prints the same lines, to the last character, and they are
# the lines of ten minutes of 12 leads: frame number, two heart rates, ST level and ST slope of every lead.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

$1 >"$work/first"
awk 'NF != 3 + 2 * 12 { print "fields: " NF; bad = 1 }
     $1 <= frame || $1 >= 300000 { print "frame: " $1; bad = 1 }
     $2 < 70 || $2 > 100 || $3 < 70 || $3 > 100 { print "heart rates: " $2 " " $3; bad = 1 }
     { frame = $1 }
     END { if (NR != 8) { print "lines: " NR; bad = 1 } exit bad }' "$work/first"
# Each lead has its gain, -7 in lead 0 and 7 in lead 3, times a depression that grows.
awk 'NR == 1 { early = $4 } { late = $4; mirror = $7 }
     END { if (!(late > early + 100 && mirror == -late)) { print "ST level " early " " late " " mirror; exit 1 } }' \
    "$work/first"
shift
for command; do
    $command >"$work/other"
    diff "$work/first" "$work/other" || { echo "differs: $command" >&2; exit 1; }
    echo "agrees: $command"
done
