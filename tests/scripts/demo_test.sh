#!/bin/bash
# The demonstration does not pass where nothing protects, and --serve shows an
# attack as it comes and ends cleanly. Needs what ./demo.sh needs.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "$0")/../../scripts/lib.sh"
# shellcheck source=demo/servers.sh
. "$root/demo/servers.sh"
begin
work=$(mktemp -d)
clean() { rm -rf "$work"; }
at_end clean
php=$(php-config --php-binary)

# wait_for PATTERN FILE: prints its first match.
wait_for() {
  local tries
  for ((tries = 0; tries < 1200; tries++)); do
    ! grep -m 1 -oE "$1" "$2" || return 0
    sleep 0.1
  done
  cat "$2"
  die 1 "no $1"
}

# shellcheck disable=SC2016 # for PHP
get() { "$php" -r 'exit(@readfile($argv[1]) === false ? 1 : 0);' "$1"; }

data=$work
start_surroundings
start_application twice 0 "$php"
status=0
run_child "$php" "$root/demo/run.php" "$root/demo/requests.php" "$url" "$url" "$work/none.jsonl" \
  >"$work/table" || status=$?
attacks=$(grep -c "'attack' =>" "$root/demo/requests.php")
if ((status != 1)) || ! grep -q "^0 of $attacks attacks stopped, 0 of " "$work/table"; then
  cat "$work/table"
  die 1 "unprotected, and exit status $status"
fi

# What stands at the agent's place; the folder's own time is free to change.
state() { find "$(dirname "$AGENT_PATH")" -printf '%p %y %m %i %l\n' 2>/dev/null | sort; }

before=$(state || true)
start_child "$root/demo.sh" --serve 0 >"$work/serve" 2>&1
url=$(wait_for 'http://[0-9.:]+' "$work/serve")
get "$url/lookup.php?host=localhost;id" >"$work/answer"
! grep uid= "$work/answer" || die 1 "the command ran"
wait_for 'blocked +0x20011 command_execution +getent hosts localhost;id' "$work/serve" >/dev/null
kill -TERM "$child"
wait "$child" || die 1 "--serve ended with status $?"
after=$(state || true)
[[ $before == "$after" ]] ||
  die 1 "the agent's place is not as it was:"$'\n'"$before"$'\n-- now\n'"$after"
! get "$url/" >/dev/null || die 1 "the application still answers"
