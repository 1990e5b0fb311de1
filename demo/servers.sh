# shellcheck shell=bash
# The servers of the demonstration, all on loopback. To be sourced after
# scripts/lib.sh, with $php (the interpreter) and $data (a folder for logs) set.
# shellcheck disable=SC2154 # those two, and what lib.sh sets

# start_php NAME PORT FOLDER COMMAND...: serves the folder on 127.0.0.1; port 0 is
# any free one. Its address is in $url.
start_php() {
  local log=$data/$1.log tries
  start_child "${@:4}" -d display_errors=0 -d log_errors=1 -d error_log= \
    -S "127.0.0.1:$2" -t "$3" >"$log" 2>&1
  for ((tries = 0; tries < 200; tries++)); do
    url=$(sed -nE 's/.*Development Server \((http:[^)]*)\) started.*/\1/p' "$log")
    [[ -z $url ]] || return 0
    kill -0 "$child" 2>/dev/null || break
    sleep 0.1
  done
  cat "$log" >&2
  die 1 "the $1 server did not start"
}

# start_application NAME PORT COMMAND...: the sample application, with the settings
# that some of its faults need.
start_application() {
  start_php "$1" "$2" "$root/demo/app/public" "${@:3}" \
    -d allow_url_include=1 -d yaml.decode_php=1 -d file_uploads=1
}

# start_surroundings: what the application works with. It finds the addresses in its
# environment, as demo/requests.php does.
start_surroundings() {
  export TOOLBOX_FOLDER=$data/kept TOOLBOX_INTRANET TOOLBOX_DIRECTORY TOOLBOX_NO_DIRECTORY
  rm -rf "$TOOLBOX_FOLDER"
  mkdir -p "$TOOLBOX_FOLDER"
  start_php intranet 0 "$root/demo/intranet" "$php"
  TOOLBOX_INTRANET=$url
  start_directory
}

# start_directory: an LDAP server, or the reason why there is none.
start_directory() {
  local folder=$data/directory
  TOOLBOX_DIRECTORY='' TOOLBOX_NO_DIRECTORY=''
  rm -rf "$folder"
  if ! "$php" -r 'exit((int) !extension_loaded("ldap"));'; then
    TOOLBOX_NO_DIRECTORY='the package php8.2-ldap is not there'
  elif [[ ! -x /usr/sbin/slapd ]]; then
    TOOLBOX_NO_DIRECTORY='the package slapd is not there'
  else
    mkdir -p "$folder/data"
    # A copy, because some systems confine the program at its own path to its own
    # folders. Relative names, because a name can hold what its configuration minds.
    cp /usr/sbin/slapd "$root/demo/directory/"* "$folder"
    if env -C "$folder" ./slapd -T add -f slapd.conf -l entries.ldif >"$folder/log" 2>&1; then
      start_child env -C "$folder" ./slapd -d 0 -f slapd.conf -h ldapi://socket \
        >>"$folder/log" 2>&1
      # A socket's name has a length limit, so it is tried with the name that counts.
      # shellcheck disable=SC2016 # for PHP
      TOOLBOX_DIRECTORY=$("$php" -r '[, $path] = $argv;
        for ($i = 0; $i < 100 && strlen($path) < 108; $i++, usleep(100_000)) {
          if (@stream_socket_client("unix://$path")) {
            exit("ldapi://" . rawurlencode($path));
          }
        }' "$folder/socket")
    fi
    [[ -n $TOOLBOX_DIRECTORY ]] || TOOLBOX_NO_DIRECTORY='slapd cannot be reached, see its log'
  fi
}
