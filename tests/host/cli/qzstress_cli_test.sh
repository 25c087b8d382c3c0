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
expect_refusal 1 'comb is for' analyze --mains 60 --comb
expect_refusal 2 smooth analyze --smooth 3
expect_refusal 2 post-j analyze --post-j 0
expect_refusal 2 j-point analyze --j-point 250.5
expect_refusal 1 'not enough beats' analyze "$work/flat" --j-point 60.5 --st-point 200
expect_refusal 2 lowpass analyze --lowpass -5
expect_refusal 2 lowpass analyze --lowpass fast
expect_refusal 2 nonsense analyze --nonsense
expect_refusal 2 'a command is expected: analyze'
expect_refusal 2 'did you mean qzstress analyze?' analyse
expect_refusal 2 "did you mean qzstress analyze $work/flat?" "$work/flat"
expect_refusal 2 'expected analyze, simulate' draw
expect_refusal 2 'a whole number of 0 to' simulate "$work/seed" --seed -1
expect_refusal 2 'a whole number of 0 to' simulate "$work/seed" --seed 18446744073709551616
expect_refusal 2 'none or 10 to 1000' analyze --lowpass 9
expect_refusal 2 'RECORD: a name' analyze ""
expect_refusal 2 'speed' analyze "$work/flat" --realtime 0
expect_refusal 2 'a speed is expected, not "fast"' analyze --realtime fast "$work/flat"
expect_refusal 2 'requires --csv' analyze "$work/flat" --every 5
expect_refusal 2 '100 to 2000 Hz is expected' simulate "$work/slow" --fs 50

"$program" analyze --leads V6 --post-j 80 >"$work/out" 2>"$work/err" || fail "the simulated test is not analysed"
[ "$(wc -l <"$work/err")" -eq 1 ] && grep -q 'one lead only' "$work/err" || fail "the simulated test: $(cat "$work/err")"
for word in 'beats/min' 'uV/ms' 'min:s' 'V6' 'Q onset' 'J + 86 ms' 'Distance from the truth'; do
    grep -q "$word" "$work/out" || fail "'$word' is not in the report"
done
[ "$(wc -L <"$work/out")" -le 100 ] || fail "the report is wider than 100 columns"

# Every option stands in the manual page and in the completion.
"$program" --help-all >"$work/out" || fail "--help-all"
for option in $(grep -o -- '--[a-z-]*' "$work/out" | sort -u); do
    sed 's/\\-/-/g' "$sources/docs/qzstress.1" | grep -q -- "$option\b" || fail "$option is not in the manual page"
    grep -q -- "$option\b" "$sources/host/cli/qzstress.bash" || fail "$option is not in the completion"
done

# A batch takes the options of analyze, behind -- too.
bash -c '. "$1"; COMP_WORDS=(qzstress batch x -- --mai) COMP_CWORD=4; _qzstress qzstress --mai --
    [ "${COMPREPLY[*]}" = --mains ]' - "$sources/host/cli/qzstress.bash" || fail "completion of a batch"

# A simulated test as a file, in every format: the same for the same seed, and found again by evaluate.
for format in '' .edf .csv; do
    "$program" simulate "$work/sim$format" --seconds 60 --protocol ramp --seed 5 --fs 250 --leads I,V5 --force ||
        fail "simulate $format"
    "$program" analyze "$work/sim$format" --csv "$work/trend$format.csv" --quiet >"$work/out" || fail "analyze $format"
    [ -s "$work/out" ] && fail "--quiet prints"
    cmp "$work/trend.csv" "$work/trend$format.csv" || fail "$format gives another trend"
    "$program" info "$work/sim$format" | grep -q 'leads: I V5' || fail "info $format"
done
"$program" evaluate "$work/sim" --ann "$work/sim.truth.json" --json "$work/score.json" >"$work/out" || fail "evaluate"
grep -q 'sensitivity 9[89]\|sensitivity 100' "$work/out" || fail "evaluate: $(cat "$work/out")"
cp "$work/sim.dat" "$work/first.dat"
"$program" simulate "$work/sim" --seconds 60 --protocol ramp --seed 5 --fs 250 --leads I,V5 --force
cmp "$work/first.dat" "$work/sim.dat" || fail "the same seed gives another signal"

