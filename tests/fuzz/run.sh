#!/bin/sh
# run.sh BUILD [SECONDS]: runs the fuzz programs of a build configured with -DQZ_BUILD_FUZZ=ON for clang, each
# for so many seconds (60), from small sound files and sequences of calls. Ends with an error as soon as one finds a fault; the input
# that shows it is then in BUILD/fuzz.
set -eu
programs=$(realpath "$1")/tests/fuzz
seconds=${2:-60}
mkdir -p "$1/fuzz"
cd "$1/fuzz"

seed() {
    mkdir -p "$1"
    cat > "$1/$2"
}

seed wfdb plain <<END
r 2 500/500(0) 2 10:00:00 1/2/1990
d 212x1:1+0 200(1)/mV 12 0 1 4 0 MLII
d 212 200 12 0 2 6 0 V5
# Age: 50
END
printf '\0\0\1\2\3\4\5\6\7' >> wfdb/plain
for format in 8 16 24 32 61 80 160 310 311; do
    printf 'r 1 250 3\nd %s 1000 0 0 0 0 0 I\n\0\0abcdefghijkl' $format | seed wfdb format$format
done
# A FLAC stream of two channels with 32 samples each, in blocks of 16.
printf 'r 2 250 32\nd 516 1000 16 0 0 0 0 I\nd 516 1000 16 0 0 0 0 II\n\0\0' > flac
printf 'fLaC\200\0\0"\0\20\0\20\0\0\66\0\0\67\0\37B\360\0\0\0 \31\271ao\261\47\246\222\31\202\254\266\216\35\205X' >> flac
printf '\377\370n\30\0\17\0\62\212\21@\207\317\341\35J\333\215U\215q\134\254\232\226\335,\217{\337A\24\7@\210\363S\31\216\65H\350\2\64k\62\61M\61 \202E\200g\324' >> flac
printf '\377\370n\30\1\17\0\62\234\21@w\65\71j+\224\35\247\331\321\264\263\30\45\24\243\344u\67\4P!\231R\247\235\27}\4\204\242\356f\372\236\256\260\327\214\253F\237\245' >> flac
seed wfdb flac < flac
printf 'r/4 1 250 7\ns 0\ns 2\n~ 3\ns 2\n\0s 1 250 2\nd 16 1000 16 0 0 0 0 I\n\0abcdefgh' | seed wfdb segments
printf 'r/2 1 250 7\ns 0\ns 2\n\0s 1 250\n~ 0 1/mV 0 0 0 0 0 I\n\0abcdefgh' | seed wfdb layout

# version, patient, recording, date, time, header bytes, reserved, records, duration, signals; then each field
# for all signals: label, transducer, unit, physical and digital range, prefilter, samples, reserved.
edf() { # first byte, version, reserved, second label, bytes of a sample, digital minimum, maximum, annotations or not
    printf "$1%-7s%-80s%-80s%-8s%-8s%-8s%-44s%-8s%-8s%-4s" "$2" 'X F X X' 'Startdate X X X X' 01.02.03 \
        04.05.06 768 "$3" 2 1 2
    printf '%-16s' 'ECG I' "$4"
    printf '%-80s' '' ''
    printf '%-8s' uV mV -1000 -1 1000 1 "$6" "$6" "$7" "$7"
    printf '%-80s' '' ''
    printf '%-8s' 100 100
    printf '%-32s' '' ''
    if [ "$8" ]; then
        for record in 0 1; do
            head -c $((100 * $5)) /dev/zero
            printf '+%s\024\024' $record
            head -c $((100 * $5 - 4)) /dev/zero
        done
    else
        head -c $((400 * $5)) /dev/zero
    fi
}
edf 0 '' '' 'ECG II' 2 -32768 32767 '' | seed edf edf
edf 0 '' EDF+C 'EDF Annotations' 2 -32768 32767 annotations | seed edf edfplus
edf '\377' BIOSEMI 24BIT 'ECG II' 3 -8388608 8388607 '' | seed edf bdf

