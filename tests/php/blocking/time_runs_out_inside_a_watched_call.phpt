--TEST--
The time limit strikes inside a watched call
--INI--
max_execution_time=1
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Endless { function __toString(): string { while (true); } }
register_shutdown_function(function () {
    echo "\n", exec('echo still watched'), "\n";
    events();
});
system(new Endless());
echo 'not reached';
?>
--EXPECTF--

Fatal error: Maximum execution time of 1 second exceeded in %s on line %d

still watched
execution_record 0 logged: execute_command | exec | command | echo still watched
