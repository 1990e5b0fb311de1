#!/bin/bash
# Runs every test, or the parts that are named.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/scripts/lib.sh"

usage() {
  cat <<'END'
Usage: ./test.sh           everything below
       ./test.sh LABEL...  these parts
       ./test.sh --help

Installs the missing packages of the distribution (Debian 12; with root or sudo),
builds what the parts need under build/, and runs, by CTest:
  lint        formatters and linters over everything, clang-tidy among them
  unit        the unit tests against the in-process host of the reference engine
  sanitizers  the same under Address and UndefinedBehavior, and under Thread; the
              scenarios under the first two
  scenarios   tests/php/ in the installed PHP, by its own run-tests.php: blocking,
              reporting, and with no agent; plain and under sanitizers
  valgrind    the blocking scenarios under Valgrind
  fuzz        a short run of every fuzzing target
and by pytest, in tests/system/:
  servers     Apache, FPM and PHP's own server under load
  faults      what goes wrong around the module in them
  fleet       log shipping with real daemons
  packages    the packages in a clean Debian
  tool        the agent's tool
  report      the report's page in a browser
  demo        the demonstration
  bench       the benchmark, briefly

One part alone, without installing and building everything: cmake --preset unit &&
cmake --build --preset unit && ctest --preset unit -L unit, for example.

While some of these run, they put their own agent at
/usr/local/lib/vlib64/libmessage_queue_linux.so; what stood there before is put
back at the end, also after Ctrl-C.

Exit status: 0 all passed; 1 not so; 2 it cannot run here (usage, packages, no
right to install); 128 + n it was ended by signal n.
END
}

# Label => the presets that are built for it.
declare -A presets=([lint]='unit php' [unit]=unit [sanitizers]='asan tsan php-asan'
  [scenarios]='php php-asan' [valgrind]=php [fuzz]=fuzz [servers]=php [faults]=php [fleet]=php
  [packages]=php [tool]=php [report]=php [demo]=php [bench]=php)
# Those of CTest; the second list with tests that take turns at the agent's place.
free=(lint unit sanitizers fuzz) placed=(sanitizers scenarios valgrind)
system=(servers faults fleet packages tool report demo bench)

[[ ${1-} != --help && ${1-} != -h ]] || {
  usage
  exit 0
}
(($#)) || set -- "${!presets[@]}"
needed=' '
for label; do
  [[ -n ${presets[$label]-} ]] || {
    usage >&2
    exit 2
  }
  needed+="${presets[$label]} "
done
asked=" $* "

# chosen SEPARATOR LABEL...: those of the labels that were asked for.
chosen() {
  local label text=''
  for label in "${@:2}"; do [[ $asked != *" $label "* ]] || text+=${text:+$1}$label; done
  printf %s "$text"
}

logs=$root/build/logs reports=()
# A sanitizer wants room where a randomised address space may have put something.
# A container can forbid to ask for that; most kernels do not need it.
steady=()
! setarch -R true 2>/dev/null || steady=(setarch -R)

# ctests NAME LABELS ARGUMENT...: CTest over all builds; LABELS is a pattern, or empty.
ctests() {
  [[ -n $2 ]] || return 0
  local log=$logs/$1.log status=0
  say "== ctest: $2"
  run_child "${steady[@]}" ctest --test-dir build/ctest -j "$(nproc)" \
    --output-on-failure --no-tests=error --output-junit "$logs/$1.xml" -L "^($2)\$" "${@:3}" \
    >"$log" 2>&1 || status=$?
  grep -vE '^ +Start |   Passed  |^$' "$log" || true
  reports+=("$logs/$1.xml=$status")
}

begin
cd "$root"
export LC_ALL=C.UTF-8
[[ $* != unit ]] || TEST_PACKAGES=("${UNIT_PACKAGES[@]}")
need_packages "${TEST_PACKAGES[@]}"
mkdir -p "$logs" build/ctest
rm -f "$logs"/*.xml build/ctest/CTestTestfile.cmake

# The tests of the whole system start as soon as they can, and the other builds go on beside
# them: they wait for servers more than they work.
pytest=
for preset in php unit asan tsan php-asan fuzz; do
  [[ $needed == *" $preset "* ]] || continue
  say "Building $preset"
  build "$preset" || die 1 'not all could be built'
  printf 'subdirs("%s")\n' "$root/build/$preset" >>build/ctest/CTestTestfile.cmake
  markers=$(chosen ' or ' "${system[@]}")
  if [[ $preset == php && -n $markers ]]; then
    start_child scripts/agent-place /usr/bin/python3 -m pytest tests/system -m "$markers" \
      --junitxml "$logs/pytest.xml" >"$logs/pytest.log" 2>&1
    pytest=$child
    renice -n 10 $$ >/dev/null
  fi
done

unlabelled=$(ctest --test-dir build/ctest -N -LE . | sed -nE 's/^ *Test +#[0-9]+: //p')
[[ -z $unlabelled ]] || die 1 "no part has these tests, they need a label: $unlabelled"
ctests ctest-free "$(chosen '|' "${free[@]}")" -LE '^place$'
if [[ -n $pytest ]]; then
  say '== pytest'
  status=0
  wait "$pytest" || status=$?
  cat "$logs/pytest.log"
  reports+=("$logs/pytest.xml=$status")
fi
ctests ctest-placed "$(chosen '|' "${placed[@]}")" -L '^place$'
say
scripts/tally.py "${reports[@]}"
