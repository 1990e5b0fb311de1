#!/bin/bash
# What goes wrong around the module, with real servers. docs/reliability.md has the outcomes.

# shellcheck disable=SC2317 # the faults are called by name
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
# shellcheck source=tests/servers/servers.sh
. "$root/tests/servers/servers.sh"

# fault => servers of the short form; the long form adds all others that can have it.
declare -A short=([library]=cli [policy]=fpm [log_gone]=fpm [log_read_only]=apache [log_full]=fpm
  [log_rotated]=apache [killed]='apache fpm' [graceful]='apache fpm' [script]=fpm [sizes]=fpm [bytes]=fpm)
faults=(library policy log_gone log_read_only log_full log_rotated killed graceful script sizes bytes)

usage() {
  cat <<END
Usage: tests/servers/faults.sh [--long] [--only FAULT] [OPTION FILE...]
       --long  load for 20 seconds in place of 3, each fault on every server that can have
               it, without and with an opcode cache
$options_text

Provokes faults around the module in real servers, and prints for each how many
expectations passed and failed: ${faults[*]}.
docs/reliability.md has the outcomes. Exit status: 0 none failed; 1 not so; 2 wrong usage.
END
}

take_options "$@"
seconds=3 settings=(off)
if [[ -n $long ]]; then seconds=20 settings=(off on); fi

passed=0 failed=0 all_failed=0 figures=''
expect() { # WHAT PATTERN SEEN
  # shellcheck disable=SC2053 # it is a pattern
  if [[ $3 == $2 ]]; then
    passed=$((passed + 1))
  else
    printf '  %s: wanted %s, seen: %s\n' "$1" "$2" "${3:0:500}"
    failed=$((failed + 1))
  fi
}

# serves [refused|done]: the server answers as it must, protected or not, and nobody died.
serves() {
  expect attack "${1-refused}" "$(send 'system!')"
  expect 'ordinary request' same "$(send page)"
  expect deaths '' "$(deaths)"
}

