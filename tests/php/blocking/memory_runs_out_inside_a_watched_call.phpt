--TEST--
Memory runs out while the call stack is taken
--INI--
memory_limit=8M
--FILE--
<?php
require __DIR__ . '/../events.inc';
function deep($levels) { return $levels ? deep($levels - 1) : exec('echo bottom'); }
register_shutdown_function(function () {
    ini_set('memory_limit', '64M');
    echo "\n", exec('echo still watched'), "\n";
    events();
});
deep(20000);
echo 'not reached';
?>
--EXPECTF--
Fatal error: Allowed memory size of 8388608 bytes exhausted (tried to allocate %d bytes) in %s on line 3

still watched
execution_record 0 logged: execute_command | exec | command | echo bottom
execution_record 0 logged: execute_command | exec | command | echo still watched
