#!/bin/sh
# The program as its user meets it: what it prints, where, and its exit code. Usage: qzstress_cli_test.sh PROGRAM
set -u
program=$1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
failures=0

fail() { echo "FAILED: $1"; failures=$((failures + 1)); }

# expect_refusal CODE WORD ARGUMENTS...: exits with CODE, prints nothing but one line on stderr that has WORD in it.
expect_refusal() {
    code=$1 word=$2
    shift 2
    "$program" "$@" >"$work/out" 2>"$work/err"
    status=$?
    [ "$status" -eq "$code" ] || fail "$*: exit code $status, not $code"
    [ -s "$work/out" ] && fail "$*: printed on stdout"
    [ "$(wc -l <"$work/err")" -eq 1 ] || fail "$*: not one line on stderr"
    grep -q -- "$word" "$work/err" || fail "$*: '$word' is not in: $(cat "$work/err")"
}

expect_refusal 1 "$work/none" analyze "$work/none"
printf 'not a header\n' >"$work/bad.hea"
expect_refusal 1 bad analyze "$work/bad.hea"
printf 'flat 1 250 2500\nflat.dat 16 200 16 0 0 0 0 II\n' >"$work/flat.hea"
head -c 5000 /dev/zero >"$work/flat.dat"
expect_refusal 1 'not enough beats' analyze "$work/flat"
expect_refusal 1 'low-pass' analyze "$work/flat" --lowpass 125
expect_refusal 2 mains analyze --mains 55
expect_refusal 2 smooth analyze --smooth 3
expect_refusal 2 post-j analyze --post-j 0
expect_refusal 2 lowpass analyze --lowpass -5
expect_refusal 2 lowpass analyze --lowpass fast
expect_refusal 2 nonsense analyze --nonsense
expect_refusal 2 subcommand

"$program" analyze --post-j 80 >"$work/out" 2>"$work/err" || fail "the simulated test is not analysed"
[ -s "$work/err" ] && fail "the simulated test has warnings: $(cat "$work/err")"
for word in 'beats/min' 'uV/ms' 'min:s' 'V6' 'Q onset' '80 ms after J' 'Distance from the truth'; do
    grep -q "$word" "$work/out" || fail "'$word' is not in the report"
done
[ "$(wc -L <"$work/out")" -le 100 ] || fail "the report is wider than 100 columns"
"$program" --help >"$work/out" || fail "--help"

[ "$failures" -eq 0 ]
