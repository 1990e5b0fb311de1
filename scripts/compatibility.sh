#!/usr/bin/env bash
# Prints docs/compatibility.md from the logs of the last ./test.sh, or checks that the
# rows of that run stand in it: compatibility.sh [--check]
#
# Servers around another PHP count too, when their figures are kept under its name:
#   tests/servers/run.sh --php-fpm FILE --module FILE >"build/logs/servers of PHP x.y.log"
# Called after every test of ./test.sh has passed.
# shellcheck source=scripts/lib.sh
. "$(dirname -- "$0")/lib.sh"

logs=$root/build/logs
installed="PHP $(php-config --version | cut -d. -f1,2), not thread-safe"
[[ $(php-config --configure-options) != *enable-zts* ]] || installed=${installed/not /}

declare -A interface=([apache]='Apache, mod_php' [fpm]='nginx, PHP-FPM' [cli]="PHP's own server")
declare -A cache=([off]=off [on]=on [jit]='on, with JIT')

# row ENGINE INTERFACE OPCODE-CACHE WHAT
row() { printf '| %s | %s | %s | %s |\n' "$@"; }

# The tests that ran without a fault in a log of the unit tests or of the scenarios.
unit_count() { sed -nE 's/^100% tests passed, 0 tests failed out of ([0-9]+)/\1/p' "$logs/unit-$1.log"; }
scenario_count() { sed -nE 's/^Tests passed *: *([0-9]+).*/\1/p' "$logs/$1.log" | tail -n 1; }

# servers ENGINE LOG: a row for each server and setting that held.
servers() {
  local mark name setting
  while read -r mark name _; do
    setting=${name##*-}
    name=${name%-*}
    [[ $mark != ok || -z ${interface[$name]-} ]] ||
      row "$1" "${interface[$name]}" "${cache[$setting]}" 'load of ordinary requests and attacks'
  done <"$2"
}

# faults ENGINE LOG: a row for each server, with the faults that it stood. Not with
# the full disk, which not every machine lets a test make.
faults() {
  local name
  for name in "${!interface[@]}"; do
    local stood
    stood=$(awk -v name="$name" '$1 != "log_full" && $2 ~ "^"name && / 0 failed/ {print $1}' "$2" | sort -u | paste -sd , | sed 's|,|, |g')
    [[ -z $stood ]] || row "$1" "${interface[$name]}" 'off or on' "faults: ${stood//_/ }"
  done | sort
}

rows() {
  local folder numbers='' log name
  for folder in blocking reporting no_agent; do
    numbers+="$(scenario_count "scenarios-$folder") ${folder//_/ }, "
  done
  row "$installed" 'command line, CGI' 'off, on where it matters' "scenarios: ${numbers%, }; again under Address- and UndefinedBehaviorSanitizer"
  servers "$installed" "$logs/servers_test.log"
  faults "$installed" "$logs/faults_test.log"
  grep -q '^SKIP' "$logs/install_test.log" ||
    row "$installed" 'Apache, PHP-FPM, command line' "the distribution's setting" 'packages in a clean Debian 12: installed, upgraded, removed, purged'
  row 'PHP 7.1, thread-safe' 'its interface, played inside a program' 'none' \
    "unit tests: $(unit_count reference); under sanitizers: $(unit_count asan) (address, undefined behaviour), $(unit_count tsan) (threads)"
  for log in "$logs"/'servers of '*.log; do
    [[ ! -e $log ]] || {
      name=${log##*/servers of }
      servers "${name%.log}" "$log"
    }
  done
}

case ${1-} in
  '')
    cat <<'END'
# Compatibility

What was run on which engine and behind which server. This table is made from the logs
of a test run by `scripts/compatibility.sh`, and `./test.sh` fails where a row of its own
run is missing here. Rows of another PHP than the installed one come from the same
drivers, pointed to it. Anything that has no row was not tried.

| Engine | Server interface | Opcode cache | What was run, without a fault |
|---|---|---|---|
END
    rows
    ;;
  --check)
    lacking=$(rows | grep -vxF -f "$root/docs/compatibility.md") || exit 0
    complain "docs/compatibility.md lacks rows of this run; make it anew (scripts/compatibility.sh >docs/compatibility.md):"
    die 1 "$lacking"
    ;;
  *) die 2 "usage: scripts/compatibility.sh [--check]" ;;
esac
