# shellcheck shell=bash
# shellcheck disable=SC2034 # what is set here is for those scripts
# What the scripts share. To be sourced by bash from a script that calls `begin` first.
#
# Exit status of the scripts: 0 success, 1 something failed, 2 it cannot run
# here (wrong usage, a package missing and no right to install it), 128 + n
# ended by signal n.

set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)

# The one place where the module looks for its agent.
AGENT_PATH=/usr/local/lib/vlib64/libmessage_queue_linux.so

# The agent's libraries; what each script needs besides.
AGENT_PACKAGES=(g++ make cmake libtomlplusplus-dev nlohmann-json3-dev libre2-dev libyara-dev)
UNIT_PACKAGES=("${AGENT_PACKAGES[@]}" libgtest-dev libgmock-dev)
DEMO_PACKAGES=("${AGENT_PACKAGES[@]}" php8.2-cli php8.2-curl php8.2-dev php8.2-sqlite3 php8.2-yaml)
PACKAGE_PACKAGES=("${DEMO_PACKAGES[@]}" libcli11-dev libelf-dev zlib1g-dev dpkg-dev file lintian nodejs npm)
TEST_PACKAGES=("${PACKAGE_PACKAGES[@]}" "${UNIT_PACKAGES[@]}"
  python3-pytest python3-requests python3-selenium chromium-driver black flake8 shellcheck
  clang clang-format clang-tidy libclang-rt-dev llvm valgrind debootstrap iproute2 procps
  chromium fonts-dejavu-core php8.2-cgi php8.2-ldap php8.2-mysql php8.2-opcache mariadb-server slapd
  wordpress wordpress-theme-twentytwentythree
  apache2 libapache2-mod-php8.2 nginx-light php8.2-fpm wrk
  php-doctrine-dbal php-symfony-form php-symfony-framework-bundle php-twig
  rsyslog rsyslog-relp rsyslog-hiredis rsyslog-kafka redis-server logrotate)

say() { printf '%s\n' "$*"; }
complain() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }

# die STATUS TEXT...
die() {
  complain "${*:2}"
  exit "$1"
}

# --- Ending -----------------------------------------------------------------

children=()
endings=()

# Arms the traps: on any end of the script its children are stopped and what
# `at_end` collected is run, last in first out.
begin() {
  trap 'exit 129' HUP
  trap 'exit 130' INT
  trap 'exit 143' TERM
  trap finish EXIT
}

at_end() { endings+=("$1"); }

