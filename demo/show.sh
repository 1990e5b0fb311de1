#!/bin/bash
# The demonstration itself, for ./demo.sh: show.sh SERVE PORT (see its options). What it
# shows is built, and the agent's place is claimed.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripts/lib.sh"
# shellcheck source=demo/servers.sh
. "$root/demo/servers.sh"

serve=$1 port=$2 data=$root/build/demo

begin
agent_place "$root/build/demo/libmessage_queue_linux.so"
mkdir -p "$data"
rm -f "$data"/*.jsonl
write_policy block "$data/agent.toml" "$data/events.jsonl"
php=$(php-config --php-binary)
start_surroundings
protected=(env "VORGATE_AGENT_CONFIG=$data/agent.toml"
  "$php" -d "extension=$root/build/demo/vorgate.so")

if [[ $serve == yes ]]; then
  start_application protected "$port" "${protected[@]}"
  server=$child
  start_child "$php" "$root/demo/follow.php" "$data/events.jsonl"
  say "The protected application is at $url; Ctrl-C ends it. Its events:"
  # Ending it is what the user is meant to do.
  trap 'exit 0' HUP INT TERM
  wait -n "$server" "$child" || true
  die 1 "the application has ended by itself; build/demo/protected.log may say why"
fi

start_application unprotected 0 "$php"
unprotected_url=$url
start_application protected 0 "${protected[@]}"
say "Events: build/demo/events.jsonl   Policy: build/demo/agent.toml"
say
if [[ -t 1 ]]; then
  COLUMNS=$(tput cols 2>/dev/null || echo 120)
  export COLUMNS
fi
run_child "$php" "$root/demo/run.php" "$root/demo/requests.php" \
  "$unprotected_url" "$url" "$data/events.jsonl"
