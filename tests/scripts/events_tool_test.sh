#!/bin/bash
# vorgate-agent tail and explain: what they show of hostile events, and while the log is
# rotated.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
begin
tool=${VORGATE_AGENT_TOOL:-$root/build/php/vorgate-agent}
work=$(mktemp -d)
at_end "rm -rf $work"
log=$work/events.jsonl
export LC_ALL=C.UTF-8 VORGATE_AGENT_CONFIG=$work/agent.toml
printf 'trusted_proxies = ["192.0.2.9"]\n[log]\npath = "%s"\n' "$log" >"$VORGATE_AGENT_CONFIG"

# event SECOND VERDICT SUBJECT [MORE]: a line; subject and more are JSON as they are.
event() {
  printf '{"time":"2026-01-05T08:00:%02d.000000Z","host":"h","pid":1,"tid":1,"event":"%s",' "$1" \
    "$([[ $2 == logged ]] && echo execution_record || echo command_execution)"
  printf '"code":131089,"category":"command_execution","verdict":"%s","kind":"execute_command",' "$2"
  printf '"detail":"system","target":"command","subject":"%s",%s"request":{' "$3" "${4-}"
  printf '"server_name":"www.example.org","request_uri":"/a.php?c=id","request_method":"GET",'
  printf '"query_string":"c=id","remote_addr":"192.0.2.9","forwarded_for":"198.51.100.4",'
  printf '"stack_trace":"system(id)\\nmain\\\\run(a\\n->b)\\n"}}\n'
}

# expect TEXT COMMAND...: its output holds the text. unwanted TEXT: the last output does not.
expect() {
  output=$("${@:2}" 2>&1) || true
  [[ $output == *"$1"* ]] || die 1 "no '$1' in: $output"
}
unwanted() { [[ $output != *"$1"* ]] || die 1 "'$1' in: $output"; }

{
  event 1 blocked id
  event 2 logged ls
  printf '{"time":"2026-01-05T08:0\nnot an event\n'
  event 3 reported '\u001b]0;x\u0007\u009b2J\u202etxt.exe\u0000caf\u00e9\r\n'
  event 4 blocked 'a\ufffd' '"raw":{"subject":"Yf8="},'
  event 5 blocked cut | head -c 100
} >"$log"
expect '3 events shown; 1 plain records left out (--all shows them); 3 lines are no events' "$tool" tail
unwanted $'\e'
unwanted $'\u202e'
[[ $output == *'\x1b]0;x\x07\u{9b}2J\u{202e}txt.exe\x00café\r\n 198.51.100.4 GET /a.php?c=id'* &&
  $output == *'a\xff'* ]] || die 1 "subjects: $output"
expect 'caf\u{e9}' env LC_ALL=C "$tool" tail
expect '4 events' "$tool" tail --all "$log"
expect '1 event shown' "$tool" tail --verdict reported --since 2026-01-05T08:00:02 -c command_execution
expect '0 events' "$tool" tail --since 1m
expect 'write 15m' "$tool" tail --since yesterday
expect '1 event shown' "$tool" tail -n 1
gzip -k "$log"
expect '3 events' "$tool" tail "$log.gz"

offset=$("$tool" tail 2>/dev/null | sed -nE '2s/^([0-9]+) .*/\1/p')
expect '\u{202e}txt.exe' "$tool" explain "$offset"
expect $'\nserver_name = "www.example.org"\nuri_prefix = "/a.php"\nclient = "198.51.100.4"\n' "$tool" explain --line 1
[[ $output == *'└─ main\run(a\n->b)'*'   └─ system(id)   <- stopped here'* ]] || die 1 "calls: $output"
[[ $output == *'parameter "c" has exactly this value'* ]] || die 1 "source: $output"
expect 'a\xff' "$tool" explain --last
expect 'no event begins at byte 7' "$tool" explain 7
expect 'command_execution (0x20011)' "$tool" explain - < <(event 1 blocked id)
"$tool" explain --line 3 >/dev/null 2>&1 && die 1 "a torn line was explained"

# Following: appended, renamed with a last line in the old file, cut short.
event 6 blocked before >"$log"
start_child stdbuf -oL "$tool" tail --follow "$log" >"$work/out" 2>"$work/err"
await() {
  local i
  for ((i = 0; i < 200; i++)); do
    ! grep -q "$1" "$work/out" || return 0
    sleep 0.1
  done
  die 1 "'$1' did not come: $(cat "$work/out" "$work/err")"
}
await before
{ event 7 blocked in-pieces | head -c 90 && sleep 0.5 && event 7 blocked in-pieces | tail -c +91; } >>"$log"
await in-pieces
mv "$log" "$log.1"
event 8 blocked late-in-old >>"$log.1"
event 9 blocked first-in-new >"$log"
await first-in-new
await late-in-old
event 10 blocked x >"$log"
await ' x '
[[ $(wc -l <"$work/out") == 5 ]] || die 1 "lines: $(cat "$work/out")"