# All results at once. One that cannot be written costs the others nothing.
"$program" analyze "$work/sim" --json "$work/r.json" --wfdb-ann "$work/r.atr" --export "$work/clean" --double \
    --protocol ramp --exercise-start 14 --angina 1 --report "$work/r.html" --language de >"$work/out" || fail "analyze with results"
grep -q '<html lang="de">' "$work/r.html" && expect_refusal 2 'requires --report' analyze --language de || fail "--language"
for file in r.json r.atr clean.hea clean.dat r.html; do [ -s "$work/$file" ] || fail "no $file"; done
"$program" evaluate "$work/sim" --ann "$work/r.atr" | grep -q 'sensitivity 100' || fail "own annotations"
"$program" evaluate "$work/sim" --fiducials "$work/r.atr,$work/r.atr" | grep -q 'hand marks' || fail "--fiducials"
expect_refusal 2 '--ann or --fiducials' evaluate "$work/sim"
"$program" analyze "$work/sim" --protocol ramp --exercise-start 40 2>/dev/null | grep -q '0:00 to 0:40 min:s, rest' || fail "rest"
"$program" analyze "$work/sim" --protocol ramp --reference 20-50 2>&1 | grep -q '0:20 to 0:50.*lies in the exercise' ||
    fail "--reference"
for span in 10 10-10 -1-5 1-2x; do expect_refusal 2 SECONDS-SECONDS analyze "$work/sim" "--reference=$span"; done
"$program" info "$work/clean" | grep -q '500 Hz' || fail "the exported signal has not twice the rate"
"$program" analyze "$work/clean" --mains 0 --lowpass 0 --quiet || fail "the exported signal cannot be analysed"
"$program" analyze "$work/sim" --mains 60 --quiet 2>&1 | grep -q 'mains are of 50 Hz' || fail "wrong mains are not told"
expect_refusal 1 "$work/no/r.json" analyze "$work/sim" --quiet --csv "$work/r.csv" --export "$work/e.edf" \
    --json "$work/no/r.json"
[ -s "$work/r.csv" ] && [ -s "$work/e.edf" ] || fail "one output that fails takes others with it"
(ulimit -f 200; "$program" analyze "$work/sim" --quiet --json "$work/whole.json" --export "$work/cut" --double 2>"$work/err")
[ $? -eq 1 ] && [ "$(cat "$work/err")" = "qzstress: $work/cut.dat: cannot be written to its end: File too large" ] &&
    [ -s "$work/whole.json" ] || fail "a full disk: $(cat "$work/err")"
# What is there is replaced by a later result of its kind, and by nothing else without --force.
expect_refusal 1 'sim.hea: is there already' simulate "$work/sim" --seconds 20
expect_refusal 1 'r.atr: is there already' analyze "$work/sim" --wfdb-ann "$work/r.atr"
expect_refusal 1 'e.edf: is there already' analyze "$work/sim" --export "$work/e.edf"
expect_refusal 1 'no earlier result of this kind' analyze "$work/sim" --csv "$work/r.json"
expect_refusal 1 'no earlier result of this kind' evaluate "$work/sim" --ann "$work/sim.atr" --json "$work/r.json"
printf precious >"$work/other.html"
expect_refusal 1 'other.html: is there already' analyze "$work/sim" --report "$work/other.html"
"$program" analyze "$work/sim" --quiet --csv "$work/r.csv" --json "$work/r.json" --report "$work/r.html" || fail "results again"
"$program" analyze "$work/sim" --quiet --wfdb-ann "$work/r.atr" --csv "$work/other.html" --force || fail "--force"
expect_refusal 1 'two outputs' analyze "$work/sim" --csv "$work/one" --json "$work/./one"
ls "$work"/.qzstress-* "$work"/cut.* "$work/one" 2>/dev/null && fail "something is left behind"
# No recording is lost to what is made of it.
ln -s sim.dat "$work/link"
cp "$work/sim.truth.json" "$work/truth.json"
expect_refusal 1 'sim.hea: is read' analyze "$work/sim" --export "$work/sim"
expect_refusal 1 'sim.dat: is read' analyze "$work/sim" --csv "$work/link"
expect_refusal 1 'sim.csv: is read' analyze "$work/sim" --template-from "$work/sim.csv" --json "$work/sim.csv"
expect_refusal 1 'truth.json: is read' evaluate "$work/sim" --ann "$work/truth.json" --json "$work/truth.json"
cmp "$work/first.dat" "$work/sim.dat" && cmp "$work/sim.truth.json" "$work/truth.json" || fail "a recording is lost"

