#!/bin/bash
# Shows a sample application under attack, unprotected and protected.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/scripts/lib.sh"

usage() {
  cat <<'END'
Usage: ./demo.sh                 attack the sample application, print what happened
       ./demo.sh --serve [PORT]  leave the protected application running on
                                 127.0.0.1 (port 8080) and follow its events
       ./demo.sh --help

Installs the missing packages of the distribution (Debian 12; with root or sudo),
builds the module for the installed PHP and the local agent under build/, and
runs a deliberately vulnerable application on 127.0.0.1 alone. Its LDAP page works
where the packages php8.2-ldap and slapd are there already. While it runs, the
agent stands at /usr/local/lib/vlib64/libmessage_queue_linux.so; what stood there
before is put back at the end, also after Ctrl-C. If the script itself was killed
(SIGKILL), the next run of it or of ./test.sh puts it back.

Exit status: 0 every attack was stopped and no ordinary request was disturbed
(with --serve: it was ended); 1 not so, or something failed; 2 it cannot run here
(usage, packages, no right to install); 128 + n it was ended by signal n.
END
}

serve=no port=8080
case ${1-} in
  '') ;;
  --help | -h)
    usage
    exit 0
    ;;
  --serve)
    serve=yes
    port=${2-8080}
    ;;
  *)
    usage >&2
    exit 2
    ;;
esac
if (($# > 2)) || ! [[ $port =~ ^[0-9]{1,5}$ ]] || ((10#$port > 65535)); then
  usage >&2
  exit 2
fi

begin
# What the commands print must not depend on who runs the demonstration.
export LC_ALL=C.UTF-8
need_packages "${DEMO_PACKAGES[@]}"
say "Building the module and the agent (build/demo)."
build demo

exec "$root/scripts/agent-place" "$root/demo/show.sh" "$serve" "$port"
