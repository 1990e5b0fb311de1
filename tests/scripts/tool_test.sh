#!/bin/bash
# The agent's command-line tool, as ./test.sh has built it: what check, status and
# try say and how they end; the manual page.
# Another build: VORGATE_TOOL_BUILD=folder

# shellcheck source=scripts/lib.sh
. "$(dirname "$0")/../../scripts/lib.sh"
begin
build=${VORGATE_TOOL_BUILD:-$root/build/php}
tool=$build/vorgate-agent
work=$(mktemp -d)
at_end "rm -rf $work"
chmod 755 "$work"
user=$(id -un) failures=0
fail() {
  printf 'FAILED %s\n' "$*"
  failures=$((failures + 1))
}

# expect STATUS TEXT ARGUMENT...: the tool ends so, and a line of what it says
# matches; where TEXT begins with "!", none does.
expect() {
  local status=0 said
  said=$("$tool" "${@:3}" 2>&1) || status=$?
  [[ $status == "$1" ]] || fail "${*:3}: status $status: $said"
  if [[ $2 == '!'* ]]; then
    ! grep -qE -- "${2#!}" <<<"$said" || fail "${*:3}: says ${2#!}"
  else
    grep -qE -- "$2" <<<"$said" || fail "${*:3}: no '$2' in: $said"
  fi
}
policy() { printf '%s\n' "$@" "[log]" "path = \"$work/log/events.jsonl\"" >"$work/policy.toml"; }
check() { expect "$1" "$2" check --user "$user" "${@:3}" "$work/policy.toml"; }

# --- check
mkdir "$work/log"
policy 'enforcement = "block"' '[modes]' 'file_access = "report"' '[[allow]]' 'uri_prefix = "/a"' \
  '[sql]' "rules = [\"$work/sql.toml\"]"
check 1 "$work/sql.toml: .*; put the rule file there"
printf '[[rule]]\nname = "a"\n' >"$work/sql.toml"
check 1 "^$work/sql.toml:[0-9]+:[0-9]+: .+; "
policy 'enforcement = "block"' '[modes]' 'file_access = "report"' '[[allow]]' 'uri_prefix = "/a"'
check 0 'only reports file_access$'
chmod 666 "$work/policy.toml"
check 0 '^warning: .*chmod go-w '
check 1 '^warning: ' --strict
rm "$work/policy.toml"
expect 2 'no such file' check "$work/policy.toml"
policy 'enforcement = "blok"'
check 1 "^$work/policy.toml:1:15: unknown value; write"
policy '[modes]' 'file_access = "block"' '[[allow]]' 'server_name = "a"' '[[allow]]' \
  'server_name = "b"' 'client = "10.0.0.1"' '[[allow]]' 'client = "::/0"'
check 0 "^warning: $work/policy.toml:2:1: the modes do not count"
check 0 "^warning: $work/policy.toml:3:1: .*Host header"
check 0 "!^warning: $work/policy.toml:5:"
check 0 "^warning: $work/policy.toml:8:1: this entry exempts every request"
rmdir "$work/log"
check 0 "^warning: $work/log: .* folder is missing.* install -d -o $user "
if ((EUID == 0)); then
  chmod 700 "$work"
  expect 0 '^warning: .*user nobody cannot read it' check --user nobody "$work/policy.toml"
  chmod 755 "$work"
fi

# --- try
printf '%s\n' 'enforcement = "block"' 'trusted_proxies = ["10.0.0.1"]' '[[allow]]' \
  'uri_prefix = "/admin"' '[[allow]]' 'client = "192.0.2.99"' >"$work/try.toml"
# shellcheck disable=SC2016 # for PHP
php -n -d short_open_tag=0 -r '
  [, $tool, $policy, $file] = $argv;
  $bad = 0;
  foreach (json_decode(file_get_contents($file), true)["cases"] as [$arguments, $status, $event, $text]) {
    $process = proc_open([$tool, "try", "--json", "--policy", $policy, ...$arguments],
      [1 => ["pipe", "w"], 2 => ["pipe", "w"]], $pipes);
    [$out, $errors] = [json_decode(stream_get_contents($pipes[1]), true), stream_get_contents($pipes[2])];
    $seen = [proc_close($process), $out["event"]["event"] ?? null];
    $told = ($out["event"]["detail"] ?? "") . " " . ($out["event"]["subject"] ?? "");
    if ($seen === [$status, $event] && str_contains($told, $text) && ($errors !== "") === ($status === 2)
        && (($out["answer"] ?? "") === "blocked") === ($status === 1)) continue;
    echo "FAILED try ", implode(" ", $arguments), ": ", json_encode([$seen, $told, $errors]), "\n";
    ++$bad;
  }
  exit($bad > 0 ? 1 : 0);' "$tool" "$work/try.toml" "$root/tests/data/tool/try.json" || failures=$((failures + 1))
expect 1 'would be reported, and goes on' try system id --get c=id --policy "$work/none.toml"
expect 2 'correct it first' try system id --policy <(echo 'enforcement = 1')
printf 'POST /run?a=b HTTP/1.1\r\nHost: shop.example:8080\r\nCookie: k=v\r\nContent-Type: %s\r\n\r\nc=id%%3Bwho\r\n' \
  application/x-www-form-urlencoded >"$work/request"
expect 1 'POST /run.*, to shop.example,' try system 'id;who' --request "$work/request"
expect 0 'goes on' try system 'uname -a' --request "$work/request" --policy "$work/none.toml"

# --- status
status() { expect 1 "$1" status --user "$user" --library "${2:-$build/libmessage_queue_linux.so}" --policy "$work/policy.toml"; }
mkdir "$work/log"
policy
today=$(date -u +%F)
printf '{"time":"%s","event":"file_read","category":"file_access","verdict":"blocked"%s\n' \
  "${today}T00:00:00.000001Z" '}' 2001-01-01T00:00:00.000001Z '}' "${today}T00:00:01.000001Z" \
  ',"lost_before":3}' "${today}T00" '' >"$work/log/events.jsonl"
start_child php -n -d "extension=$build/vorgate.so" -r 'sleep(60);' 2>/dev/null
module=$child
start_child php -n -r 'sleep(60);'
sleep 1
status "^agent +loads +$build/"
status '^events +2 +file_access: 2 blocked'
status '^problem: .*: 3 events of today could not be written'
status "^events +1 +torn or foreign"
status "^problem: php[0-9.]* of $user .*[ ,(]${child}[,)].* runs without the module"
status "!^problem: php[0-9.]* of $user .*[ ,(]${module}[,)].* runs without the module"
status "^problem: $work/missing.so: .* missing" "$work/missing.so"
status "^problem: $work/policy.toml: PHP cannot load the agent \\(.+\\); " "$work/policy.toml"

# --- the manual page, and the options that it has to name
page=$root/packaging/vorgate-agent.8
[[ -z $(LC_ALL=C.UTF-8 MANROFFSEQ='' man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) ]] || fail "$page has warnings"
for command in $("$tool" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]\+\).*/\1/p'); do
  for option in $("$tool" "$command" --help | grep -oE '^  (-[a-z],)?--[a-z-]+' | grep -oE '[a-z-]{3,}$'); do
    [[ $option == --help ]] || grep -qF -- "${option#--}" <(sed 's/\\-/-/g' "$page") || fail "$page: no $option of $command"
  done
done
exit "$((failures > 0))"
