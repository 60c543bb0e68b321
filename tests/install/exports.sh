#!/usr/bin/env bash
# Compares what each library exports with what its headers declare: a function that is declared but missing, or exported
# but declared nowhere, fails. The platform may export more to the floors above it than its public headers show.
# exports.sh SOURCE-TREE LIBRARY-FOLDER
set -euo pipefail
source=$1 libraries=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

declared() { grep -ohE '^KB_API [^;(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\(' "$@" | sed -E 's/.*[ *]([A-Za-z0-9_]+)\($/\1/' | sort -u; }
# T: functions. Names that begin with an underscore belong to the tool chain.
exported() { nm -D --defined-only "$1" | awk '$2 == "T" && $3 !~ /^_/ {print $3}' | sed 's/@.*//' | sort -u; }

compare() { # compare LIBRARY exact|more HEADER...
    local library=$1 mode=$2
    shift 2
    declared "$@" >"$work/declared"
    exported "$libraries/lib$library.so" >"$work/exported"
    [[ -s $work/declared ]] || { echo "$library: no declarations found" >&2; status=1; }
    local missing extra
    missing=$(comm -23 "$work/declared" "$work/exported")
    extra=$(comm -13 "$work/declared" "$work/exported")
    if [[ -n $missing ]]; then echo "$library declares but doesn't export:" $missing >&2; status=1; fi
    if [[ $mode == exact && -n $extra ]]; then echo "$library exports but doesn't declare:" $extra >&2; status=1; fi
}

compare kbann exact "$source"/include/kbann/*.h
compare KBR13N exact "$source"/contracts/raster_kernel.h
compare KBRIO13N exact "$source"/contracts/raster_io.h
compare kbplatform more "$source"/platform/{sys,gdi,user}.h
exit $status