finish() {
  local status=$? i
  # A second Ctrl-C must not leave the work half done.
  trap '' HUP INT TERM
  trap - EXIT
  set +e
  for ((i = ${#children[@]} - 1; i >= 0; i--)); do stop_child "${children[i]}"; done
  for ((i = ${#endings[@]} - 1; i >= 0; i--)); do ${endings[i]}; done
  exit "$status"
}

# start_child COMMAND...: runs it in the background, in a process group of its
# own, without the agent's lock, and not longer than this script lives, even if
# that is killed. Its process id is in $child.
start_child() {
  (
    trap - HUP INT TERM EXIT
    [[ -z ${agent_lock:-} ]] || exec {agent_lock}<&-
    exec setpriv --pdeathsig KILL setsid "$@"
  ) </dev/null &
  child=$!
  children+=("$child")
}

# stop_child PID: ends a child and what it started; silent when it is gone. The
# number of one that is gone may be a stranger's by now.
stop_child() {
  if [[ $'\n'$(jobs -pr)$'\n' == *$'\n'"$1"$'\n'* ]]; then
    kill -TERM -- "-$1" 2>/dev/null || kill -TERM "$1" 2>/dev/null || true
  fi
  wait "$1" 2>/dev/null || true
}

# run_child COMMAND...: the same as calling it, but a signal ends it at once:
# bash would wait for a command in the foreground before it runs a trap.
run_child() {
  local status=0
  start_child "$@"
  wait "$child" || status=$?
  unset 'children[-1]'
  return "$status"
}

# --- Packages ---------------------------------------------------------------

# as_root COMMAND...
as_root() {
  if ((EUID == 0)); then
    "$@"
  elif [[ -n $(type -P sudo) ]]; then
    sudo -- "$@"
  else
    die 2 "this needs root: $*"
  fi
}

# need_packages PACKAGE...: installs those that are missing, and says which. A
# server that comes with them is not started.
need_packages() {
  local package missing=() log=$root/build/logs/packages.log
  [[ -n $(type -P apt-get) && -n $(type -P dpkg-query) ]] ||
    die 2 "this needs Debian 12 with the packages: $*"
  for package; do
    # Node.js often comes from elsewhere, npm included.
    [[ $package != nodejs && $package != npm || -z $(type -P npm) ]] || continue
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  if ((EUID != 0)) && [[ -z $(type -P sudo) ]]; then
    complain "these packages are missing, and without root or sudo they cannot be installed:"
    die 2 "  ${missing[*]}"
  fi
  say "Installing from the distribution, with what they depend on: ${missing[*]}"
  mkdir -p "$root/build/logs"
  start_no_servers
  install_packages "${missing[@]}" </dev/null >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    die 2 "the packages could not be installed; ${log#"$root/"} has it all"
  }
  start_servers_again
}

install_packages() {
  local apt=(apt-get -o DPkg::Lock::Timeout=600)
  as_root "${apt[@]}" update
  if [[ " $* " == *' slapd '* ]]; then
    as_root debconf-set-selections <<<'slapd slapd/no_configuration boolean true'
  fi
  as_root env DEBIAN_FRONTEND=noninteractive \
    "${apt[@]}" install -y --no-install-recommends "$@"
}

# The distribution's switch against starting servers: a program at this place. One
# that stands there already is the administrator's word and stays.
POLICY_PROGRAM=/usr/sbin/policy-rc.d
POLICY_MARK='# Stands here only while vorgate installs packages.'

start_no_servers() {
  start_servers_again # one that a killed run has left
  [[ ! -e $POLICY_PROGRAM ]] || return 0
  at_end start_servers_again
  printf '#!/bin/sh\n%s\nexit 101\n' "$POLICY_MARK" | as_root tee "$POLICY_PROGRAM" >/dev/null
  as_root chmod 755 "$POLICY_PROGRAM"
}

start_servers_again() {
  ! grep -qsxF "$POLICY_MARK" "$POLICY_PROGRAM" || as_root rm "$POLICY_PROGRAM"
}

# --- Building ---------------------------------------------------------------

# build PRESET [CMAKE-OPTION...]: configures and builds it, one build at a time
# in this clone. Quiet; the log is shown when it fails.
build() {
  local preset=$1 log=$root/build/logs/build-$1.log
  mkdir -p "$root/build/logs"
  # shellcheck disable=SC2016 # for the inner shell
  run_child flock "$root/build/logs" bash -c '
    cd "$1" && cmake --preset "$2" "${@:3}" && cmake --build --preset "$2" --parallel "$(nproc)"' \
    build "$root" "$preset" "${@:2}" >"$log" 2>&1 || {
    { grep -A 3 -E '(error|Error)[: ]' "$log" || tail -n 30 "$log"; } | head -n 60 >&2
    complain "building '$preset' failed; ${log#"$root/"} has it all"
    return 1
  }
}

# --- The agent's place ------------------------------------------------------
#
# For what runs under scripts/agent-place.

# agent_place LIBRARY: puts a copy at AGENT_PATH, all at once: a PHP that runs
# keeps the file that it has mapped.
agent_place() {
  agent_root install -m 755 "$1" "$AGENT_PATH.vorgate-new"
  agent_root mv -fT "$AGENT_PATH.vorgate-new" "$AGENT_PATH"
}

agent_clear() { agent_root rm -f "$AGENT_PATH"; }

agent_root() {
  if [[ -w $(dirname "$(dirname "$AGENT_PATH")") ]]; then "$@"; else as_root "$@"; fi
}

# write_policy ENFORCEMENT FILE EVENT-LOG: a policy for the agent.
write_policy() {
  local path=${3//\\/\\\\}
  printf 'enforcement = "%s"\n\n[log]\npath = "%s"\n' "$1" "${path//\"/\\\"}" >"$2"
}
