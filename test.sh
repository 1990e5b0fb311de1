#!/bin/bash
# Runs every test.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/scripts/lib.sh"

usage() {
  cat <<'END'
Usage: ./test.sh          everything below
       ./test.sh --quick  without clang-tidy
       ./test.sh --help

Installs the missing packages of the distribution (Debian 12; with root or sudo),
builds the module and the agent for both engines, plain and under sanitizers, and
runs:
  format     clang-format over all sources
  tidy       clang-tidy over src/, host/ and agent/
  unit       the unit tests against the in-process host of the reference engine:
             plain, under Address and UndefinedBehavior, under ThreadSanitizer
  scenarios  tests/php/ in the installed PHP, by its own run-tests.php: blocking,
             reporting, and with no agent; then again under the sanitizers
  scripts    tests/scripts/: the scripts and tables of the project, the agent's tool, real
             servers under load and faults, fuzzing, Valgrind, log shipping with
             real daemons, the report in a browser, the packages in a clean Debian

Everything is written under build/. While the scenarios run, the agent stands at
/usr/local/lib/vlib64/libmessage_queue_linux.so; what stood there before is put
back at the end, also after Ctrl-C.

Exit status: 0 all passed; 1 not so; 2 it cannot run here (usage, packages, no
right to install); 128 + n it was ended by signal n.
END
}

passed=0 failed=0 skipped=0

# tally PASSED FAILED
tally() {
  passed=$((passed + $1))
  failed=$((failed + $2))
}

heading() { printf '\n== %s\n' "$*"; }

# The closing line, and the exit.
conclude() {
  say
  ((skipped == 0)) || say "$skipped skipped, for the reasons shown above."
  say "$passed passed, $failed failed"
  exit "$((failed > 0))"
}

# check NAME COMMAND...: one check, passed when the command succeeds. What it
# printed is shown when it fails; the figures of a test script also when it passes.
# A script that cannot run here says "SKIP reason" in its first column.
check() {
  local log=$root/build/logs/$1.log
  heading "$1"
  if run_child "${@:2}" >"$log" 2>&1; then
    [[ $1 != *_test ]] || grep -vE '^(Installing|Another run)' "$log" | tail -n 40 | cut -c 1-300 || true
    if grep -q '^SKIP' "$log"; then
      skipped=$((skipped + 1))
    else
      say "passed"
      tally 1 0
    fi
  else
    cat "$log"
    say "FAILED"
    tally 0 1
  fi
}

# A sanitizer wants room where a randomised address space may have put something.
# A container can forbid to ask for that; most kernels do not need it.
steady=()
! setarch -R true 2>/dev/null || steady=(setarch -R)

unit_tests() {
  local log=$root/build/logs/unit-$1.log status=0 numbers left_out
  heading "unit: $1"
  run_child "${steady[@]}" ctest --preset "$1" >"$log" 2>&1 || status=$?
  numbers=$(sed -nE 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$log")
  if [[ -z $numbers ]]; then
    cat "$log"
    tally 0 1
    return 0
  fi
  if ((status)); then
    grep -vE '^ +Start |   Passed  ' "$log"
  else
    sed -nE '/tests passed/p; /^Total Test time/p' "$log"
  fi
  left_out=$(sed -nE 's/^.* - (.*) \(Skipped\)$/\1/p' "$log" | grep -c . || true)
  ((left_out == 0)) || grep -oE '[^ ]+ \(Skipped\)$' "$log"
  skipped=$((skipped + left_out))
  tally "$((${numbers#* } - ${numbers% *} - left_out))" "${numbers% *}"
}

# The number behind a word in the summary of run-tests.php.
phpt_count() { sed -nE "s/^Tests $1 *: *([0-9]+).*/\1/p" "$2" | tail -n 1; }

# scenarios NAME FOLDER MODULE [ENFORCEMENT]: runs tests/php/FOLDER in build/NAME
# with an event log of its own, and a policy if there is an ENFORCEMENT. The tests
# are a copy, because run-tests.php writes beside them.
scenarios() {
  local work=$root/build/$1 log=$root/build/logs/$1-$2.log status=0 word bad=0 good
  local environment=(NO_INTERACTION=1 "VORGATE_TEST_LOG=$work/$2.jsonl"
    "TEST_PHP_EXECUTABLE=$work/php" "TEST_PHP_CGI_EXECUTABLE=$work/php-cgi")
  heading "$1: $2"
  if ! compgen -G "$root/tests/php/$2/*.phpt" >/dev/null; then
    complain "there is no scenario in tests/php/$2"
    tally 0 1
    return 0
  fi
  if [[ -n ${4-} ]]; then
    write_policy "$4" "$work/$2.toml" "$work/$2.jsonl"
    environment+=("VORGATE_AGENT_CONFIG=$work/$2.toml")
  fi
  : >"$work/$2.jsonl"
  run_child env -C "$work" "${environment[@]}" "$php" run-tests.php -q --show-diff \
    --no-color --no-progress \
    -d "extension=$3" "tests/$2" >"$log" 2>&1 || status=$?
  sed -nE 's/.*(SKIP .* reason: .*)/\1/p' "$log"
  good=$(phpt_count passed "$log")
  for word in failed warned borked; do
    bad=$((bad + $(phpt_count "$word" "$log") + 0))
  done
  if ((status != 0 && bad == 0)) || [[ -z $good ]]; then bad=$((bad + 1)); fi
  if ((bad)); then
    # Without the description of the two interpreters, if it got that far.
    sed -n '/^Running selected tests/,$p' "$log" | grep . || cat "$log"
  else
    sed -n '/^Number of tests/,/^Time taken/p' "$log"
  fi
  skipped=$((skipped + $(phpt_count skipped "$log") + 0))
  tally "${good:-0}" "$bad"
}

# all_scenarios NAME PRESET: in all settings. The interpreters are those that
# build/NAME/php and php-cgi start.
all_scenarios() {
  local module=$root/build/$2/vorgate.so
  cp "$(php-config --prefix)/lib/php/$(php-config --phpapi)/build/run-tests.php" "$root/build/$1/"
  cp -R "$root/tests/php" "$root/build/$1/tests"
  agent_clear
  scenarios "$1" no_agent "$module"
  agent_place "$root/build/$2/libmessage_queue_linux.so"
  scenarios "$1" blocking "$module" block
  scenarios "$1" reporting "$module" report
}

# interpreters NAME COMMAND-PREFIX...: makes build/NAME anew, with its php and
# php-cgi: those of the installed PHP, behind the prefix.
interpreters() {
  local work=$root/build/$1 program name
  program=$(basename "$php")
  rm -rf "$work"
  mkdir -p "$work"
  for name in php php-cgi; do
    {
      printf '#!/bin/sh\nexec'
      printf ' %q' "${@:2}" "$(dirname "$php")/${program/php/$name}"
      printf ' "$@"\n'
    } >"$work/$name"
    chmod +x "$work/$name"
  done
}

runtime_library() { readlink -f "$(g++ -print-file-name="$1")"; }

# Counts the reports that the address sanitizer wrote in the scenarios. PHP itself,
# and the shells that it starts, run under the leak check too, and what they leak is
# no fault of the module: a leak counts when its report names the module or the agent.
# (The other sanitizer ends the process and writes into the scenario's output.)
sanitizer_reports() {
  local report found=0
  heading "sanitizer reports"
  for report in "$reports".*; do
    [[ -e $report ]] || continue
    if ! grep -q 'ERROR: LeakSanitizer: detected memory leaks' "$report" ||
      grep -qE 'ERROR: AddressSanitizer|/(vorgate|libmessage_queue_linux)\.so' "$report"; then
      cat "$report"
      found=$((found + 1))
    fi
  done
  say "$found reports"
  tally "$((found == 0))" "$found"
}

tidy=yes
case ${1-} in
  '') ;;
  --quick) tidy=no ;;
  --help | -h)
    usage
    exit 0
    ;;
  *)
    usage >&2
    exit 2
    ;;
