--TEST--
Without an agent, the loader's message is logged once at start-up and once for each request
--INI--
error_log=/dev/null
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder(['index.php' => '<?php echo exec("echo served");']);
[$server] = start_php_server($root, "-d error_log=$root/error.log");
$count = fn () => count(preg_grep('~ /usr/local/lib/vlib64/libmessage_queue_linux\.so: cannot open shared object file~', file("$root/error.log")));
echo $count(), "\n";
for ($request = 1; $request <= 3; $request++) {
    echo file_get_contents($server), ' ', $count(), "\n";
}
echo count(file("$root/error.log")), " lines\n";
?>
--EXPECT--
1
served 2
served 3
served 4
4 lines
