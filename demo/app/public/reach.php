<?php
require __DIR__ . '/../lib/page.php';

page_start();
$intranet = parse_url((string) getenv('TOOLBOX_INTRANET')) + ['host' => '127.0.0.1', 'port' => 80];
// Wrong: a port scanner for whoever asks, from inside.
$host = $_GET['host'] ?? $intranet['host'];
$port = (int) ($_GET['port'] ?? $intranet['port']);
form('host', 'Host', $host);
$connection = @fsockopen($host, $port, $number, $reason, 5);
if (is_resource($connection)) {
    fwrite($connection, "HEAD / HTTP/1.0\r\n\r\n");
    output((string) fgets($connection));
    fclose($connection);
} else {
    output('not reached');
}
page_end();
