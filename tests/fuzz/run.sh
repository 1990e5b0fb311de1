#!/bin/bash
# Throws hostile bytes at the module and the agent.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

targets=(calls event policy request sql stack)

usage() {
  cat <<END
Usage: tests/fuzz/run.sh [--coverage] [SECONDS [TARGET...]]

Builds the targets under build/fuzz/ with Clang and Address and UndefinedBehavior
sanitizers, and lets each mutate inputs for so many seconds (8, without SECONDS),
led by the code that they reach. Replays all seeds first: those of tests/fuzz/seeds/,
those made of the tests' cases, and what earlier runs have found.

TARGET is one of: ${targets[*]}
--coverage  then builds again, replays everything, and says how many lines of src/
            and agent/ were reached; the lines stand in build/fuzz/coverage/

An input that a target does not survive is written to build/fuzz/crashes/, and the
command that shows it again is printed.

Exit status: 0 all survived; 1 not so; 2 it cannot run here.
END
}

coverage=
if [[ ${1-} == --coverage ]]; then
  coverage=yes
  shift
fi
case ${1-} in --help | -h)
  usage
  exit 0
  ;;
esac
seconds=${1:-8}
[[ $seconds =~ ^[0-9]+$ ]] || {
  usage >&2
  exit 2
}
chosen=("${@:2}")
((${#chosen[@]})) || chosen=("${targets[@]}")
for target in "${chosen[@]}"; do
  [[ " ${targets[*]} " == *" $target "* ]] || die 2 "there is no target $target: ${targets[*]}"
done

begin
cd "$root"
need_packages "${TEST_PACKAGES[@]}"
work=$root/build/fuzz
build fuzz || exit 1
rm -rf "$work/seeds"
php -n tests/fuzz/seeds.php "$root" "$work/seeds"
mkdir -p "$work/crashes"

failed=0
for target in "${chosen[@]}"; do
  log=$work/$target.log
  mkdir -p "$work/corpus/$target"
  folders=("$work/corpus/$target" "$work/seeds/$target")
  [[ ! -d tests/fuzz/seeds/$target ]] || folders+=("$root/tests/fuzz/seeds/$target")
  status=0
  # Without time, the seeds alone.
  limit=(-max_total_time="$seconds")
  ((seconds > 0)) || limit=(-runs=0)
  run_child "$work/fuzz_$target" "${limit[@]}" -timeout=20 -max_len=8192 -print_final_stats=1 \
    -dict=tests/fuzz/words.dict -artifact_prefix="$work/crashes/$target-" \
    "${folders[@]}" >"$log" 2>&1 || status=$?
  printf '%-8s %9s executions, %5s edges, %5s inputs kept\n' "$target" \
    "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" \
    "$(sed -nE 's/.* cov: ([0-9]+) .*/\1/p' "$log" | tail -n 1)" \
    "$(find "$work/corpus/$target" -type f | wc -l)"
  ((status)) || continue
  failed=1
  grep -E 'does not hold|runtime error:|ERROR:|SUMMARY:|what\(\):' "$log" || tail -n 20 "$log"
  input=$(sed -nE 's/.*Test unit written to //p' "$log")
  say "  Again: build/fuzz/fuzz_$target ${input#"$root/"}"
done

if [[ $coverage ]]; then
  covered=$work/coverage
  flags='-fprofile-instr-generate -fcoverage-mapping'
  mkdir -p "$covered/profiles"
  say "Building again, for the coverage"
  # shellcheck disable=SC2016 # for the inner shell
  run_child bash -c 'cmake --preset fuzz -B "$1" -DVORGATE_SANITIZE= -DCMAKE_CXX_FLAGS="$2" &&
    cmake --build "$1" --target fuzzers --parallel "$(nproc)"' \
    build "$covered" "$flags" >"$covered/build.log" 2>&1 || die 1 "building failed: $covered/build.log"
  objects=()
  for target in "${targets[@]}"; do
    [[ -d $work/corpus/$target ]] || continue
    folders=("$work/corpus/$target" "$work/seeds/$target")
    [[ ! -d tests/fuzz/seeds/$target ]] || folders+=("$root/tests/fuzz/seeds/$target")
    run_child env LLVM_PROFILE_FILE="$covered/profiles/$target.profraw" \
      "$covered/fuzz_$target" -runs=0 "${folders[@]}" >"$covered/$target.log" 2>&1 ||
      die 1 "replaying failed: $covered/$target.log"
    objects+=(-object "$covered/fuzz_$target")
  done
  llvm-profdata merge -o "$covered/all" "$covered"/profiles/*.profraw
  llvm-cov report -instr-profile "$covered/all" "${objects[@]:1}" "$root/src" "$root/agent" \
    >"$covered/report.txt" 2>"$covered/warnings.txt"
  llvm-cov show -instr-profile "$covered/all" "${objects[@]:1}" "$root/src" "$root/agent" \
    >"$covered/lines.txt" 2>>"$covered/warnings.txt"
  for folder in src agent; do
    llvm-cov report -instr-profile "$covered/all" "${objects[@]:1}" "$root/$folder" \
      2>>"$covered/warnings.txt" |
      awk -v folder="$folder/" '$1 == "TOTAL" {
        printf "%-8s %s of %s lines, %s of %s branches reached\n", folder, $8 - $9, $8, $11 - $12, $11 }'
  done
fi
exit "$failed"
