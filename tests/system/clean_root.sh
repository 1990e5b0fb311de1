#!/bin/bash
# Makes the clean Debian of test_packages.py: clean_root.sh FOLDER PHP-VERSION.
set -euo pipefail
folder=$1 php=$2
# The distribution's sources of this machine.
# shellcheck disable=SC2016 # for apt-get
sources=$(apt-get indextargets 'Created-By: Packages' \
  --format '$(ORIGIN) $(COMPONENT) deb $(REPO_URI) $(CODENAME) $(COMPONENT)' |
  sed -n 's/^Debian main //p')
read -r _ mirror suite _ <<<"$sources"
apt() { chroot "$folder" env DEBIAN_FRONTEND=noninteractive apt-get -y "$@"; }

debootstrap --variant=minbase "$suite" "$folder" "$mirror"
echo "$sources" >"$folder/etc/apt/sources.list"
echo 'APT::Install-Recommends "false";' >"$folder/etc/apt/apt.conf.d/90test"
echo force-unsafe-io >"$folder/etc/dpkg/dpkg.cfg.d/test"
install -m 755 /dev/stdin "$folder/usr/sbin/policy-rc.d" <<<$'#!/bin/sh\nexit 101'
apt update
apt install apache2 curl logrotate "libapache2-mod-php$php" "php$php"-{fpm,cli,curl,sqlite3}
apt clean
apt install --download-only libre2-9 libyara9 libelf1 # what the packages depend on
echo '#!/bin/sh' >"$folder/usr/sbin/policy-rc.d" # from now on, servers may start
mkdir "$folder/packages"
