#!/usr/bin/env bash
# Builds for the installed PHP and prints what vorgate costs: see bench/run.php.
# shellcheck source=scripts/lib.sh
. "$(dirname -- "$0")/../scripts/lib.sh"

usage() {
  cat <<'END'
Usage: bench/run.sh          the whole table, in about fifteen minutes
       bench/run.sh --quick  one round of each instead of nine: the instructions
                             are the same, the times mean little
       bench/run.sh --help

Prints instructions and wall time of watched and unwatched operations, and of the front
page of WordPress through PHP-FPM: with no module, with one that hooks the same places and does nothing,
and with vorgate. The figures go to build/bench/results.json; bench/plots.sh draws them.

Exit status: 0 all was measured, and the table says which targets are held; 1 something
could not be measured; 2 it cannot run here.
END
}

rounds=9
case ${1-} in
  '') ;;
  --quick) rounds=1 ;;
  --help | -h)
    usage
    exit 0
    ;;
  *)
    usage >&2
    exit 2
    ;;
esac

# serve_page COLUMN MODULE...: PHP-FPM with a module or none, and one worker.
serve_page() {
  local extensions=()
  [[ -z ${2-} ]] || extensions=(-d "extension=$2")
  cat >"$work/fpm$1.conf" <<END
[global]
error_log = $work/fpm$1.log
daemonize = no
[page]
listen = $work/fpm$1.sock
pm = static
pm.max_children = 1
clear_env = no
END
  ((EUID != 0)) || printf 'user = www-data\ngroup = www-data\nlisten.mode = 0666\n' >>"$work/fpm$1.conf"
  start_child env "VORGATE_AGENT_CONFIG=$work/agent.toml" "BENCH_DATABASE=$work/database.sock" \
    "$fpm" -n -y "$work/fpm$1.conf" -d zend_extension=opcache.so -d extension=mysqlnd.so \
    -d extension=mysqli.so "${extensions[@]}"
  cat >>"$work/nginx.conf" <<END
  server {
    listen 127.0.0.1:${ports[$1]};
    access_log off;
    location / {
      fastcgi_pass unix:$work/fpm$1.sock;
      fastcgi_param SCRIPT_FILENAME $work/wordpress/index.php;
      include /etc/nginx/fastcgi_params;
    }
  }
END
}

begin
need_packages "${PACKAGE_PACKAGES[@]}" php8.2-cgi php8.2-fpm php8.2-mysql php8.2-opcache \
  mariadb-server nginx-light wordpress wordpress-theme-twentytwentythree wrk valgrind
build php
[[ -n ${VORGATE_AGENT_CLAIMED-} ]] || exec "$root/scripts/agent-place" "$0" "$@"
agent_place "$root/build/php/libmessage_queue_linux.so"
# Not under build/: the pages' workers are another user, who may not get that far.
work=$(mktemp -d)
at_end "rm -rf $work"
chmod 755 "$work"
write_policy report "$work/agent.toml" "$work/events.jsonl"
install -m 666 /dev/null "$work/events.jsonl"
read -ra ports < <(php -n -r '
  for ($i = 0; $i < 3; $i++) $kept[] = stream_socket_server("tcp://127.0.0.1:0");
  foreach ($kept as $socket) echo parse_url("//" . stream_socket_get_name($socket, false), PHP_URL_PORT), " ";
  echo "\n";')
fpm=$(PATH=$PATH:/usr/sbin type -P "php-fpm$(php-config --version | cut -d. -f1,2)")

# A copy: the distribution's finds its settings under /etc.
cp -RL /usr/share/wordpress "$work/wordpress"
cp "$root/bench/page/wp-config.php" "$work/wordpress/"
mkdir "$work/wordpress/wp-content/mu-plugins"
cp "$root/bench/page/no_redirect.php" "$work/wordpress/wp-content/mu-plugins/"
mkdir "$work/database"
database=(--no-defaults --user="$(id -un)" --datadir="$work/database")
mariadb-install-db "${database[@]}" --auth-root-authentication-method=normal --skip-test-db \
  >"$work/install.log" 2>&1 || die 1 "no database: $(tail -n 5 "$work/install.log")"
start_child mariadbd "${database[@]}" --socket="$work/database.sock" --pid-file="$work/database.pid" \
  --skip-networking --log-error="$work/database.log"
for ((tries = 0; tries < 100; tries++)); do
  [[ ! -S $work/database.sock ]] || break
  sleep 0.1
done
BENCH_DATABASE=$work/database.sock php -n -d extension=mysqlnd.so -d extension=mysqli.so \
  "$root/bench/page/fill.php" "$work/wordpress"

printf '%s\n' "daemon off;" "pid $work/nginx.pid;" "error_log $work/nginx.log;" "worker_processes 1;" \
  "events {}" "http {" >"$work/nginx.conf"
serve_page 0
serve_page 1 "$root/build/php/do_nothing.so"
serve_page 2 "$root/build/php/vorgate.so"
echo "}" >>"$work/nginx.conf"
start_child "$(PATH=$PATH:/usr/sbin type -P nginx)" -c "$work/nginx.conf" -e "$work/nginx.log"
for ((i = 0; i < 3; i++)); do
  for ((tries = 0; ; tries++)); do
    [[ $(php -n -r 'echo @file_get_contents($argv[1]);' "http://127.0.0.1:${ports[i]}/") != *'Lamp 12'*'</html>'* ]] || break
    ((tries < 50)) || die 1 "the page is not served: $(tail -n 3 "$work"/{nginx,fpm0,fpm1,fpm2}.log)"
    sleep 0.1
  done
done

mkdir -p "$root/build/bench"
php -n -d memory_limit=-1 "$root/bench/run.php" "$root/build/php" "$work" "$rounds" "${ports[@]}"
cp "$work/results.json" "$root/build/bench/"
