--TEST--
In report mode everything that the request names runs and works, with the same events
--EXTENSIONS--
curl
pdo_sqlite
sockets
yaml
--GET--
c=echo+ran&code=return+"run";&page=page.inc&host=127.0.0.1&url=file:///etc/hostname&doc=!php/object+{}&id=1+OR+1=1
--INI--
yaml.decode_php=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['page.inc' => "<?php return 'included';"]);
class W { function __wakeup() { told(exec('echo 1')); } }
told(fgets(popen($_GET['c'], 'r')), eval($_GET['code']), eval('return exec("echo evaluated");'));
told(include $_GET['page'], include 'php://filter/read=convert.base64-encode/resource=page.inc');
unserialize('O:1:"W":0:{}');
$listener = stream_socket_server('tcp://127.0.0.1:0');
$port = (int) explode(':', stream_socket_get_name($listener, false))[1];
told(strlen(file_get_contents($_GET['page'])), fopen($_GET['page'], 'r'), fsockopen($_GET['host'], $port),
    socket_connect(socket_create(AF_INET, SOCK_STREAM, 0), $_GET['host'], $port));
$curl = curl_init($_GET['url']);
curl_setopt($curl, CURLOPT_RETURNTRANSFER, true);
told(curl_setopt($curl, CURLOPT_URL, $_GET['url']), curl_exec($curl) === implode(file('/etc/hostname')));
told(yaml_parse($_GET['doc']), (new PDO('sqlite::memory:'))->query("SELECT $_GET[id]")->fetchColumn());
--EXPECT--
"ran\n", "run", "evaluated" <- command_execution reported: popen | echo ran
    + command_execution reported: eval()->exec(echo evaluated) | echo evaluated
    + code_execution reported: eval()'d code | return "run";
    + execution_record logged: eval()'d code | return exec("echo evaluated");
PD9waHAgcmV0dXJuICdpbmNsdWRlZCc7"included", 1 <- file_include reported: safe_compile_file | page.inc
    + file_include reported: safe_compile_file | php://filter/read=convert.base64-encode/resource=page.inc
"1" <- deserialisation_chain reported: unserialize(O:1:"W":0:{})->W::__wakeup()->exec(echo 1) | echo 1
24, resource (stream), resource (stream), true <- file_read reported: file_get_contents, fopen | page.inc
    + request_named_connection reported: fsockopen, socket_connect | 127.0.0.1
true, true <- request_forgery reported: curl_ssrf (2 times) | file:///etc/hostname
[], 1 <- yaml_object reported: unserialize:yaml_parse | !php/object {}
    + sql_injection reported: PDO::query | SELECT 1 OR 1=1
