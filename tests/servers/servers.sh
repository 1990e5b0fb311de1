# shellcheck shell=bash
# Real servers on loopback, as children, with everything they need in one folder, $dir;
# their workers run as an ordinary user. To be sourced after scripts/lib.sh.
# shellcheck disable=SC2034,SC2154 # set for, and by, the scripts around it

tools=$(php-config --php-binary) # what runs requests.php
php=$tools php_fpm=/usr/sbin/php-fpm8.2
apache_php=/usr/lib/apache2/modules/libphp8.2.so
module=$root/build/php/vorgate.so agent=$root/build/php/libmessage_queue_linux.so
workers=4

options_text='       --php FILE, --php-fpm FILE, --apache-php FILE, --module FILE, --agent FILE:
                   of another PHP, in place of the installed one'
only='' long=

# take_options OPTION...: with `usage` defined by the script.
take_options() {
  while (($#)); do
    case $1 in
      --long) long=yes ;;
      --only) only=${2-} && shift ;;
      --help | -h) usage && exit 0 ;;
      *)
        if ! [[ $1 =~ ^--(php|php-fpm|apache-php|module|agent)$ && -r ${2-} ]]; then usage >&2 && exit 2; fi
        printf -v "$(tr - _ <<<"${1#--}")" %s "$(realpath "$2")"
        shift
        ;;
    esac
    shift
  done
}

user=$(id -un) as_user=()
if ((EUID == 0)); then
  user=www-data
  as_user=(setpriv --reuid "$user" --regid "$user" --init-groups --pdeathsig KILL)
fi