esac
if (($# > 1)); then
  usage >&2
  exit 2
fi

begin
cd "$root"
export LC_ALL=C.UTF-8
need_packages "${TEST_PACKAGES[@]}"
mkdir -p build/logs
php=$(php-config --php-binary)

heading "Building"
for preset in unit php asan tsan php-asan; do
  say "$preset"
  build "$preset" || {
    tally 0 1
    conclude
  }
done

mapfile -d '' sources < <(find src host agent include tests bench -name '*.cpp' -print0 \
  -o -name '*.h' -print0)
check format clang-format --dry-run --Werror "${sources[@]}"
if [[ $tidy == yes ]]; then
  # Each build knows the sources of one engine. Clang refuses an option of GCC that
  # says nothing of the language.
  declare -A folders=([unit]='src|host|agent' [php]='src|tool')
  for preset in unit php; do
    mkdir -p "build/tidy/$preset"
    sed 's/ -fno-gnu-unique//' "build/$preset/compile_commands.json" \
      >"build/tidy/$preset/compile_commands.json"
    mapfile -t sources < <(sed -nE 's/^ *"file": "(.*)",?$/\1/p' \
      "build/$preset/compile_commands.json" | grep -E "^$root/(${folders[$preset]})/" | sort -u)
    # shellcheck disable=SC2016 # for the inner shell
    check "tidy-$preset" bash -c 'printf "%s\0" "${@:2}" |
      xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$1" --quiet' \
      tidy "build/tidy/$preset" "${sources[@]}"
  done
fi

for preset in unit asan tsan; do unit_tests "$preset"; done
heading "figures of the agent's tests of queries and scripts"
build/unit/agent_tests --gtest_filter='SqlCorpus.*:Scripts.Ordinary*' |
  grep -E ', found: |, [0-9]+ findings' || tally 0 1

agent_claim
interpreters scenarios env
all_scenarios scenarios php
# The engine's own memory comes from malloc, block by block, so that the
# sanitizer sees it, with the memory limit and the clean-up at the end of a
# request still at work. Modules stay loaded, so that a leak's stack has names.
# libstdc++ is there from the start or the sanitizer could not throw: php is no C++.
# The stack lines name the library beside the source, for sanitizer_reports.
reports=$root/build/scenarios-sanitized/report
stacks="stack_trace_format='    #%n %f %S (%m)'"
g++ -std=c++17 -shared -fPIC -o build/plain_dlopen.so tests/scripts/plain_dlopen.cpp
interpreters scenarios-sanitized "${steady[@]}" env \
  "LD_PRELOAD=$root/build/plain_dlopen.so $(runtime_library libasan.so) $(runtime_library libstdc++.so)" \
  "ASAN_OPTIONS=detect_leaks=1:exitcode=0:verify_asan_link_order=0:log_path=$reports:$stacks" \
  UBSAN_OPTIONS=print_stacktrace=1 \
  USE_ZEND_ALLOC=0 USE_TRACKED_ALLOC=1 ZEND_DONT_UNLOAD_MODULES=1
all_scenarios scenarios-sanitized php-asan
agent_give_back
sanitizer_reports

for script in tests/scripts/*_test.sh; do
  check "$(basename "$script" .sh)" "$script"
done
((failed)) || check compatibility scripts/compatibility.sh --check
conclude
