#!/usr/bin/env bash
# Builds for the installed PHP and prints what vorgate costs: see bench/run.php.
# shellcheck source=scripts/lib.sh
. "$(dirname -- "$0")/../scripts/lib.sh"

case ${1-} in
  "") ;;
  -h | --help)
    say "Usage: bench/run.sh"
    say "Prints the instructions and the wall time of watched and unwatched operations, with no"
    say "module, with one that hooks the same places and does nothing, and with vorgate."
    say "Takes about five minutes. Exit status 0 when all was measured."
    exit 0
    ;;
  *) die 2 "unknown argument '$1': see bench/run.sh --help" ;;
esac

begin
need_packages "${DEMO_PACKAGES[@]}" php8.2-cgi php8.2-sqlite3 valgrind
build installed
agent_claim
agent_place "$root/build/installed/libmessage_queue_linux.so"
work=$root/build/bench
rm -rf "$work"
mkdir -p "$work"
write_policy report "$work/agent.toml" "$work/events.jsonl"
php -n -d memory_limit=-1 "$root/bench/run.php" "$root/build/installed" "$work"
