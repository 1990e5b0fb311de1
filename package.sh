#!/bin/bash
# Builds the packages.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/scripts/lib.sh"

usage() {
  cat <<'EOF'
Usage: ./package.sh [--php-config PROGRAM]
       ./package.sh --help

Installs the missing packages of the distribution (Debian 12; with root or sudo),
builds with the distribution's compiler flags, and leaves in build/packages/:
  vorgate-agent_*_amd64.deb       the local agent and its tool
  php*-vorgate_*_amd64.deb        the module for the installed PHP, or the one of the
                                  distribution whose php-config is named
  vorgate-demo_*_all.deb          the sample application, for Apache on loopback
  vorgate-*-php7.1-zts.tar.gz     the module for thread-safe PHP 7.1
Nothing of it is installed. docs/install.md has the rest. The packages name as their
maintainer who stands in DEBFULLNAME and DEBEMAIL.

Exit status: 0 all are built, and lintian finds no error and no warning in them;
1 not so; 2 it cannot run here (usage, packages); 128 + n it was ended by signal n.
EOF
}

php_config=php-config
case ${1-} in
  '') ;;
  --help | -h)
    usage
    exit 0
    ;;
  --php-config) php_config=${2-} ;;
  *)
    usage >&2
    exit 2
    ;;
esac
if (($# != 0 && $# != 2)) || [[ -z $php_config ]]; then
  usage >&2
  exit 2
fi

begin
cd "$root"
export LC_ALL=C.UTF-8
need_packages "${PACKAGE_PACKAGES[@]}"

# The same sources give the same packages: no time and no path of this build is in them.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CHANGELOG.md)
# The blocking notices are formats without a conversion.
export DEB_BUILD_MAINT_OPTIONS=hardening=-format
CXXFLAGS=$(dpkg-buildflags --get CPPFLAGS)\ $(dpkg-buildflags --get CXXFLAGS)
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
export SOURCE_DATE_EPOCH CXXFLAGS LDFLAGS
umask 022

out=$root/build/packages
rm -rf "$out"
mkdir -p "$out"
for preset in package package-reference; do
  say "Building and packing (build/$preset)."
  options=()
  [[ $preset != package ]] || options=("-DVORGATE_PHP_CONFIG=$php_config")
  build "$preset" "${options[@]}"
  log=$root/build/logs/$preset.log
  run_child cpack --config "build/$preset/CPackConfig.cmake" -B "build/$preset/packed" \
    >"$log" 2>&1 || {
    tail -n 30 "$log" >&2
    die 1 "packing '$preset' failed; ${log#"$root/"} has it all"
  }
done
mv build/package/packed/*.deb build/package-reference/packed/*.tar.gz "$out"

log=$root/build/logs/lintian.log
lintian --allow-root \
  --fail-on error,warning \
  "$out"/*.deb >"$log" 2>&1 || {
  cat "$log" >&2
  die 1 "lintian does not like the packages in build/packages"
}
for package in "$out"/*; do say "${package#"$root/"}"; done
