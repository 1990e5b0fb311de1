#!/bin/bash
# The report's page in a browser. With two arguments, a picture and an event log, it makes the
# picture of the log's page instead: that of the documentation, after ./demo.sh, is
#   tests/scripts/report_test.sh docs/report.png build/demo/events.jsonl
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
begin
tool=${VORGATE_AGENT_TOOL:-$root/build/php/vorgate-agent}
work=$root/build/report-test
for program in npm node chromium; do
  [[ -n $(type -P "$program") ]] || die 2 "needs $program; ./test.sh installs what is missing"
done
mkdir -p "$work"
cp "$root"/tool/report/{package.json,package-lock.json,.npmrc} "$work/"
(cd "$work" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci) >"$work/npm.log" 2>&1 || {
  cat "$work/npm.log" >&2
  die 1 "npm could not get the packages"
}
run_child env "CHROMIUM=$(type -P chromium)" node "$root/tests/report/report_test.mjs" \
  "$tool" "$work" "$@"