# fill TEMPLATE TARGET KEY VALUE...
fill() {
  local script="s|@DIR@|$dir|g; s|@USER@|$user|g; s|@WORKERS@|$workers|g" i
  for ((i = 3; i < $#; i += 2)); do script+="; s|@${!i}@|${*:i+1:1}|g"; done
  sed "$script" "$root/tests/servers/$1" >"$2"
}

# new_folder: $dir anew, with the application, a blocking policy and the reference answers.
new_folder() {
  dir=$(mktemp -d "${TMPDIR:-/tmp}/vorgate-servers.XXXXXX")
  chmod 755 "$dir"
  mkdir "$dir/log" "$dir/events" "$dir/meter" "$dir/nginx"
  cp -R "$root/tests/servers/app" "$dir"
  cp "$module" "$dir/vorgate.so"
  echo fgbyra >"$dir/secret.txt"
  echo stolen >"$dir/open.txt"
  write_policy block "$dir/agent.toml" "$dir/events/events.jsonl"
  if ((EUID == 0)); then chown "$user" "$dir/log" "$dir/events" "$dir/meter"; fi
  start_server fpm off none
  "$tools" "$root/tests/servers/requests.php" lua "$url" "$dir" || die 1 'the application does not work'
  stop_server
}

# write_ini OPCODE-CACHE MODULE|none [LINE...]
write_ini() {
  local folder name line
  folder=$("$php" -n -r 'echo ini_get("extension_dir");')
  [[ $1 == off || -e $folder/opcache.so ]] || die 1 "there is no opcode cache in $folder"
  fill php.ini "$dir/php.ini"
  {
    for name in pdo pdo_sqlite curl ffi ldap sockets yaml; do
      [[ ! -e $folder/$name.so ]] || echo "extension=$folder/$name.so"
    done
    [[ $1 == off ]] || echo "zend_extension=$folder/opcache.so"
    [[ $1 != jit ]] || printf '%s\n' opcache.jit_buffer_size=32M opcache.jit=tracing
    [[ $2 == none ]] || echo "extension=$2"
    for line in "${@:3}"; do echo "$line"; done
  } >>"$dir/php.ini"
}

# start_server apache|fpm|cli OPCODE-CACHE MODULE|none [INI-LINE...]: its address is in $url,
# the parent of the workers in $server, the server in front, if there is one, in $front.
start_server() {
  local port tries modules=/usr/lib/apache2/modules mpm=prefork name=php
  local start=(start_child env PHP_INI_SCAN_DIR= "VORGATE_AGENT_CONFIG=$dir/agent.toml")
  # shellcheck disable=SC2016 # for PHP
  port=$("$php" -n -r '$s = stream_socket_server("tcp://127.0.0.1:0");
    echo explode(":", stream_socket_get_name($s, false))[1];')
  url=http://127.0.0.1:$port front=
  rm -rf "$dir"/log/* "$dir"/events/* "$dir"/meter/*
  write_ini "${@:2}"
  case $1 in
    apache)
      if [[ $apache_php == *php7* ]]; then mpm=event name=php7; fi
      fill apache.conf "$dir/apache.conf" PORT "$port" MODULES "$modules" MPM "${mpm_wanted:-$mpm}" \
        PHP "$name" PHPLIB "$apache_php"
      "${start[@]}" apache2 -f "$dir/apache.conf" -DFOREGROUND >"$dir/log/server.log" 2>&1
      ;;
    fpm)
      fill fpm.conf "$dir/fpm.conf" POOLUSER "$( ((EUID)) || printf 'user = %s\\nlisten.owner = %s' "$user" "$user")"
      "${start[@]}" "$php_fpm" -c "$dir/php.ini" -y "$dir/fpm.conf" -F -O >"$dir/log/server.log" 2>&1
      server=$child
      fill nginx.conf "$dir/nginx.conf" PORT "$port" USERLINE "$( ((EUID)) || echo "user $user;")"
      start_child nginx -p "$dir" -c "$dir/nginx.conf" -e "$dir/log/nginx.log" >"$dir/log/front.log" 2>&1
      front=$child
      ;;
    cli)
      "${start[@]}" "PHP_CLI_SERVER_WORKERS=$workers" "${as_user[@]}" "$php" -c "$dir/php.ini" \
        -S "127.0.0.1:$port" -t "$dir/app" >"$dir/log/server.log" 2>&1
      ;;
  esac
  [[ -n $front ]] || server=$child
  for ((tries = 0; tries < 200; tries++)); do
    kill -0 "$server" 2>/dev/null || break
    [[ $(get '') != '200 ready'* ]] || return 0
    sleep 0.05
  done
  tail -n 20 "$dir"/log/*.log >&2
  die 1 "$1 does not start"
}

stop_server() {
  kill -TERM -- "-$server" ${front:+"-$front"} 2>/dev/null || true
  end_child "$server"
  [[ -z $front ]] || end_child "$front"
}

# get DO [V], send ROW: one request; see requests.php.
get() { "$tools" "$root/tests/servers/requests.php" get "$url" "$@"; }
send() { "$tools" "$root/tests/servers/requests.php" send "$url" "$dir" "$1"; }

# start_load SECONDS [LEAST [CONNECTIONS [close]]], end_load: see load.lua; the result is in
# $dir/load.txt.
start_load() {
  local connections=${3-16}
  rm -rf "$dir/load.txt"
  mkdir "$dir/load.txt.d"
  eval "touch '$dir'/load.txt.d/{1..$connections}"
  start_child wrk -t "$connections" -c "$connections" -d "$(($1 + seconds * 3 + 60))" --timeout 30 \
    -s "$root/tests/servers/load.lua" "$url" -- "$dir/requests.lua" "$1" "${2-0}" "$dir/load.txt" ${4:+"$4"} \
    >"$dir/log/wrk.txt" 2>&1
  load=$child
}

end_load() {
  end_child "$load"
  [[ -e $dir/load.txt ]] || {
    cat "$dir/log/wrk.txt" >&2
    return 1
  }
}

# end_child PID: waits for it, and forgets it: a number that is free may soon be another's.
end_child() {
  wait "$1" || true
  local i
  for i in "${!children[@]}"; do [[ ${children[i]} != "$1" ]] || unset "children[$i]"; done
  children=("${children[@]}")
}

worker_ids() { pgrep -P "$server" | sort | tr '\n' ' '; }

# deaths: what the servers and the kernel said of a process that ended by a signal.
deaths() { grep -hE 'exit signal|exited on signal|Segmentation|core dumped|terminate called' "$dir"/log/*.log || true; }

# check [lost] [unanswered], memory BYTES: see requests.php.
check() { "$tools" "$root/tests/servers/requests.php" check "$dir" "$@"; }
memory() { "$tools" "$root/tests/servers/requests.php" memory "$dir" "$1"; }
