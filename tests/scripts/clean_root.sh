# shellcheck shell=bash
# A clean Debian in a folder, for tests of what changes a machine. To be sourced after
# scripts/lib.sh by a script that runs as root.
# shellcheck disable=SC2154 # root, from there

# clean_root PACKAGE... -- PACKAGE...: makes one, gone at the end of the script; its path
# is in $clean_root. The first packages are installed, the others only at hand. Where it
# cannot be made, the script ends as a test that was left out.
clean_root() {
  local sources recipe tar log=$root/build/logs/clean-root.log
  ((EUID == 0)) || skip 'this needs root'
  unshare --mount --pid --net --fork true 2>/dev/null || skip 'no namespaces here'
  # The distribution's sources of this machine.
  # shellcheck disable=SC2016 # for apt-get
  sources=$(apt-get indextargets 'Created-By: Packages' \
    --format '$(ORIGIN) $(COMPONENT) deb $(REPO_URI) $(CODENAME) $(COMPONENT)' |
    sed -n 's/^Debian main //p')
  recipe="sources='$sources'; $(declare -f make_clean_root); make_clean_root \"\$@\""
  tar=$root/build/clean-root/$(md5sum <<<"$recipe $*" | cut -c 1-8).tar
  clean_root=$(mktemp -d "$root/build/clean-root.XXXXXX")
  at_end remove_clean_root
  if [[ -e $tar ]]; then
    tar -C "$clean_root" -xf "$tar"
  else
    say 'Making a clean root.'
    run_child bash -euc "$recipe" make "$clean_root" "$@" >"$log" 2>&1 || {
      tail -n 5 "$log"
      skip "it cannot be made; ${log#"$root/"} has it all"
    }
    mkdir -p "$root/build/clean-root"
    rm -f "$root/build/clean-root"/*
    tar -C "$clean_root" -cf "$tar.new" .
    mv "$tar.new" "$tar"
  fi
  chmod 755 "$clean_root"
  echo '#!/bin/sh' >"$clean_root/usr/sbin/policy-rc.d" # from now on, servers may start
}

make_clean_root() {
  # shellcheck disable=SC2154 # from clean_root
  local folder=$1 mirror suite apt=(chroot "$1" env DEBIAN_FRONTEND=noninteractive apt-get -y)
  read -r _ mirror suite _ <<<"$sources"
  debootstrap --variant=minbase "$suite" "$folder" "$mirror"
  echo "$sources" >"$folder/etc/apt/sources.list"
  echo 'APT::Install-Recommends "false";' >"$folder/etc/apt/apt.conf.d/90test"
  echo force-unsafe-io >"$folder/etc/dpkg/dpkg.cfg.d/test"
  install -m 755 /dev/stdin "$folder/usr/sbin/policy-rc.d" <<<$'#!/bin/sh\nexit 101'
  "${apt[@]}" update
  shift
  local installed=()
  while [[ $1 != -- ]]; do
    installed+=("$1")
    shift
  done
  "${apt[@]}" install "${installed[@]}"
  "${apt[@]}" clean
  "${apt[@]}" install --download-only "${@:2}"
}

# in_clean_root COMMAND...: runs it there, with processes and a network of its own.
in_clean_root() {
  # shellcheck disable=SC2016 # for the inner shell
  run_child unshare --mount --pid --net --ipc --fork --kill-child --mount-proc="$clean_root/proc" \
    bash -c 'ip link set lo up
      exec chroot "$1" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "${@:2}"' run "$clean_root" "$@"
}

remove_clean_root() { rm -rf --one-file-system "$clean_root"; }

skip() {
  say "SKIP ${0##*/} reason: no clean root: $*"
  exit 0
}
