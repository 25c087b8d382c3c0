#!/bin/sh
# hardening_test.sh FILE...: the library or program is position-independent, protects its stack, and what the loader
# has filled in is read-only from the start.
set -eu
for file; do
    for sign in '-h DYN' '-l GNU_RELRO' '-d BIND_NOW' '--dyn-syms __stack_chk_fail'; do
        readelf -W "${sign% *}" "$file" | grep -q "${sign#* }" || { echo "$file: no ${sign#* }" >&2; exit 1; }
    done
done
