#!/bin/sh
# Proves that the export check refuses a library that exports less or more than the list, or that
# needs what it should not: check_exports_test.sh CHECK_EXPORTS LIST LIBRARY GREEDY_LIBRARY
# LIBRARY keeps the list. GREEDY_LIBRARY exports Greedy and needs a library of others; as a DLL it
# also starts and stops the socket layer.
set -eu

check=$1
list=$2
library=$3
greedy_library=$4
work_dir=$(mktemp -d)
trap 'rm -rf "$work_dir"' EXIT
failures=0

# refuses LIST LIBRARY TEXT fails unless the check fails and says TEXT.
refuses() {
    if "$check" "$1" "$2" >"$work_dir/output" 2>&1; then
        echo "FAILED: the check should have said: $3"
        failures=$((failures + 1))
    elif ! grep -qF -- "$3" "$work_dir/output"; then
        echo "FAILED: the check should have said: $3; it says:"
        cat "$work_dir/output"
        failures=$((failures + 1))
    fi
}

grep -v '^OCIAttrGet$' "$list" >"$work_dir/shorter"
refuses "$work_dir/shorter" "$library" 'exports OCIAttrGet, which is not in'

{ cat "$list"; echo OCINotThere; } >"$work_dir/longer"
refuses "$work_dir/longer" "$library" 'does not export OCINotThere'

echo Greedy >"$work_dir/greedy"
case $library in
    *.dll)
        refuses "$work_dir/greedy" "$greedy_library" 'needs USER32.dll'
        refuses "$work_dir/greedy" "$greedy_library" 'imports WSAStartup'
        refuses "$work_dir/greedy" "$greedy_library" 'imports WSACleanup'
        ;;
    *)
        refuses "$work_dir/greedy" "$greedy_library" 'needs libstdc++.so.6'
        ;;
esac
refuses "$list" "$greedy_library" 'exports Greedy, which is not in'

if [ "$failures" -ne 0 ]; then
    exit 1
fi
echo 'The export check refuses each kind of breach.'
