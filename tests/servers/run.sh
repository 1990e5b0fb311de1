#!/bin/bash
# Real servers under a load of ordinary requests and attacks.

# shellcheck disable=SC2317 # clean is called by name
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
# shellcheck source=tests/servers/servers.sh
. "$root/tests/servers/servers.sh"

usage() {
  cat <<END
Usage: tests/servers/run.sh [--long] [--only NAME] [OPTION FILE...]
       --long      two minutes for each server and setting, and the just-in-time compiler
       --only NAME apache, fpm or cli, or one of them with a setting: fpm-on
$options_text

Runs Apache with mod_php, nginx with php-fpm, and php -S, without and with an opcode
cache, on 127.0.0.1, with the module and agent of build/php (as ./test.sh builds
them). Every attack must be exactly one finding with its code, blocked; every ordinary
answer must be that of an unprotected server, to the byte; no worker may die; and from its
1,000th request on no worker may grow by more than 16 KiB and a byte a request. One line of
figures for each. Exit status: 0 so it was; 1 not so; 2 wrong usage.
END
}

take_options "$@"
seconds=4 settings=(off on)
if [[ -n $long ]]; then seconds=120 settings=(off on jit); fi

begin
export LC_ALL=C.UTF-8
agent_claim
agent_place "$agent"
new_folder
clean() { rm -rf "$dir"; }
at_end clean
((seconds > 30)) || workers=2
failed=0

# one SERVER SETTING: a line of figures.
one() {
  # PHP's own server loses some bytes of its own in each request that reads $_SERVER.
  local before status=0 figures kept each=1
  [[ $1 != cli ]] || each=160
  start_server "$1" "$2" "$dir/vorgate.so"
  before=$(worker_ids)
  start_load "$seconds" 400
  end_load
  figures=$(check '') || status=1
  kept=$(memory "$each") || status=1
  if [[ $before != "$(worker_ids)" || -n $(deaths) ]]; then
    status=1
    complain "workers before: $before, after: $(worker_ids) $(deaths)"
  fi
  stop_server
  printf '%-6s %-11s %s; %s: %s\n' "$([[ $status == 0 ]] && echo ok || echo FAILED)" "$1-$2" "$figures" \
    "$(sed -nE 's/^Requests.sec: +([0-9]+).*/\1 a second/p' "$dir/log/wrk.txt")" "$kept"
  failed=$((failed + status))
}

for name in apache fpm cli; do
  for setting in "${settings[@]}"; do
    if [[ -z $only || $only == "$name" || $only == "$name-$setting" ]]; then one "$name" "$setting"; fi
  done
done
exit "$((failed > 0))"
