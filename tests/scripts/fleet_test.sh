#!/bin/bash
# The shipped configurations of rsyslog carry every event to another host, whole, while
# the log is rotated and the receiver is killed. Kafka's is only read.
#   fleet_test.sh [AGENT-LIBRARY]

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "$0")/../../scripts/lib.sh"
begin
export LC_ALL=C
library=${1:-$root/build/php/libmessage_queue_linux.so}
processes=5 each=10000
total=$((processes * each))
work=$(mktemp -d)
clean() { rm -rf "$work"; }
at_end clean
piece='{"time":"a piece that a kill has left'

# wait_until WHAT COMMAND...: for two minutes, which is many times what it takes.
wait_until() {
  local end=$((SECONDS + 120))
  while ((SECONDS < end)); do
    ! "${@:2}" || return 0
    sleep 0.05
  done
  tail -n 5 "$work"/*.messages >&2 || true
  die 1 "waited two minutes, and still not: $1"
}

# A port of the loopback that nobody uses.
free_port() {
  # shellcheck disable=SC2016 # for PHP
  php -r '$s = stream_socket_server("tcp://127.0.0.1:0");
    echo explode(":", stream_socket_get_name($s, false))[1];'
}

# configure NAME: the shipped file with this test's places in it.
configure() {
  mkdir -p "$work/spool-$1"
  sed -E -e "s#/var/log/vorgate/#$work/log/#; s#/var/log/vorgate-fleet/#$work/fleet/#" \
    -e "s#/var/spool/rsyslog/#$work/spool-$1/#; s#\"adm\"#\"$(id -gn)\"#g" \
    -e "s#\"([a-z]+\.example\.net|0\.0\.0\.0)#\"127.0.0.1#; s#2514|6379#$port#" \
    "$root/packaging/rsyslog/vorgate-$1.conf" >"$work/vorgate-$1.conf"
  printf '%s\n' "global(workDirectory=\"$work/spool-$1\" processInternalMessages=\"on\")" \
    "include(file=\"$work/vorgate-$1.conf\")" \
    "action(type=\"omfile\" file=\"$work/$1.messages\")" >"$work/$1.conf"
}

start_rsyslog() { start_child rsyslogd -n -iNONE -f "$work/$1.conf" 2>>"$work/$1.messages"; }

start_redis() {
  start_child redis-server --port 0 --bind 127.0.0.1 --unixsocket "$work/redis" --dir "$work" \
    --appendonly yes --appendfsync always --save '' --logfile "$work/redis.messages"
  # While it reads its file it refuses, and the sender does not hear that.
  wait_until "Redis is there" redis_is_ready
  redis-cli -s "$work/redis" config set port "$port" >/dev/null
}
redis_is_ready() { [[ $(redis-cli -s "$work/redis" ping 2>/dev/null) == PONG ]]; }

# For each way: start its receiver; what has arrived; and how many so far.
start_relp() { start_rsyslog central; }
arrived_relp() { sed '/^$/d' "$work"/fleet/*/events.jsonl; }
count_relp() { cat "$work"/fleet/*/events.jsonl 2>/dev/null | wc -l; }
arrived_redis() { redis-cli -s "$work/redis" lrange vorgate:events 0 -1; }
count_redis() { redis-cli -s "$work/redis" llen vorgate:events; }

count_sent() { cat "$work"/log/events.jsonl{,.1} 2>/dev/null | wc -l; }
have_come() { (($("count_$way") >= $1)); }
are_sent() { (($(count_sent) >= $1)); }

rotate() {
  sed -e "s|/var/log/vorgate/|$work/log/|; s|su .*|su $(id -un) $(id -gn)|" \
    "$root/packaging/logrotate/vorgate" >"$work/logrotate.conf"
  logrotate --force --state "$work/logrotate.state" "$work/logrotate.conf"
}

all_have_come() {
  have_come "$total" || return 1
  "arrived_$way" | sort >"$work/arrived"
  uniq "$work/arrived" >"$work/different"
  (($(comm -12 "$work/sent" "$work/different" | wc -l) == total))
}

# ship WAY: sends through it, with everything that may come between.
ship() {
  way=$1 port=$(free_port)
  local sender receiver writers kills before twice torn messages
  rm -rf "$work/log" && mkdir "$work/log"
  configure "$way"
  if [[ $way == relp ]]; then configure central; fi
  "start_$way"
  receiver=$child
  start_child env "VORGATE_AGENT_CONFIG=$work/policy.toml" "$work/send_events" "$library" \
    "$processes" "$each" 1800
  writers=$child

  # The sender has much to tell when it starts: it does not stop for breath where the
  # receiver is killed.
  wait_until "events are written" are_sent $((total / 4))
  start_rsyslog "$way"
  sender=$child
  for kills in 1 2 3; do
    before=$("count_$way" || true)
    wait_until "events come" have_come $((before + total / 20))
    kill -KILL "$receiver"
    wait "$receiver" 2>/dev/null || true
    if [[ $way == relp ]]; then printf '%s' "$piece" >>"$(echo "$work"/fleet/*/events.jsonl)"; fi
    if ((kills == 1)); then
      rotate
      wait_until "events are written while nobody receives" are_sent $((total / 2))
    fi
    "start_$way"
    receiver=$child
  done
  wait_until "events come again" have_come $((total / 2))
  kill -0 "$writers" || die 1 "$way: the events were all written before the last rotation"
  rotate
  wait "$writers"

  sort "$work"/log/events.jsonl* >"$work/sent"
  [[ $(wc -l <"$work/sent") == "$total" ]] || die 1 "the log has not $total lines"
  wait_until "every event has arrived over $way" all_have_come
  twice=$(($(grep -cv "$piece\$" "$work/arrived") - total))
  torn=$(comm -13 "$work/sent" "$work/different" | grep -cv "$piece\$" || true)
  say "$way: $total events sent, $total arrived, $twice twice, $torn torn"
  ((torn == 0)) || die 1 "$way: lines arrived that nobody sent"
  messages=$(grep -l execute_command "$work"/*.messages || true)
  [[ -z $messages ]] || die 1 "$way: events went to the host's other logs too"
  kill -TERM "$sender" "$receiver"
  wait "$sender" "$receiver" || die 1 "$way: ended with status $?"
}

[[ -e $library ]] || die 2 "there is no $library; ./test.sh builds it"
g++ -std=c++17 -O1 -I "$root/include" -o "$work/send_events" "$root/tests/scripts/send_events.cpp" -ldl
write_policy report "$work/policy.toml" "$work/log/events.jsonl"
ship relp
ship redis

port=9092
configure kafka
rsyslogd -N1 -f "$work/kafka.conf" 2>"$work/kafka.messages" ||
  die 1 "the configuration for Kafka: $(cat "$work/kafka.messages")"
say "kafka: rsyslog reads the configuration"
