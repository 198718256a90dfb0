#!/bin/sh
# Runs a program and compares what it prints with a file: compare_output.sh FILE -- PROGRAM...
# Carriage returns are dropped first, because a Windows program ends its lines with them.
set -eu

if [ $# -lt 3 ] || [ "$2" != -- ]; then
    echo "usage: $0 FILE -- PROGRAM [ARGUMENT...]" >&2
    exit 2
fi
expected=$1
shift 2

work_dir=$(mktemp -d)
trap 'rm -rf "$work_dir"' EXIT
status=0
"$@" >"$work_dir/printed" || status=$?
tr -d '\r' <"$work_dir/printed" >"$work_dir/actual"
if [ "$status" -ne 0 ]; then
    cat "$work_dir/actual"
    echo "$0: $1 ended with $status" >&2
    exit 1
fi
diff -u "$expected" "$work_dir/actual"
