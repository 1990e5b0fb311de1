#!/bin/sh
# Prints how many lines of code, blank ones apart, each room has, and the tests'
# share: their lines beside those of all other code. Data, documentation, the lock
# file and pictures are no code.
set -eu
cd "$(dirname "$0")/.."

lines() {
  git ls-files -z -- "$@" |
    grep -zvE '(^|/)(data|seeds)/|\.(css|csv|json|ldif|md|png|sql|svg|tsv|txt)$|^LICENSE$' |
    xargs -0r cat | grep -c '[^[:space:]]' || true
}

for room in include src/* agent tool host tests demo bench scripts packaging; do
  [ ! -d "$room" ] || printf '%6d  %s\n' "$(lines "$room")" "$room"
done
tests=$(lines tests)
others=$(lines . ':!tests')
printf '%6d  all but tests\n%5d%%  tests beside all other code\n' \
  "$others" "$((tests * 100 / others))"
