--TEST--
A file whose name is in a parameter is not read; one whose name is built around a parameter is
--GET--
file=text.txt&path=x/secret.txt/y
--COOKIE--
c=cookie.txt
--FILE--
<?php
require __DIR__ . '/../events.inc';
$folder = own_folder(['text.txt' => 'text', 'secret.txt' => 'secret', 'cookie.txt' => 'cookie', 'other.txt' => 'other']);
ob_start();
$context = stream_context_create();
show(file_get_contents($_GET['file']), file_get_contents('secret.txt', false, $context));
show(fopen($_GET['file'], 'r'), fopen($_GET['file'], 'rb'), fopen($_GET['file'], 'r+'), fopen($_GET['file'], 'wr'));
echo str_replace('<br/>', '', ob_get_clean()), "--- untouched\n";
show(file_get_contents("$folder/$_GET[file]"), file_get_contents(filename: 'other.txt', offset: 1, length: 3));
show(file_get_contents($_COOKIE['c']), fgets(fopen("./$_GET[file]", 'rb')), file($_GET['file']));
events();
?>
--EXPECT--
Command Execute Not Allowed @VARNO 2020-2030Command Execute Not Allowed @VARNO 2020-2030false, false
Command Execute Not Allowed @VARNO 2020-2030Command Execute Not Allowed @VARNO 2020-2030Command Execute Not Allowed @VARNO 2020-2030Command Execute Not Allowed @VARNO 2020-2030false, false, false, false
--- untouched
"text", "the"
"cookie", "text", ["text"]
file_read 0x20012 blocked: read | file_get_contents | file | text.txt
file_read 0x20012 blocked: read | file_get_contents | file | secret.txt
file_read 0x20012 blocked: read | fopen | file | text.txt (4 times)
