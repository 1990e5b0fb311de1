<?php
require __DIR__ . '/../lib/page.php';

page_start();
$host = $_GET['host'] ?? 'localhost';
form('host', 'Host name', $host);
echo '<pre>';
// Wrong: the name goes to the shell as it came. "localhost;id" is two commands.
system('getent hosts ' . $host);
echo "</pre>\n";
page_end();
