#!/bin/bash
# The documented events against those of the scenarios that ran before.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
php -n "$root/tests/scripts/events_test.php" "$root" "$root"/build/scenarios/*.jsonl
