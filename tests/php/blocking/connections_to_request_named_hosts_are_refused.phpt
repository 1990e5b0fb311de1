--TEST--
A connection to a host that equals a parameter is refused; every other one leaves a record
--EXTENSIONS--
sockets
--GET--
host=127.0.0.1&part=xlocalhostx
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
--EXPECT--
[Command][Command]false, false <- request_named_connection blocked: fsockopen, socket_connect | 127.0.0.1
[Command]false, false, false <- request_named_connection blocked: socket_connect | scenario.sock
true, true, 0, "" <- connection_record logged: fsockopen, socket_connect | localhost
    + connection_record logged: fsockopen | tcp://127.0.0.1
    + connection_record logged: socket_connect | ./scenario.sock
resource (stream), resource (stream), resource (stream), resource (stream)