# A recording comes and results go through pipes, and are the same.
mkfifo "$work/pipe"
cat "$work/sim.csv" >"$work/pipe" &
"$program" analyze "$work/pipe" --csv - >"$work/piped.csv" && cmp "$work/trend.csv" "$work/piped.csv" || fail "a pipe"
"$program" analyze - --raw 250,I+V5,1 --csv - <"$work/sim.dat" | cmp "$work/trend.csv" || fail "raw frames"
"$program" analyze "$work/sim.dat" --json - >"$work/out" && grep -q '"options": {}' "$work/out" || fail "--json -"
expect_refusal 1 'two outputs' analyze "$work/sim" --json - --csv -
expect_refusal 1 'is read twice' evaluate - --ann "$work/sim.atr"
for layout in 500 500,2 500,0,1 500,2,0 500,2,x 500,65,1; do expect_refusal 2 raw analyze "$work/sim.dat" --raw $layout; done
# What does not fit is said, and what was meant.
expect_refusal 1 'is for CSV' analyze "$work/sim.edf" --fs 500
expect_refusal 1 'leaves nothing' evaluate "$work/sim" --ann "$work/sim.atr" --skip 60
"$program" info "$work/sim.atr" --json | grep -q '"length_s": 60.0' || fail "info --json"
# Persons stand in no output of an anonymous run; what is told of the patient stands in all that have room for it.
echo '{"name": "Zwqx", "id": "Zwqx-1", "referring": "Dr. Zwqx", "indication": "dyspnoea"}' >"$work/p.json"
for anonymous in '' --anonymous; do
    rm -f "$work"/p1*
    "$program" analyze "$work/sim" --patient "$work/p.json" $anonymous --json "$work/p1.json" --report "$work/p1.html" \
        --csv "$work/p1.csv" --export "$work/p1.edf" --quiet || fail "analyze --patient $anonymous"
    "$program" analyze "$work/p1.edf" $anonymous --export "$work/p1" --quiet || fail "analyze with a patient $anonymous"
    for file in p1.json p1.html p1.edf p1.hea; do
        grep -aq dyspnoea "$work/$file" || fail "$file does not tell of the patient"
        [ -z "$anonymous" ] && { grep -aq Zwqx "$work/$file" || fail "$file has no name"; }
    done
    [ -n "$anonymous" ] && grep -alr Zwqx "$work"/p1* && fail "a person stands in an anonymous output"
done
expect_refusal 1 'p.json: is read' analyze "$work/sim" --patient "$work/p.json" --json "$work/p.json"

# Stages come from the truth of a simulation and from notes, the rest from a table and options.
printf 'time,systolic\n0:50,171\n1:02,199\n' >"$work/bp.csv"
"$program" analyze "$work/sim" --stages "$work/sim.truth.json" --bp "$work/bp.csv" --predicted tanaka --stage-leads V5 \
    --ended 'tired legs' --symptoms none --report "$work/s.html" --json "$work/s.json" --quiet 2>"$work/err" ||
    fail "--stages truth.json"
grep -q 'blood pressures from 1:02 min:s on are left out: the recording ends at 1:00' "$work/err" ||
    fail "a blood pressure after the end: $(cat "$work/err")"
for word in '<td>171/-</td>' '>ST V5<' 'tired legs' '>recovery to its end<'; do
    grep -q "$word" "$work/s.html" || fail "'$word' is not in the report"
done
grep -q '"predicted_by": "Tanaka' "$work/s.json" || fail "--predicted"
expect_refusal 1 'no note that names a stage' analyze "$work/sim" --stages "$work/sim.atr"
expect_refusal 1 'lead "V9" is not one' analyze "$work/sim" --stage-leads V9
expect_refusal 1 'bp.csv: is read' analyze "$work/sim" --bp "$work/bp.csv" --csv "$work/bp.csv"

