--TEST--
Connections to hosts that equal a parameter and URLs in one are refused; other connections leave a record
--EXTENSIONS--
curl
sockets
--GET--
host=127.0.0.1&part=xlocalhostx&url=http://127.0.0.1:9/&file=file:///etc/hostname
--COOKIE--
peer=scenario.sock
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder();
$listener = stream_socket_server('tcp://127.0.0.1:0');
$port = (int) explode(':', stream_socket_get_name($listener, false))[1];
$unix = stream_socket_server('unix://scenario.sock');
$tcp = fn () => socket_create(AF_INET, SOCK_STREAM, SOL_TCP);
$local = fn () => socket_create(AF_UNIX, SOCK_STREAM, 0);
told(fsockopen($_GET['host'], $port), socket_connect($tcp(), '127.0.0.1', $port));
told(socket_connect($local(), 'scenario.sock'), @stream_socket_accept($listener, 0), @stream_socket_accept($unix, 0));
$open = [fsockopen('localhost', $port), fsockopen("tcp://$_GET[host]", $port, $number, $text, 5)];
told(socket_connect($tcp(), 'localhost', $port), socket_connect($local(), './scenario.sock'), $number, $text);
told(...$open, ...[stream_socket_accept($listener, 0), stream_socket_accept($unix, 0)]);
$curl = curl_init();
told(curl_init($_GET['url']), curl_setopt($curl, CURLOPT_URL, $_GET['url']));
told(curl_setopt($curl, 10002, new SplFileInfo($_GET['file'])), curl_setopt($curl, CURLOPT_URL, $_GET['file']));
told(curl_setopt($curl, ' 1.0002e4', $_GET['url']), curl_setopt($curl, CURLOPT_URL, null));  // null: as an empty text
foreach (['socket_connect' => [$curl, $_GET['host']], 'curl_setopt' => [$tcp(), 10002, $_GET['url']]] as $f => $wrong) {
    told(outcome(fn () => $f(...$wrong)));
}
told(curl_setopt($curl, CURLOPT_USERAGENT, $_GET['url']),
    curl_setopt_array($curl, [CURLOPT_RETURNTRANSFER => true, CURLOPT_HTTPHEADER => ['A: b']]),
    curl_setopt($curl, CURLOPT_URL, 'file:///etc/./hostname'), curl_exec($curl) === implode(file('/etc/hostname')));
--EXPECT--
[Command][Command]false, false <- request_named_connection blocked: fsockopen, socket_connect | 127.0.0.1
[Command]false, false, false <- request_named_connection blocked: socket_connect | scenario.sock
true, true, 0, "" <- connection_record logged: fsockopen, socket_connect | localhost
    + connection_record logged: fsockopen | tcp://127.0.0.1
    + connection_record logged: socket_connect | ./scenario.sock
resource (stream), resource (stream), resource (stream), resource (stream)
[Command][Command]false, false <- request_forgery blocked: curl_ssrf (2 times) | http://127.0.0.1:9/
[Command][Command]false, false <- request_forgery blocked: curl_ssrf (2 times) | file:///etc/hostname
[Command][Command]false, false <- request_forgery blocked: curl_ssrf | http://127.0.0.1:9/
    + request_forgery blocked: curl_ssrf | 
"TypeError: socket_connect(): Argument #1 ($socket) must be of type Socket, CurlHandle given"
"TypeError: curl_setopt(): Argument #1 ($handle) must be of type CurlHandle, Socket given"
true, true, true, true
