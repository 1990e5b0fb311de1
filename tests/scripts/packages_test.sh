#!/bin/bash
# Missing packages: without root and sudo they are named and nothing else happens;
# with them, no server starts while they are installed.

set -uo pipefail
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
failures=0

expect() { # WHAT WANTED SEEN
  [[ $2 == "$3" ]] && return
  printf 'FAILED %s\n  wanted: %s\n  seen:   %s\n' "$1" "$2" "$3"
  failures=$((failures + 1))
}

# Sourced from its text: the unprivileged user may not be able to read the clone.
# And no sudo is found where the path leads to nothing but the package tools.
drop=()
((EUID)) || drop=(setpriv --reuid 65534 --regid 65534 --clear-groups)
ln -s "$(type -P dpkg-query)" "$(type -P apt-get)" "$(type -P dirname)" "$work"
# shellcheck disable=SC2016 # for the inner shell
seen=$("${drop[@]}" bash -c "cd /; $(<"$scripts/lib.sh")"'
  PATH=$1
  begin
  need_packages bash no-such-a no-such-b
  echo on' run "$work" 2>&1)
expect 'exit status without rights' 2 $?
expect 'the missing ones, and no others' '  no-such-a no-such-b' "$(grep -o '  no-such.*' <<<"$seen")"

# The installation itself is left out; what stands around it is real.
install_with() { # DURING: what happens in place of the installation
  bash -c '
    . "$1/lib.sh"
    POLICY_PROGRAM=$2
    as_root() { "$@"; }
    install_packages() { "$POLICY_PROGRAM" || echo "servers: $?" >&3; eval "$DURING"; }
    begin
    need_packages no-such-package >/dev/null' run "$scripts" "$work/policy" 3>&1 2>/dev/null
}
for during in true false 'kill -TERM $$' 'kill -KILL $$'; do
  expect "asked whether servers may start ($during)" 'servers: 101' "$(DURING=$during install_with)"
  [[ $during == *KILL* ]] || expect "left behind ($during)" '' "$(cat "$work/policy" 2>/dev/null)"
done
expect 'after a killed run' 'servers: 101' "$(DURING=true install_with)"
expect 'left behind after that' '' "$(cat "$work/policy" 2>/dev/null)"

printf '#!/bin/sh\nexit 104\n' >"$work/policy"
chmod 755 "$work/policy"
expect "the administrator's own answer" 'servers: 104' "$(DURING=true install_with)"
expect 'and it stays' 'exit 104' "$(tail -n 1 "$work/policy")"

exit "$((failures > 0))"