printf '\3I,II\n1,2\n-3,4e1\n' | seed csv bare
printf '\0time_s;I (mV);"II" [uV]\n0;1;2\n0.002;3;4\n0.004;5;6\n' | seed csv times

printf '\1# sampling_rate_hz: 99.9\nI;aVR;Temp (C)\n-1,5;;36,6\nnan;null;1e400\n' | seed csv decimals
printf '\3\377\376I\0\n\0\61\0\n\0\62\0\n\0' | seed csv utf16
printf '\3\376\377\0I\0\t\0I\0I\0\n\0\61\0\t\0\62\0\n' | seed csv utf16big
printf '\4abcdefghijk' | seed csv raw

printf '\1\4\2\4\0\354\1\0\0\0\3\160\4\374abcd\0\0' | seed annotations few

# Calls by number, see Library_fuzz.cpp: through one door and the other, and in each others' place.
engine='\0\0\5\2\0\0\2\0\0\2\0\0\1\0\0'  # qzStressECGLib_create: 500 Hz, 3 leads
template='\2\1\120\0\1\170\0\2\74\0\0\1\204\3\31\12\1\1\144'  # a first beat
frames='\7\372\310\1\204\3\3'  # a thousand frames of a wave
printf "$engine$template$frames$frames" | seed library engine
printf "$engine$frames$template$frames$engine$frames\4\0$frames" | seed library again
printf '\0\1\10\1\62\0\1\62\0\1\2\0\1\1\2'"$frames"'\4\3\1\0\1'"$frames" | seed library filters
printf '\3\0\1\2\0\1\3\0\1\4\0\1\6'"$frames"'\3\2\1\2\0\1\3\0\1\4\0\1\0\5'"$frames" | seed library classes

# Ordinary options, then a minute of a wave with its events fetched now and then.
session='\0\0\0\0\0\0\0\0\1'
wave='\5\372\226\20\0\5\372\226\20\0\5\372\226\20\0\5\372\226\20\0\0\377'
printf "$session$wave$wave\1\77\77\4\50\74\144$wave" | seed session wave

# What is sent to a live test, see Live_fuzz.cpp: lines, requests, and frames of a text and of a ping.
printf '\0{"fs":500,"leads":["I","II"],"uVpb":2.5}' | seed live device
printf '\1{"schema":"qzstress-journal-1","fs":500,"leads":["I"],"uVpb":1,"started":"","options":{"--mains":"50"}}' | seed live journal
printf '\2{"do":"limits","value":180,"other":40,"st_uv":200,"text":"a"}' | seed live command
printf '\2{"signal":1,"from":0,"frames":500,"per":2}' | seed live signal
printf '\2{"signal":1,"from":0,"frames":500000,"columns":900}' | seed live overview
printf '\2{"strip":12.5,"language":"de"}' | seed live strip
printf '\3GET / HTTP/1.1\r\nHost: localhost\r\n\r\n' | seed live page
printf '\3GET /results/report.pdf?a=%%2e HTTP/1.0\r\nHost: [::1]:80\r\nCookie: qzstress=0\r\n\r\n' | seed live result
printf '\4\201\212\0\0\0\0{"ping":1}\211\200\0\0\0\0\210\200\0\0\0\0' | seed live frames
printf '\4\1\202\1\2\3\4zs\200\203\0\0\0\0abc' | seed live fragments

for program in session library wfdb edf csv annotations live; do
    [ -x "$programs/fuzz_$program" ] || continue  # a build without the host has the library's alone
    longest=4096
    case $program in library | session) longest=300 ;; esac  # each byte may be a thousand frames
    "$programs/fuzz_$program" -max_total_time="$seconds" -max_len="$longest" -timeout=120 -rss_limit_mb=1024 -verbosity=1 \
        -print_final_stats=1 $program > $program.log 2>&1 || { tail -40 $program.log; exit 1; }
    echo "$program: $(sed -n 's/^stat::number_of_executed_units: *//p' $program.log) executions without a fault"
done
