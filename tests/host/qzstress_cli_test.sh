#!/bin/sh
# The program as its user meets it: what it prints and writes, where, and its exit code.
# Usage: qzstress_cli_test.sh PROGRAM SOURCE_FOLDER
set -u
program=$1 sources=$2
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

# Every option stands in the manual page and in the completion.
"$program" --help-all >"$work/out" || fail "--help-all"
for option in $(grep -o -- '--[a-z-]*' "$work/out" | sort -u); do
    sed 's/\\-/-/g' "$sources/docs/qzstress.1" | grep -q -- "$option\b" || fail "$option is not in the manual page"
    grep -q -- "$option\b" "$sources/host/qzstress.bash" || fail "$option is not in the completion"
done

# A simulated test as a file, in every format: the same for the same seed, and found again by evaluate.
for format in '' .edf .csv; do
    "$program" simulate "$work/sim$format" --seconds 120 --protocol ramp --seed 5 --leads I,V5 ||
        fail "simulate $format"
    "$program" evaluate "$work/sim$format" --fs 500 --ann "$work/sim.truth.json" --json "$work/score.json" >"$work/out" ||
        fail "evaluate $format"
    grep -q 'sensitivity 9[89]\|sensitivity 100' "$work/out" || fail "evaluate $format: $(cat "$work/out")"
    "$program" analyze "$work/sim$format" --fs 500 --csv "$work/trend$format.csv" --quiet >"$work/out" || fail "analyze $format"
    [ -s "$work/out" ] && fail "--quiet prints"
    cmp "$work/trend.csv" "$work/trend$format.csv" || fail "$format gives another trend"
    "$program" info "$work/sim$format" --fs 500 | grep -q 'leads: I V5' || fail "info $format"
done
cp "$work/sim.dat" "$work/first.dat"
"$program" simulate "$work/sim" --seconds 120 --protocol ramp --seed 5 --leads I,V5
cmp "$work/first.dat" "$work/sim.dat" || fail "the same seed gives another signal"

# All results at once; none under its name when one of them cannot be written.
"$program" analyze "$work/sim" --json "$work/r.json" --wfdb-ann "$work/r.atr" --export "$work/clean" --double \
    --protocol ramp --exercise-start 14 --angina 1 --report "$work/r.html" >"$work/out" || fail "analyze with results"
for file in r.json r.atr clean.hea clean.dat r.html; do [ -s "$work/$file" ] || fail "no $file"; done
"$program" evaluate "$work/sim" --ann "$work/r.atr" | grep -q 'sensitivity 100' || fail "own annotations"
"$program" info "$work/clean" | grep -q '1000 Hz' || fail "the exported signal has not twice the rate"
"$program" analyze "$work/clean" --mains 0 --lowpass 0 --quiet || fail "the exported signal cannot be analysed"
expect_refusal 1 "$work/no/r.json" analyze "$work/sim" --quiet --json "$work/no/r.json"
expect_refusal 1 'leads' analyze "$work/sim" --leads V9
expect_refusal 1 'stages' analyze "$work/sim" --stages "$work/stages.txt"
expect_refusal 2 protocol analyze "$work/sim" --protocol run
expect_refusal 1 'html' analyze "$work/sim" --quiet --report "$work/r.doc"
expect_refusal 1 "$work/none" evaluate "$work/sim" --ann "$work/none"

# Interrupted, the results so far are written.
"$program" analyze "$work/sim" --realtime --json "$work/part.json" >"$work/out" 2>&1 &
sleep 1
kill -INT $!
wait $!
status=$?
# Twenty seconds have not passed: no beat is learned, and that is said. After them the results are there.
[ "$status" -eq 1 ] || [ "$status" -eq 130 ] || fail "interrupted: exit code $status"
"$program" analyze "$work/sim" --realtime 100 --quiet --json "$work/part.json" >"$work/out" 2>&1 &
sleep 0.8
kill -INT $!
wait $!
[ $? -eq 130 ] && [ -s "$work/part.json" ] || fail "interrupted: no results"

# A batch: the bad record does not stop the others, and what is done stays done.
mkdir -p "$work/records/deep"
cp "$work/sim.hea" "$work/sim.dat" "$work/records/deep"
cp "$work/bad.hea" "$work/sim.edf" "$work/records"
"$program" batch "$work/records" --out "$work/results" -- --mains 60 2>"$work/err"
[ $? -eq 3 ] || fail "batch with a bad record"
[ "$(wc -l <"$work/err")" -eq 1 ] && grep -q bad "$work/err" || fail "batch: $(cat "$work/err")"
[ "$(wc -l <"$work/results/results.csv")" -eq 3 ] || fail "batch: $(cat "$work/results/results.csv")"
touch -d 2001-01-01 "$work/results/deep/sim.hea.json"
rm "$work/records/bad.hea"
"$program" batch "$work/records" --out "$work/results" -- --mains 60 || fail "batch goes on"
[ "$work/results/deep/sim.hea.json" -ot "$program" ] || fail "batch: a record was analysed again"

[ "$failures" -eq 0 ]
