#!/bin/sh
# Runs a program beside a fresh development server with an empty database in memory:
#   run_with_server.sh TAVUD [OPTION...] -- PROGRAM [ARGUMENT...]
# The server takes a free port and the options that are given. The program finds it in
# TAVU_TEST_PORT, and in each argument in place of the word @PORT@. The result is the program's, or
# 1 if the server did not end cleanly.
set -eu

usage() {
    echo "usage: $0 TAVUD [OPTION...] -- PROGRAM [ARGUMENT...]" >&2
    exit 2
}

[ $# -gt 0 ] || usage
tavud=$1
shift
# One option a line: a line end is the one thing that no option holds.
line_end='
'
server_options=
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    server_options=$server_options$1$line_end
    shift
done
[ $# -gt 1 ] || usage
shift
if [ ! -x "$tavud" ]; then
    echo "$0: no server at $tavud: build the preset linux-release first" >&2
    exit 2
fi

work_dir=$(mktemp -d)
server_pid=
end_early() {
    if [ -n "$server_pid" ]; then
        kill -KILL "$server_pid" 2>/dev/null || true
    fi
    rm -rf "$work_dir"
}
trap end_early EXIT
trap 'exit 130' INT TERM HUP

mkfifo "$work_dir/stdout"
(
    IFS=$line_end
    set -f
    # shellcheck disable=SC2086 # the lines are split on purpose
    exec "$tavud" --port 0 --db :memory: $server_options
) >"$work_dir/stdout" &
server_pid=$!
exec 3<"$work_dir/stdout"

# The first line of the server ends in its port. End of file instead means that it has ended.
line=
read -r line <&3 || true
port=$(printf '%s\n' "$line" | grep -oE '[0-9]+' | tail -n 1 || true)
if [ -z "$port" ]; then
    echo "$0: the server named no port; its first line: '$line'" >&2
    exit 2
fi
cat <&3 >/dev/null &
exec 3<&-

count=$#
while [ "$count" -gt 0 ]; do
    argument=$1
    shift
    case $argument in
        *@PORT@*) argument=${argument%%@PORT@*}$port${argument#*@PORT@} ;;
    esac
    set -- "$@" "$argument"
    count=$((count - 1))
done

TAVU_TEST_PORT=$port
export TAVU_TEST_PORT
status=0
"$@" || status=$?

server_status=0
kill -TERM "$server_pid" 2>/dev/null || true
wait "$server_pid" || server_status=$?
server_pid=
if [ "$server_status" -ne 0 ]; then
    echo "$0: the server ended with $server_status" >&2
    [ "$status" -ne 0 ] || status=1
fi
exit "$status"
