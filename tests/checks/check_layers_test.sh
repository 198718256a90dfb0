#!/bin/sh
# Proves that the layer check passes a tree that keeps the order and names each kind of breach:
#   check_layers_test.sh CHECK_LAYERS
set -eu

check=$1
work_dir=$(mktemp -d)
trap 'rm -rf "$work_dir"' EXIT
failures=0

# write FILE LINE... puts a file of these lines into the tree.
write() {
    file=$work_dir/tree/$1
    shift
    mkdir -p "$(dirname "$file")"
    printf '%s\n' "$@" >"$file"
}

# A tree in which every arrow that may exist does.
fresh_tree() {
    rm -rf "$work_dir/tree"
    write src/oci/fetch.cpp '#include <cstdint>' '#include "client/a.h"' '#include "oci/records.h"'
    write src/client/a.cpp '#include "stmt/b.h"' '#include "bulk/c.h"' '#include "values/d.h"'
    write src/stmt/b.cpp '#include "client/a.h"' '#include "records/statement.h"'
    write src/bulk/c.cpp '#include "stmt/b.h"'
    write src/values/d.cpp '#include "wire/e.h"'
    write src/wire/e.cpp '#include "diag/f.h"' '#include "tavu/tvci.h"'
    write src/diag/f.cpp '#include "platform/lock.h"'
    write src/platform/lock.h '#ifdef _WIN32' '#include <windows.h>' '#endif'
    write src/platform/lock_unix.cpp '#include "platform/lock.h"' '#include "records/error.h"'
    write src/records/statement.h '#include "records/error.h"' '#include "platform/lock.h"'
    write server/main.cpp '#include "server/session.h"'
    write tools/tavusql/main.cpp '#include "tavu/oci.h"' '#include <sys/types.h>'
    write examples/demo.c '#include <tavu/oci.h>'
}

passes() {
    if ! "$check" "$work_dir/tree" >"$work_dir/output" 2>&1; then
        echo "FAILED: $1: the check should pass, but says:"
        cat "$work_dir/output"
        failures=$((failures + 1))
    fi
}

# refuses TEXT fails unless the check fails and says TEXT.
refuses() {
    if "$check" "$work_dir/tree" >"$work_dir/output" 2>&1; then
        echo "FAILED: the check should have said: $1"
        failures=$((failures + 1))
    elif ! grep -qF -- "$1" "$work_dir/output"; then
        echo "FAILED: the check should have said: $1; it says:"
        cat "$work_dir/output"
        failures=$((failures + 1))
    fi
}

fresh_tree
passes 'every arrow that may exist'

fresh_tree
write src/wire/e.cpp '' '#include "values/d.h"'
refuses 'src/wire/e.cpp:2: wire includes values, which lies above it'

fresh_tree
write src/platform/lock_win.cpp '#  include "diag/f.h"'
refuses 'src/platform/lock_win.cpp:1: platform includes diag, which lies above it'

fresh_tree
write src/values/d.h '#include "bulk/c.h"'
refuses 'src/values/d.h:1: values includes bulk, which lies above it'

fresh_tree
write src/stmt/b.cpp '#include <oci/records.h>'
refuses 'src/stmt/b.cpp:1: stmt includes oci, which lies above it'

fresh_tree
write src/records/statement.h '#include "diag/f.h"'
refuses 'src/records/statement.h:1: a header of records includes diag'

fresh_tree
write src/wire/e.cpp '#include "e.h"'
refuses '"e.h" is not named by its path from src/'

fresh_tree
write src/wire/e.cpp '#include "server/session.h"'
refuses '"server/session.h" is in no layer'

fresh_tree
write src/util/g.cpp '#include <cstdint>'
refuses 'src/util/g.cpp:1: this file is in no layer'

fresh_tree
write src/wire/e.cpp '#if defined(_WIN32)' '#endif'
refuses 'src/wire/e.cpp:1: asks for the operating system outside src/platform'

fresh_tree
write server/main.cpp '#include "wire/e.h"'
refuses 'server/main.cpp:1: includes the inside of the library'

fresh_tree
write server/main.cpp '#include "../src/wire/e.h"'
refuses 'server/main.cpp:1: includes the inside of the library'

fresh_tree
write examples/demo.c '#include "tavu/tvci.h"'
refuses 'examples/demo.c:1: includes more than the public header of the call interface'

if [ "$failures" -ne 0 ]; then
    exit 1
fi
echo 'The layer check refuses each kind of breach.'
