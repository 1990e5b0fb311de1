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
show(fsockopen($_GET['host'], $port), socket_connect($tcp(), '127.0.0.1', $port), socket_connect($local(), 'scenario.sock'));
show(@stream_socket_accept($listener, 0), @stream_socket_accept($unix, 0));
echo "--- untouched\n";
$open = [fsockopen('localhost', $port), fsockopen("tcp://$_GET[host]", $port, $number, $text, 5)];
show(socket_connect($tcp(), 'localhost', $port), socket_connect($local(), './scenario.sock'), $number, $text);
$open = [...$open, stream_socket_accept($listener, 0), stream_socket_accept($unix, 0)];
show(...$open);
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false, false
false, false
--- untouched
true, true, 0, ""
resource (stream), resource (stream), resource (stream), resource (stream)
request_named_connection 0x40000 blocked: connect | fsockopen | host | 127.0.0.1
request_named_connection 0x40000 blocked: connect | socket_connect | host | 127.0.0.1
request_named_connection 0x40000 blocked: connect | socket_connect | host | scenario.sock
connection_record 0 logged: connect | fsockopen | host | localhost
connection_record 0 logged: connect | fsockopen | host | tcp://127.0.0.1
connection_record 0 logged: connect | socket_connect | host | localhost
connection_record 0 logged: connect | socket_connect | host | ./scenario.sock
