#!/bin/bash
# The packages in a clean Debian 12, from the first installation to purge: what a person
# does with them, and what they are told when they do it wrong. Needs root; the mirror
# that this machine's apt uses is asked at the first run only.

set -euo pipefail

# --- Inside the clean root, which has processes and a network of its own ------------

failed() { # WHAT WANTED SEEN
  printf 'FAILED %s\n  wanted: %s\n  seen:   %s\n' "$@"
  exit 1
}
expect() { # WHAT PATTERN COMMAND...: some line of what it prints is like this
  local seen
  seen=$("${@:3}" 2>&1) || true
  grep -qE -- "$2" <<<"$seen" || failed "$1" "$2" "$seen"
}
refuse() { # WHAT PATTERN COMMAND...: it succeeds, and no line is
  local seen
  seen=$("${@:3}" 2>&1) || failed "$1" 'success' "$seen"
  ! grep -qE -- "$2" <<<"$seen" || failed "$1" "nothing like $2" "$seen"
}
apt() { apt-get -y -o Dpkg::Use-Pty=0 -o Dpkg::Options::=--force-confold "$@" </dev/null; }
get() { curl -sS -m 20 "http://127.0.0.1:$1"; }
serve() { # WHEN WITH|WITHOUT: as apt has left the servers; Apache takes its time
  local tries=0
  until [[ $(get '80/page.php?w=word') == "$2 "* ]] || ((tries++ == 100)); do sleep 0.2; done
  expect "Apache $1" "^$2 word" get '80/page.php?w=word'
  expect "FPM $1" "^$2 word" get '81/page.php?w=word'
}
# What the machine consists of, without what packages leave in logs and caches.
state() {
  find / -xdev -regextype egrep -regex '/(proc|run|tmp|packages|var/(cache|log/apache2|lib/(apt|dpkg|logrotate)))' \
    -prune -o ! -name 'disabled_by_*' -printf '%p %y %m %u:%g %l\n' | sort
}

inside() { # PHP-VERSION
  local php=$1 log=/var/log/vorgate/events.jsonl attack='page.php?w=x;id' agent module before name
  cd /packages
  agent=$(ls ./vorgate-agent_*) module=$(ls ./php*-vorgate_*)
  # shellcheck disable=SC2016 # for PHP
  echo '<?php echo extension_loaded("vorgate") ? "with " : "without "; system("echo " . $_GET["w"]);' \
    >/var/www/html/page.php
  printf 'ServerName localhost\nListen 81\n<VirtualHost *:81>\nDocumentRoot /var/www/html\n<FilesMatch \\.php$>
SetHandler "proxy:unix:/run/php/php%s-fpm.sock|fcgi://localhost"\n</FilesMatch>\n</VirtualHost>\n' \
    "$php" >/etc/apache2/conf-enabled/fpm.conf
  a2enmod -q proxy_fcgi >/dev/null
  service "php$php-fpm" start
  service apache2 start
  serve before without
  before=$(state)

  echo 'One without the other, and the wrong PHP'
  expect 'module without agent' 'runs unprotected until .* install the package vorgate-agent\.$' \
    apt install "$module"
  serve 'without agent' with
  refuse 'purge' '^E:' apt purge "php$php-vorgate"
  expect 'agent without module' "install the module, here the package php$php-vorgate\.$" apt install "$agent"
  for name in '^PHP Warning: .*vorgate\.so' '^PHP 8'; do
    expect 'module for another PHP' "$name" php -d "extension=$(echo "$PWD"/*-zts/vorgate.so)" -v
  done

  echo 'Both: reported, not blocked'
  refuse 'a complaint' '^(E|vorgate-agent|php.*-vorgate):' apt install "$module" ./vorgate-demo_*
  a2ensite -q vorgate-demo >/dev/null
  service apache2 restart >/dev/null
  expect 'command line' '^vorgate$' php -m
  serve 'with both' with
  for name in "80/$attack" "81/$attack" '8090/lookup.php?host=localhost;id'; do
    expect 'not blocked' uid= get "$name"
  done
  expect 'an event each' '^3$' grep -c '"verdict":"reported"' "$log"
  expect 'the log' '^www-data:adm 750 www-data:adm 640 $' stat --printf '%U:%G %a ' "${log%/*}" "$log"
  for name in check status; do refuse "$name" '^problem' vorgate-agent "$name"; done
  refuse 'rotation' error logrotate -f /etc/logrotate.d/vorgate-agent
  expect 'a new log' '^1$' bash -c "curl -s '127.0.0.1:80/$attack' >/dev/null; grep -c reported $log"
  chown root: "$log"
  expect 'no permission' uid= get "80/$attack"
  expect 'says so' "$log: cannot write the event log: Permission denied;" cat /var/log/apache2/error.log
  expect 'and what to do' "^problem: $log .*; chown www-data $log" vorgate-agent status
  chown www-data:adm "$log"

  echo 'Upgrade'
  for name in "$agent" "$module"; do
    dpkg-deb -R "$name" new
    sed -i 's/^Version: .*/&+1/' new/DEBIAN/control
    find new/etc \( -name agent.toml -o -name vorgate.ini \) -exec sed -i '1s/$/ (of the new version)/' {} +
    dpkg-deb -b new . >/dev/null
    rm -r new
  done
  sed -i 's/^enforcement = .*/enforcement = "block"/' /etc/vorgate/agent.toml
  phpdismod -s cli vorgate
  refuse 'upgrade' '^E:' apt install ./*+1_*.deb
  expect 'own policy' '^enforcement = "block"' cat /etc/vorgate/agent.toml
  expect 'the rest is new' 'of the new version' cat "/etc/php/$php/mods-available/vorgate.ini"
  refuse 'what was disabled stays so' '^vorgate$' php -m
  serve 'after the upgrade' with
  for name in "80/$attack" "81/$attack"; do refuse 'blocked' uid= get "$name"; done

  echo 'Removal'
  refuse 'removal' '^E:' apt remove "php$php-vorgate" vorgate-agent vorgate-demo
  serve 'after removal' without
  expect 'the policy is kept' block cat /etc/vorgate/agent.toml
  refuse 'purge' '^E:' apt purge --auto-remove "php$php-vorgate" vorgate-agent vorgate-demo
  serve 'after purge' without
  diff <(echo "$before") <(state) || failed 'purge' 'nothing left' 'the above'
}

if [[ ${1-} == inside ]]; then
  inside "$2"
  exit 0
fi

# --- Outside ------------------------------------------------------------------------

# shellcheck source=scripts/lib.sh
. "$(dirname "$0")/../../scripts/lib.sh"
# shellcheck source=tests/scripts/clean_root.sh
. "$(dirname "$0")/clean_root.sh"
begin
cd "$root"
./package.sh
php=$(php-config --version | cut -d. -f1,2)
clean_root apache2 curl logrotate "libapache2-mod-php$php" "php$php"-{fpm,cli,curl,sqlite3} -- libre2-9 libyara9
mkdir "$clean_root/packages"
cp build/packages/*.deb "$0" "$clean_root/packages"
tar -C "$clean_root/packages" -xf build/packages/*.tar.gz
in_clean_root bash /packages/install_test.sh inside "$php"