# said PATTERN: how many lines of the logs have it.
said() { cat "$dir"/log/*.log | grep -cE "$1" || true; }

# under_load ALLOWED DO UNDO [OPTION...]: the load, with two commands in the course of it;
# the options are those of start_load.
under_load() {
  local status=0
  : >"$dir/load.txt.hold"
  start_load 1 "${@:4}"
  sleep 1
  $2
  sleep "$((seconds / 2))"
  $3
  sleep "$((seconds / 2))"
  rm "$dir/load.txt.hold"
  end_load
  # shellcheck disable=SC2086 # nothing, or a word
  figures=$(check $1 2>"$dir/faults") || status=1
  expect events '0 ' "$status $(<"$dir/faults")"
}

# loaded ALLOWED DO UNDO [OPTION...]: under_load, in a server that serves on.
loaded() {
  start
  under_load "$@"
  serves
  pgrep -P "$server" >"$dir/after"
  stop_server
}

place_text() { # C++ TEXT: a library made of it, at the agent's place
  g++ -shared -fPIC -x c++ - -o "$dir/library.so" <<<"$1"
  agent_place "$dir/library.so"
}

library() {
  agent_clear
  start
  serves 'done'
  expect messages '[1-9]*' "$(said 'libmessage_queue_linux.so: cannot open')"
  agent_place "$agent" # appears while it serves
  serves
  stop_server
  agent_root chmod 000 "$AGENT_PATH"
  start
  serves 'done'
  expect messages '[1-9]*' "$(said 'libmessage_queue_linux.so: cannot open .*Permission denied')"
  stop_server
  place_text 'extern "C" int nothing() { return 0; }'
  start
  serves 'done'
  expect messages '[1-9]*' "$(said 'undefined symbol: create_php_help')"
  stop_server
  place_text 'extern "C" void* create_php_help() { return nullptr; }'
  start
  serves 'done'
  expect messages '[1-9]*' "$(said 'create_php_help made no object')"
  stop_server
  agent_place "$agent"
}

break_policy() { echo 'enforcement = "blok"' >"$dir/agent.toml"; }
policy() {
  loaded '' break_policy true
  expect 'one message a process' "$(find "$dir/meter" -name '*.count' | wc -l)" \
    "$(said 'agent.toml:1:15: .*file refused')"
  write_policy block "$dir/agent.toml" "$dir/events/events.jsonl"
}

# lossy DO UNDO: what is lost is counted; without any, nothing was put to the test.
lossy() {
  loaded lost "$@"
  expect lost '*, [1-9]* lost*' "$figures"
  expect messages '[1-9]*' "$(said 'cannot write the event log')"
}
log_gone() { lossy "mv $dir/events $dir/away" "mv $dir/away $dir/events"; }
log_read_only() { lossy "chmod -R a-w $dir/events" "chmod -R u+w $dir/events"; }

fill_log() { cat /dev/zero >"$dir/events/filler" 2>/dev/null || true; }
log_full() {
  figures='left out: no right to mount a small file system'
  mount -t tmpfs -o size=64m,mode=777 vorgate "$dir/events" 2>/dev/null || return 0
  lossy fill_log "rm $dir/events/filler"
  umount "$dir/events"
}

rotate() {
  local i
  for ((i = 0; i < seconds; i++)); do
    mv "$dir/events/events.jsonl" "$dir/events/events.$i.jsonl"
    sleep 1
  done
}
log_rotated() { loaded '' rotate true; }

kill_workers() {
  local i ids
  for ((i = 0; i < seconds * 4; i++)); do
    mapfile -t ids < <(pgrep -P "$server")
    if ((${#ids[@]})) && kill -KILL "${ids[i % ${#ids[@]}]}" 2>/dev/null; then kills=$((kills + 1)); fi
    sleep 0.2
  done
  mv "$dir/log/fpm.log" "$dir/killed" 2>/dev/null || true # it names them
  mv "$dir/log/server.log" "$dir/killed"
}
killed() {
  kills=0
  loaded unanswered kill_workers true
  figures+=", $kills workers killed"
}

# Under the event MPM Apache itself leaves requests without an answer, also without a module.
reload() {
  pgrep -P "$server" >>"$dir/before"
  if [[ -n $front ]]; then
    kill -USR2 "$server" && kill -HUP "$front"
  else
    apache2 -f "$dir/apache.conf" -k graceful
  fi
}
graceful() {
  rm -f "$dir/before"
  loaded "$([[ $what-$apache_php != apache-*php7* ]] || echo unanswered)" reload reload 0 16 close
  expect 'workers of before' '' "$(grep -xFf "$dir/before" "$dir/after")"
}

# A row: the page, its value, what comes back, and the events. One worker serves them all.
rows() {
  local of page value wanted events
  workers=1
  start
  of=$(get pid)
  while IFS='|' read -r page value wanted events; do
    rm -f "$dir/events/events.jsonl"
    expect "$page $value" "$wanted" "$(get "$page" "$value")"
    expect "$page $value: events" "$events" "$("$tools" "$root/tests/servers/requests.php" events "$dir")"
  done
  serves
  expect 'the same worker' "$of" "$(get pid)"
  stop_server
  workers=2
}

script() {
  rows <<'END'
hard|exit|200 left|
hard|time|500 |
hard|memory|500 |
hard|throw|500 |
hard|include|500 |
END
}

sizes() {
  local ten=$((10 << 20))
  { printf 'v=' && head -c "$ten" /dev/zero | tr '\0' a && printf %s "$dir/app/part.php"; } >"$dir/read"
  { printf 'v=' && head -c "$ten" /dev/zero | tr '\0' a; } >"$dir/big"
  { printf 'v=return+"sto"."len";%%23' && head -c "$ten" /dev/zero | tr '\0' a; } >"$dir/code"
  { seq -f 'p%.0f=x' 10000 | tr '\n' '&' && printf 'v=x'; } >"$dir/many"
  { seq -f 'p%.0f=x' 10000 | tr '\n' '&' && printf 'v=x;echo+sto%%22%%22len'; } >"$dir/attack"
  rows <<END
deep|x|200 x|0x0 execution_record logged
deep|x;echo sto""len|200 [!s]*|0x20011 command_execution blocked
many|@$dir/many|200 10001 x|0x0 execution_record logged
many|@$dir/attack|200 10001 [!x]*|0x20011 command_execution blocked
big|@$dir/big|200 $ten <?php *|
big|@$dir/read|200 $((ten + ${#dir} + 13)) <br/>Command*|0x20012 file_read blocked
long||200 1|0x0 execution_record logged
code|@$dir/code|200 [!s]*|0x40000 code_execution blocked
END
}

bytes() {
  local value i=0
  for value in %00 a%00b%00 %FF%FE%80 %C3%28%00%ED%A0%80 http://%00%FF/ '%00!php/object%FF'; do
    printf 'v=%s' "$value" >"$dir/bytes.$i"
    i=$((i + 1))
  done
  rows < <(for ((; i--; )); do echo "torture|@$dir/bytes.$i|200 62|*"; done)
}

begin
export LC_ALL=C.UTF-8
agent_claim
agent_place "$agent"
new_folder
clean() {
  ! mountpoint -q "$dir/events" || umount "$dir/events"
  rm -rf "$dir"
}
at_end clean
workers=2

# one FAULT SERVER SETTING
one() {
  passed=0 failed=0 figures=''
  start() { start_server "$what" "$how" "$dir/vorgate.so"; }
  local what=$2 how=$3
  "$1"
  printf '%-14s %-10s %d passed, %d failed%s\n' "$1" "$2-$3" "$passed" "$failed" "${figures:+; $figures}"
  all_failed=$((all_failed + failed))
}

for fault in "${faults[@]}"; do
  [[ -z $only || $only == "$fault" ]] || continue
  for setting in "${settings[@]}"; do
    servers=${short[$fault]}
    if [[ -n $long ]] && [[ $fault != library ]]; then servers='apache fpm'; fi
    for server_name in $servers; do one "$fault" "$server_name" "$setting"; done
  done
done
exit "$((all_failed > 0))"
