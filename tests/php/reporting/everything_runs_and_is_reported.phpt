--TEST--
In report mode everything that the request names runs and works, with the same events
--EXTENSIONS--
curl
pdo_sqlite
sockets
yaml
--GET--
c=echo+ran&code=return+"evaluated";&page=page.inc&host=127.0.0.1&url=file:///etc/hostname&doc=!php/object+{}&id=1+OR+1=1
--INI--
yaml.decode_php=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['page.inc' => "<?php return 'included';"]);
class First { function __wakeup() { told(exec('echo awake'), file_put_contents('put.txt', 'x')); } }
told(system($_GET['c']), fgets(popen($_GET['c'], 'r')), eval($_GET['code']), eval('return exec("echo evaluated");'));
told(include $_GET['page'], include 'php://filter/read=convert.base64-encode/resource=page.inc');
unserialize('O:5:"First":0:{}');
$listener = stream_socket_server('tcp://127.0.0.1:0');
$port = (int) explode(':', stream_socket_get_name($listener, false))[1];
told(strlen(file_get_contents($_GET['page'])), fopen($_GET['page'], 'r'), fsockopen($_GET['host'], $port), socket_connect(socket_create(AF_INET, SOCK_STREAM, 0), $_GET['host'], $port));
$curl = curl_init($_GET['url']);
curl_setopt($curl, CURLOPT_RETURNTRANSFER, true);
told(curl_setopt($curl, CURLOPT_URL, $_GET['url']), curl_exec($curl) === implode(file('/etc/hostname')));
told(yaml_parse($_GET['doc']), (new PDO('sqlite::memory:'))->query("SELECT $_GET[id]")->fetchColumn());
--EXPECT--
ran
"ran", "ran\n", "evaluated", "evaluated" <- command_execution 0x20011 reported: execute_command | system | command | echo ran + command_execution 0x20011 reported: execute_command | popen | command | echo ran + code_execution 0x40000 reported: execute_command | eval()'d code | command | return "evaluated"; + execution_record logged: execute_command | eval()'d code | command | return exec("echo evaluated"); + command_execution 0x20011 reported: execute_command | eval()->exec(echo evaluated) | command | echo evaluated
PD9waHAgcmV0dXJuICdpbmNsdWRlZCc7"included", 1 <- file_include 0x20004 reported: file_include | safe_compile_file | file | page.inc + file_include 0x20004 reported: file_include | safe_compile_file | file | php://filter/read=convert.base64-encode/resource=page.inc
"awake", 1 <- deserialisation_chain 0x20008 reported: execute_command | unserialize(O:5:"First":0:{})->First::__wakeup()->exec(echo awake) | command | echo awake + file_create logged: create | file_put_contents | file | put.txt + deserialisation_file_create 0x20008 reported: create | unserialize(O:5:"First":0:{})->First::__wakeup()->file_put_contents(put.txt, x) | file | put.txt
24, resource (stream), resource (stream), true <- file_read 0x20012 reported: read | file_get_contents | file | page.inc + file_read 0x20012 reported: read | fopen | file | page.inc + request_named_connection 0x40000 reported: connect | fsockopen | host | 127.0.0.1 + request_named_connection 0x40000 reported: connect | socket_connect | host | 127.0.0.1
true, true <- request_forgery 0x2000e reported: read | curl_ssrf | read | file:///etc/hostname (2 times)
[], 1 <- yaml_object 0x20008 reported: execute_command | unserialize:yaml_parse | command | !php/object {} + sql_injection 0x20001 reported: sql_query_lib | PDO::query | command | SELECT 1 OR 1=1
