--TEST--
A watched call below 20,000 frames carries the innermost ones
--FILE--
<?php
require __DIR__ . '/../events.inc';
function deep($levels) { return $levels ? deep($levels - 1) : exec('echo bottom'); }
echo deep(20000), "\n";
events();
echo request_field('stack_trace'), "\n";
?>
--EXPECT--
bottom
execution_record 0 logged: execute_command | exec | command | echo bottom
exec(echo bottom)\ndeep(0, )\ndeep(1, )\ndeep(2, )\ndeep(3, )\ndeep(4, )\ndeep(5, )\ndeep(6, )\ndeep(7, )\ndeep(8, )\ndeep(9, )\ndeep(10)\ndeep(11)\ndeep(12)\ndeep(13)\ndeep(14)\n
