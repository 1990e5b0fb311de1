#!/bin/bash
# The agent's place: whatever stood there stands there again after any end of a
# run, and two runs take turns. In a folder of the test's own.

set -uo pipefail
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
place=$work/lib/vlib64/agent.so
failures=0

expect() { # WHAT WANTED SEEN
  [[ $2 == "$3" ]] && return
  printf 'FAILED %s: %s\n  wanted: %s\n  seen:   %s\n' "$scene" "$1" "$2" "$3"
  failures=$((failures + 1))
}

# Everything there is to say of the place and what is beside it.
state() {
  find "$work/lib" -mindepth 1 -printf '%P %y %m %U %G %T@ %n %l\n' -type f -exec cat {} + | sort
}

# Sets up one of the situations that a run can find.
arrange() {
  rm -rf "${work:?}/lib" && mkdir "$work/lib"
  [[ $1 == 'no folder' ]] || mkdir "$work/lib/vlib64"
  case $1 in
    'a file')
      echo 'the real agent' >"$place" && chmod 640 "$place" && touch -d '2001-02-03 04:05:06' "$place"
      ((EUID)) || chown 12:34 "$place"
      ;;
    'a link') ln -s ../nowhere/agent.so "$place" ;;
  esac
  # The folder's own time changes whenever something in it does.
  [[ $1 == 'no folder' ]] || touch -d '2001-01-01' "$work/lib/vlib64"
}
without_folder_time() { sed -E 's/^(vlib64 d .*) [0-9.]+ ([0-9]+ )$/\1 \2/'; }

# run SECONDS [THEN]: a run that holds the place so long and ends with a command.
# Signals may be ignored here, in a background job or under nohup; in the run they are not.
# shellcheck disable=SC2016 # for the inner shell
run() {
  env --default-signal bash -c '
    . "$1/lib.sh"
    AGENT_PATH=$2
    begin
    echo "run $$"
    agent_claim
    agent_place "$3"
    echo placed
    run_child sleep "$4"
    eval "$5"' run "$scripts" "$place" "$work/built.so" "$1" "${2-true}"
}

wait_for() { # TEXT FILE
  local tries
  for ((tries = 0; tries < 300; tries++)); do
    ! grep -q "$1" "$2" 2>/dev/null || return 0
    sleep 0.05
  done
  echo "FAILED $scene: no '$1' in: $(cat "$2")"
  failures=$((failures + 1))
}

# end_run SIGNAL FILE: ends the run that writes to this file.
end_run() { kill -"$1" "$(sed -n 's/^run //p' "$2")"; }

echo 'the built agent' >"$work/built.so"

for found in 'a file' 'a link' 'an empty folder' 'no folder'; do
  for ending in exit failure HUP INT TERM KILL; do
    scene="$found, $ending"
    arrange "$found"
    before=$(state | without_folder_time)
    case $ending in
      exit | failure)
        wanted=$([[ $ending == exit ]] && echo 0 || echo 1)
        run 0 "(exit $wanted)" >"$work/out" 2>&1
        expect status "$wanted" $?
        ;;
      *)
        : >"$work/out"
        run 60 >"$work/out" 2>&1 &
        pid=$!
        wait_for placed "$work/out"
        expect 'the agent in its place' 'the built agent' "$(cat "$place")"
        wanted=$((128 + $(kill -l "$ending")))
        end_run "$ending" "$work/out"
        wait "$pid" 2>/dev/null
        expect status "$wanted" $?
        ;;
    esac
    if [[ $ending == KILL ]]; then
      expect 'left in place by SIGKILL' 'the built agent' "$(cat "$place")"
      run 0 >"$work/out" 2>&1
      expect 'says what it puts back' 1 "$(grep -c 'was killed' "$work/out")"
    fi
    expect 'as it was found' "$before" "$(state | without_folder_time)"
  done
done

scene='two at once'
arrange 'a file'
before=$(state | without_folder_time)
: >"$work/out"
run 2 'echo first ends' >>"$work/out" 2>&1 &
wait_for placed "$work/out"
run 0 'echo second ends' >>"$work/out" 2>&1
wait
expect 'their turns' "placed;Another run;first ends;placed;second ends" \
  "$(grep -oE '^(placed|Another run|first ends|second ends)' "$work/out" | paste -sd ';')"
expect 'as it was found' "$before" "$(state | without_folder_time)"

scene='a third, interrupted while it waits'
: >"$work/first"
run 60 >"$work/first" 2>&1 &
first=$!
wait_for placed "$work/first"
: >"$work/out"
run 0 >"$work/out" 2>&1 &
second=$!
wait_for 'Another run' "$work/out"
end_run TERM "$work/out"
wait "$second"
expect status 143 $?
expect 'the first is not disturbed' 'the built agent' "$(cat "$place")"
end_run TERM "$work/first"
wait "$first"
expect 'as it was found' "$before" "$(state | without_folder_time)"

exit "$((failures > 0))"