# The words after a list of leads are not leads; a beat is taken from leads of the same names.
"$program" analyze --leads V5,I "$work/sim" >"$work/out" && grep -q 'V5 *I$' "$work/out" || fail "--leads before RECORD"
"$program" simulate "$work/other" --seconds 60 --fs 250 --leads II,V5,I || fail "simulate other leads"
"$program" analyze "$work/sim" --template-from "$work/other" --json "$work/r.json" --quiet || fail "--template-from"
grep -q '"learned_from": "other"' "$work/r.json" ||
    fail "the record of the beat is not told"
expect_refusal 1 'lead "II" is not one' analyze "$work/other" --template-from "$work/sim"
expect_refusal 1 'leads' analyze "$work/sim" --leads V9
expect_refusal 1 'stages' analyze "$work/sim" --stages "$work/stages.txt"
expect_refusal 2 protocol analyze "$work/sim" --protocol run
expect_refusal 1 'html' analyze "$work/sim" --quiet --report "$work/r.doc"
expect_refusal 1 "$work/none" evaluate "$work/sim" --ann "$work/none"

# wait_for_line WORD: until what runs has printed a line with WORD; given up after a minute.
wait_for_line() {
    tries=600
    until grep -q -- "$1" "$work/out" || [ $((tries -= 1)) -eq 0 ]; do sleep 0.1; done
}

# Interrupted, the results so far are written.
"$program" analyze "$work/sim" --realtime --json "$work/part.json" >"$work/out" 2>&1 &
sleep 1
kill -TERM $!
wait $!
# No beat is learned after a second, and that is said. Later the results are there.
[ $? -eq 130 ] && grep -q 'interrupted before' "$work/out" || fail "interrupted while learning"
ls "$work"/part.json "$work"/.qzstress-* 2>/dev/null && fail "interrupted while learning: something is left behind"
"$program" analyze "$work/sim" --realtime 6 --json "$work/part.json" >"$work/out" 2>&1 &
wait_for_line ' V5 '
kill -TERM $!
wait $!
[ $? -eq 130 ] && [ -s "$work/part.json" ] || fail "interrupted: no results"
grep -q '"interrupted": true' "$work/part.json" || fail "interrupted: the result does not say so"

# So they are where frames are waited for.
exec 9<>"$work/pipe"
timeout 20 cat "$work/sim.dat" >"$work/pipe" 9>&- &
cat=$!
"$program" analyze "$work/pipe" --raw 250,2,1 --realtime 100 --json "$work/waited.json" 9>&- >"$work/out" 2>&1 &
waiting=$!
wait $cat
wait_for_line '1:00'
kill -TERM $waiting
wait $waiting
[ $? -eq 130 ] && grep -q '"interrupted": true' "$work/waited.json" || fail "interrupted while waiting for frames"
exec 9>&-

# So they are where nobody reads the display any more.
"$program" analyze --realtime 20 "$work/sim" --json "$work/piped.json" 2>"$work/err" | head -n 1 >"$work/out"
[ -s "$work/piped.json" ] || fail "a closed pipe: $(cat "$work/err")"

# What cannot be written tells why, also where it is no file.
expect_refusal 1 '/dev/full: cannot be written to its end: No space left' analyze "$work/sim" --quiet --csv /dev/full

# A lead that is off has no ST, and neither a table nor an index is made of it.
"$program" simulate "$work/off" --seconds 60 --leads I,II,V5 --lead-off V5:0:60 || fail "simulate --lead-off"
"$program" analyze "$work/off" --json "$work/off.json" --report "$work/off.html" --csv "$work/off.csv" --quiet \
    --exercise-seconds 30 2>"$work/err" || fail "analyze with a lead off: $(cat "$work/err")"
grep -q 'off: V5 (from 0:00' "$work/err" || fail "a lead that is off is not told: $(cat "$work/err")"
grep -q '"largest_change_uv": null' "$work/off.json" && grep -q ',,,,[0-9.]*,[0-9.]*$' "$work/off.csv" || fail "ST of a lead that is off"

