#!/bin/sh
# run-host-on-sim.sh SIMULATOR FAMILY HOST [HOST ARGUMENTS]
# Serves one simulated instrument of FAMILY with chromameter-sim, runs HOST with the simulator's
# port as its last argument, then stops the simulator. Exits with the host's status.
sim="$1"
family="$2"
shift 2
out="$(mktemp)"
"$sim" "$family" --quiet >"$out" &
pid=$!
# The simulator prints its port on the first line as soon as the pseudo-terminal exists.
tries=0
while [ ! -s "$out" ] && [ "$tries" -lt 200 ] && kill -0 "$pid" 2>/dev/null; do
    sleep 0.1
    tries=$((tries + 1))
done
port="$(head -n 1 "$out")"
if [ -z "$port" ]; then
    echo "run-host-on-sim.sh: chromameter-sim $family printed no port" >&2
    kill "$pid" 2>/dev/null
    rm -f "$out"
    exit 125
fi
"$@" "$port"
status=$?
kill -INT "$pid" 2>/dev/null
wait "$pid"
rm -f "$out"
exit "$status"
