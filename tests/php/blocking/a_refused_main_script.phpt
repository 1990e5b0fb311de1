--TEST--
A main script named by the request is refused, and the worker serves the next request
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder(['main.inc' => '<?php echo "ran in ", getmypid(), "\n";']);
[$server, $pid] = start_php_server($root, '-d opcache.enable=0', "'$root/main.inc'");
foreach (["?f=$root/main.inc", '', "?f=$root/main.inc", '?f=main.inc'] as $query) {
    echo str_replace("$pid", 'the same process', file_get_contents("$server$query")), "\n";
}
events($pid);
?>
--EXPECT--
<br/>File Include Not Allowed @VARNO 2020-2030<br/>
ran in the same process

<br/>File Include Not Allowed @VARNO 2020-2030<br/>
ran in the same process

file_include 0x20004 blocked: file_include | safe_compile_file | file | FOLDER/main.inc (2 times)