# A batch: the bad record does not stop the others, and what is done stays done.
mkdir -p "$work/records/deep"
cp "$work/sim.hea" "$work/sim.dat" "$work/records/deep"
cp "$work/bad.hea" "$work/sim.edf" "$work/records"
"$program" batch "$work/records" --out "$work/results" --mains 60 2>"$work/err"
[ $? -eq 3 ] || fail "batch with a bad record"
[ "$(wc -l <"$work/err")" -eq 1 ] && grep -q bad "$work/err" || fail "batch: $(cat "$work/err")"
[ "$(wc -l <"$work/results/results.csv")" -eq 3 ] || fail "batch: $(cat "$work/results/results.csv")"
ln -s loop.edf "$work/records/loop.edf"
ln -s nowhere.edf "$work/records/lost.edf"
"$program" batch "$work/records" --out "$work/results" --mains 60 2>"$work/err"
[ $? -eq 3 ] && [ "$(grep -c 'loop.edf\|lost.edf' "$work/err")" -eq 2 ] || fail "batch with links that lead nowhere: $(cat "$work/err")"
rm "$work/records/loop.edf" "$work/records/lost.edf"
touch -d 2001-01-01 "$work/results/deep/sim.hea.json"
rm "$work/records/bad.hea"
"$program" batch "$work/records" --out "$work/results" -- --mains 60 || fail "batch goes on"
[ "$work/results/deep/sim.hea.json" -ot "$program" ] || fail "batch: a record was analysed again"

# A result that was interrupted is not done: it is written anew, or missing in the table where that fails.
results=$work/results
cp "$results/results.csv" "$work/table.csv"
sed -i 's/"interrupted": false/"interrupted": true/; s/"length_s": 60/"length_s": 12/' "$results/sim.edf.json"
"$program" batch "$work/records" --out "$results" -- --mains 60 || fail "batch after an interrupted one"
grep -q '"interrupted": false' "$results/sim.edf.json" || fail "batch: an interrupted result counts as done"
cmp "$work/table.csv" "$results/results.csv" || fail "batch: another table after an interrupted one"
touch -d 2001-01-01 "$results/sim.edf.json"
cp "$work/bad.hea" "$work/records"
sed 's/"interrupted": false/"interrupted": true/' "$results/sim.edf.json" >"$results/bad.hea.json"
expect_refusal 3 "records/bad.hea: line 1" batch "$work/records" --out "$results" --mains=60
cmp "$work/table.csv" "$results/results.csv" || fail "batch: an interrupted result is in the table"
[ "$results/sim.edf.json" -ot "$program" ] || fail "batch: a whole result was analysed again"
rm "$work/records/bad.hea" "$results/bad.hea.json"

# What is no result is named and left alone, and the others go on.
cp "$results/sim.edf.json" "$work/whole.json"
rm "$results/deep/sim.hea.json"
for foreign in '' '7' '{"schema": "qzstress-result-1"}' "$(head -c 9000 "$work/whole.json")" \
    "$(sed 's/"largest_change_uv": [^,]*/"largest_change_uv": "much"/' "$work/whole.json")"; do
    printf '%s' "$foreign" >"$results/sim.edf.json"
    cp "$results/sim.edf.json" "$work/foreign.json"
    expect_refusal 3 'sim.edf.json: is not a result of qzstress; move it away' \
        batch "$work/records" --out "$results" -- --mains 60
    cmp "$work/foreign.json" "$results/sim.edf.json" || fail "batch: a foreign file was overwritten"
    [ "$(wc -l <"$results/results.csv")" -eq 2 ] && grep -q deep/sim.hea "$results/results.csv" ||
        fail "batch with a foreign file: $(cat "$results/results.csv")"
done
rm "$results/sim.edf.json"
"$program" batch "$work/records" --out "$results" -- --mains 60 || fail "batch without the foreign file"
cmp "$work/table.csv" "$results/results.csv" || fail "batch: another table without the foreign file"
# A recording or a list is not overwritten by the table, nor taken for the other.
"$program" batch "$work/records" --out "$work/records/more" --mains 50 || fail "batch into the folder of the records"
"$program" batch "$work/records" --out "$results" --mains 60 || fail "a table is taken for a recording"
rm -r "$work/records/more"
echo sim.edf >"$work/records/results.csv"
expect_refusal 1 'results.csv: is not a table' batch "$work/records" --out "$work/records"
rm "$work/records/results.csv"
expect_refusal 1 'sim.csv: is taken for a recording' batch "$work/sim.csv" --out "$results"

