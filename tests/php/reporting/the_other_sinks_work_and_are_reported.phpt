--TEST--
In report mode files, connections, URLs and documents of the request work, with the same events
--EXTENSIONS--
curl
sockets
yaml
--GET--
file=text.txt&host=127.0.0.1&url=file:///etc/hostname&doc=!php/object+{}
--INI--
yaml.decode_php=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['text.txt' => 'text']);
class Put { function __wakeup() { show(file_put_contents('put.txt', 'x')); } }
show(file_get_contents($_GET['file']), fgets(fopen($_GET['file'], 'r')));
$listener = stream_socket_server('tcp://127.0.0.1:0');
$port = (int) explode(':', stream_socket_get_name($listener, false))[1];
show(is_resource(fsockopen($_GET['host'], $port)), socket_connect(socket_create(AF_INET, SOCK_STREAM, 0), $_GET['host'], $port));
$curl = curl_init($_GET['url']);
curl_setopt($curl, CURLOPT_RETURNTRANSFER, true);
show(curl_setopt($curl, CURLOPT_URL, $_GET['url']), curl_exec($curl) === implode(file('/etc/hostname')));
show(yaml_parse($_GET['doc']));
unserialize('O:3:"Put":0:{}');
events();
?>
--EXPECT--
"text", "text"
true, true
true, true
[]
1
file_read 0x20012 reported: read | file_get_contents | file | text.txt
file_read 0x20012 reported: read | fopen | file | text.txt
request_named_connection 0x40000 reported: connect | fsockopen | host | 127.0.0.1
request_named_connection 0x40000 reported: connect | socket_connect | host | 127.0.0.1
request_forgery 0x2000e reported: read | curl_ssrf | read | file:///etc/hostname (2 times)
yaml_object 0x20008 reported: execute_command | unserialize:yaml_parse | command | !php/object {}
file_create logged: create | file_put_contents | file | put.txt
deserialisation_file_create 0x20008 reported: create | unserialize(O:3:"Put":0:{})->Put::__wakeup()->file_put_contents(put.txt, x) | file | put.txt
