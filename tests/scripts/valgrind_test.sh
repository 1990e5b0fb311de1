#!/bin/bash
# Requests to the installed PHP under memcheck, with the module and the agent: attacks
# of each category and ordinary ones, refused and only reported.

set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

begin
cd "$root"
need_packages "${TEST_PACKAGES[@]}"
build installed -DVORGATE_TESTS=ON || exit 1
work=$root/build/valgrind
rm -rf "$work"
mkdir -p "$work"

cat >"$work/page.php" <<'END'
<?php
error_reporting(E_ALL & ~E_WARNING & ~E_NOTICE);
class Job { public $run; function __destruct() { system($this->run); } }
$sent = $_GET + $_POST + $_COOKIE;
foreach (['exec', 'system', 'passthru', 'shell_exec'] as $run) $run($sent['command']);
($pipe = popen($sent['command'], 'r')) && fgets($pipe);
($process = proc_open($sent['command'], [], $pipes)) && proc_close($process);
unserialize('a:2:{i:0;O:3:"Job":1:{s:3:"run";s:4:"true";}i:0;i:1;}');
unserialize($sent['object']);
eval($sent['code']);
include $sent['file'];
file_get_contents($sent['file']);
fclose(fopen($sent['file'], 'r') ?: tmpfile());
file_put_contents('made', 'x');
copy('made', 'copied') && rename('copied', 'renamed');
move_uploaded_file($_FILES['up']['tmp_name'] ?? '', 'moved');
fsockopen($sent['host'], 9);
curl_init($sent['url']);
curl_setopt(curl_init(), CURLOPT_URL, $sent['url']);
yaml_parse($sent['yaml']);
ldap_search(ldap_connect('ldap://127.0.0.1:1'), 'dc=x', "(cn=$sent[name])");
foreach (["SELECT '$sent[name]'", "SELECT 1 UNION SELECT $sent[number]"] as $query) {
    (new PDO('sqlite::memory:', options: [PDO::ATTR_ERRMODE => PDO::ERRMODE_SILENT]))->query($query);
}
socket_connect(socket_create(AF_INET, SOCK_STREAM, SOL_TCP), $sent['host'], 9);
ob_start();
phpinfo();
ob_end_clean();
echo 'went on';
END
printf 'text <?php echo "included";' >"$work/text.txt"
attack="command=echo a%3Becho b&object=O:3:%22Job%22:1:{s:3:%22run%22%3Bs:6:%22echo c%22%3B}"
attack+="&code=echo 1%3B/*phpinfo()*/&file=$work/text.txt&host=127.0.0.1&url=file://$work/text.txt"
attack+="&yaml=--- !php/object x&name=' OR 1=1) -- &number=1 FROM users WHERE 1=1 -- &bytes=%00%ff%fe%0a"
attack=${attack// /%20}
ordinary='command=true&object=a:0:{}&code=1%3B&file=none&host=localhost&url=none&yaml=a&name=Ann&number=7'
form=$'--x\r\nContent-Disposition: form-data; name="up"; filename="a\xff.txt"\r\n\r\nbody\r\n--x--\r\n'

options=(-n -d pcre.jit=0 -d report_memleaks=0)
for extension in curl ldap pdo pdo_sqlite sockets yaml "$root/build/php/vorgate.so"; do
  options+=(-d "extension=$extension")
done
php_cgi=$(dirname "$(php-config --php-binary)")/php-cgi8.2
failed=0

# request NAME BODY CGI-VARIABLE...: one request, in a process of its own.
request() {
  local log=$work/$1.log status=0 lost
  # The engine's own memory comes from malloc and, as it does not report what is left
  # (report_memleaks), is still given up with the request.
  # shellcheck disable=SC2016 # for the inner shell
  run_child env -i -C "$work" PATH="$PATH" LC_ALL=C \
    USE_ZEND_ALLOC=0 USE_TRACKED_ALLOC=1 ZEND_DONT_UNLOAD_MODULES=1 \
    "VORGATE_AGENT_CONFIG=$work/agent.toml" REDIRECT_STATUS=200 "SCRIPT_FILENAME=$work/page.php" \
    "CONTENT_LENGTH=${#2}" "${@:3}" bash -c 'exec "${@:2}" < <(printf %s "$1")' php "$2" \
    valgrind --error-exitcode=99 --trace-children=no --child-silent-after-fork=yes \
    --suppressions="$root/tests/data/valgrind.supp" --fullpath-after= --num-callers=40 \
    --leak-check=full --errors-for-leak-kinds=none --log-file="$log" \
    "$php_cgi" "${options[@]}" >"$work/$1.html" 2>"$work/$1.err" || status=$?
  # PHP leaks on its own account. What was lost under a frame of ours is ours.
  lost=$(sed -E 's/^==[0-9]+== ?//' "$log" | awk -v source="$root/(src|agent|include)/" '
    BEGIN { RS = "" } / lost in loss record/ && $0 ~ source { print; ++count } END { print count + 0 }')
  if ((status)) || [[ $lost != 0 ]] || ! grep -q 'went on' "$work/$1.html"; then
    say "$1: exit status $status, lost ${lost##*$'\n'}"
    head -n 40 "$log"
    failed=1
  fi
}

agent_claim
agent_place build/php/libmessage_queue_linux.so
for enforcement in block report; do
  write_policy "$enforcement" "$work/agent.toml" "$work/$enforcement.jsonl"
  request "$enforcement-attack" '' REQUEST_METHOD=GET "QUERY_STRING=$attack" HTTP_REFERER=$'\xff'
  request "$enforcement-ordinary" "$ordinary" REQUEST_METHOD=POST SERVER_NAME=shop \
    CONTENT_TYPE=application/x-www-form-urlencoded
  request "$enforcement-upload" "$form" REQUEST_METHOD=POST "HTTP_COOKIE=${attack//&/; }" \
    'CONTENT_TYPE=multipart/form-data; boundary=x'
  say "$enforcement: $(grep -o '"event":"[a-z_]*"' "$work/$enforcement.jsonl" | sort | uniq -c |
    sed -E 's/ *([0-9]+) "event":"(.*)"/\1 \2/' | paste -sd, | sed 's/,/, /g')"
done
# Whatever stopped finding anything would pass otherwise.
for event in command_execution deserialisation_chain code_execution file_include file_read \
  request_forgery request_named_connection yaml_object ldap_injection sql_injection file_create; do
  grep -q "\"event\":\"$event\"" "$work/block.jsonl" || {
    say "no $event was found"
    failed=1
  }
done
exit "$failed"