# Results of other options are made again or kept, and the table tells which they are.
"$program" batch "$work/records" --out "$results" --keep --leads V5,I 2>"$work/err" || fail "--keep"
grep -q 'another version kept: 2$' "$work/err" && cmp "$work/table.csv" "$results/results.csv" ||
    fail "--keep: $(cat "$work/err" "$results/results.csv")"
sed -i 's/"program": "[^"]*/&x/' "$results/sim.edf.json"
"$program" batch "$work/records" --out "$results" --mains 60 2>"$work/err" && grep -q 'made again: 1$' "$work/err" ||
    fail "another version: $(cat "$work/err")"
"$program" batch "$work/records" --out "$results" -- --leads V5,I --comb --mains=50 --reports html --language de \
    --paper letter --strips 5,30 2>"$work/err" ||
    fail "other options"
[ "$(grep -c -- ',qzstress [0-9.]*,"leads=V5,I mains=50 comb language=de strips=5,30 paper=letter"$' "$results/results.csv")" -eq 2 ] &&
    [ "$(cat "$results/sim.edf.html" "$results/deep/sim.hea.html" | grep -c 'lang="de"\|size: 215.9mm')" -eq 4 ] ||
    fail "other options: $(cat "$results/results.csv")"
# A file of stages that has changed counts as another option; an anonymous result does not name it.
printf '0 0 rest\n30 50 work\n' >"$work/ride.txt"
"$program" batch "$work/records" --out "$results" --stages "$work/ride.txt" --mains 50 --anonymous --quiet 2>/dev/null || fail "--stages"
grep -q 'ride' "$results/sim.edf.json" && fail "an anonymous result names a file"
"$program" batch "$work/records" --out "$results" --stages "$work/ride.txt" --mains 50 --anonymous 2>"$work/err"
[ -s "$work/err" ] && fail "the same stages: $(cat "$work/err")"
echo '60 0 recovery' >>"$work/ride.txt"
"$program" batch "$work/records" --out "$results" --stages "$work/ride.txt" --mains 50 --anonymous 2>"$work/err"
grep -q 'made again: 2$' "$work/err" || fail "changed stages: $(cat "$work/err")"
# Wrong options are told once, before any work, and so is what is no list.
expect_refusal 2 'no-such' batch "$work/records" --out "$work/never" -- --no-such 1
expect_refusal 1 'comb is for' batch "$work/records" --out "$work/never" -- --comb --mains 60
expect_refusal 1 'stages.txt: cannot' batch "$work/records" --out "$work/never" --stages "$work/stages.txt"
printf '\1\2binary\377' >"$work/binary"
expect_refusal 1 'binary: expected a folder or a list' batch "$work/binary" --out "$work/never"
[ -e "$work/never" ] && fail "a batch without records makes a folder"
expect_refusal 2 'names one file' batch "$work/records" --out "$results" -- --csv "$work/all.csv"

# A list that names a record twice, and one with two records that have one place for their results.
mkdir -p "$work/lists/up"
cp "$work/sim.edf" "$work/lists/up"
printf '%s\n' '# twice' ../sim ../sim.hea up/sim.edf ./up/../up/sim.edf "$work/lists/up/sim.edf" >"$work/lists/twice.txt"
"$program" batch "$work/lists/twice.txt" --out "$work/twice" --mains 50 --jobs 3 2>"$work/err" || fail "a record listed twice"
[ -s "$work/err" ] && fail "a record listed twice: $(cat "$work/err")"
[ "$(wc -l <"$work/twice/results.csv")" -eq 3 ] || fail "a record listed twice: $(cat "$work/twice/results.csv")"
printf '%s\n' up/sim.edf ../sim.edf >"$work/lists/clash.txt"
expect_refusal 3 "$work/sim.edf: its result would be .*, as that of $work/lists/up/sim.edf" \
    batch "$work/lists/clash.txt" --out "$work/clash"
[ "$(wc -l <"$work/clash/results.csv")" -eq 2 ] && grep -q lists/up/sim.edf "$work/clash/results.csv" ||
    fail "one place for two results: $(cat "$work/clash/results.csv")"

# Two runs with one name for their files: all four are of one run.
for round in 1 2 3; do
    "$program" simulate "$work/both" --seconds 30 --seed 1 --leads I,V5 --force &
    "$program" simulate "$work/both" --seconds 30 --seed 2 --leads II,V6 --force || fail "the second of two runs"
    wait $! || fail "the first of two runs"
    "$program" evaluate "$work/both" --ann "$work/both.truth.json" >"$work/out" 2>"$work/err" &&
        grep -q 'sensitivity 9[0-9]\|sensitivity 100' "$work/out" || fail "two runs: $(cat "$work/out" "$work/err")"
done

# Beats of two other shapes, by pairs, after 12 s of one: what is learned later may be matched from earlier on.
LC_ALL=C awk 'BEGIN {
    print "time (s),I (uV),II (uV)"
    for (i = 0; i < 8000; ++i) {
        beat = int(i / 160); at = i % 160 - 60; shape = beat < 15 ? 0 : 2 - int((beat - 15) / 2) % 2
        r = 1000 * exp(-((at - 8) / (2 + shape)) ^ 2); s = 600 * exp(-((at - 14 - 2 * shape) / 3) ^ 2)
        if (shape == 1) r = -r
        if (shape == 2) s = -s
        printf "%.3f,%.0f,%.0f\n", i / 200, r - s, r / 2 + s
    }
}' >"$work/shapes.csv"
"$program" analyze "$work/shapes.csv" --quiet --json "$work/shapes.json" 2>/dev/null || fail "beats of three shapes"
sed -n '/"relearned_s"/,/]/p' "$work/shapes.json" | grep -o '[0-9][0-9.]*' >"$work/times"
[ "$(wc -l <"$work/times")" -gt 1 ] && LC_ALL=C sort -nc "$work/times" || fail "relearned at $(cat "$work/times")"

# A stranger's archive: pipes, links, names that are formulas or no text, records that take too long.
mkdir -p "$work/bad/=1" "$work/late"
mkfifo "$work/bad/pipe.csv" "$work/bad/list"
echo precious >"$work/victim"
ln -s ../victim "$work/late/pipe.csv.json.log"
sed 's/ I$/ =I\xff/' "$work/sim.hea" >"$work/bad/=1/sim.hea"
cp "$work/sim.dat" "$work/bad/=1"
printf 'pipe.csv\n=1/sim\n' >"$work/bad/list.txt"
cd "$work/bad" || exit 1
expect_refusal 3 'pipe.csv: expected a file, found a pipe' batch list.txt --out "$work/late"
grep -q "^\"'=1/sim\"," "$work/late/results.csv" || fail "a formula: $(cat "$work/late/results.csv")"
grep -q precious "$work/victim" || fail "a log was written to where a link leads"
expect_refusal 1 'list: expected a file, found a pipe' batch "$work/bad/list" --out "$work/late"
"$program" analyze "$work/bad/=1/sim" --json "$work/u.json" --csv "$work/u.csv" --report "$work/u.html" >"$work/out" ||
    fail "a name that is no text"
iconv -f UTF-8 -t UTF-8 "$work/u.json" "$work/u.csv" "$work/u.html" "$work/out" >/dev/null || fail "a name leaves as no text"
rm -r "$work/late"
start=$(date +%s)
expect_refusal 3 'given up after 0 s' batch "$work/lists" --out "$work/late" --timeout 0.000001
[ $(($(date +%s) - start)) -lt 9 ] || fail "a time limit takes long"

# A live test without a frame has no results, and says so.
"$program" monitor - --raw 250,2,1 --out "$work/live" --no-page </dev/null >"$work/out" 2>"$work/err"
[ $? -eq 1 ] && [ "$(cat "$work/err")" = "qzstress: no results: there has been no signal" ] ||
    fail "monitor without a frame: $(cat "$work/err")"

[ "$failures" -eq 0 ]
