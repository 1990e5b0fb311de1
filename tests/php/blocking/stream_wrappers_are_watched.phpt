--TEST--
Watched calls in a user's stream wrapper, nested, and one that exits
--FILE--
<?php
require __DIR__ . '/../events.inc';
require __DIR__ . '/../fixtures/stream.inc';
$depth = 0;
ScenarioStream::$on['read'] = function () use (&$depth) {
    if ($depth++ < 200) {
        file_get_contents('scenario://nested');
    }
};
ScenarioStream::$on['close'] = fn () => $depth > 400 && print(exec('echo closed') . "\n");
show(file_get_contents('scenario://a'), $depth > 200);
ScenarioStream::$on = ['close' => fn () => print(exec('echo closed') . "\n")];
unset(ScenarioStream::$on['read']);
show(file_get_contents('scenario://b'));
events();
ScenarioStream::$on['open'] = fn () => exit("exit in open\n");
fopen('scenario://c', 'r');
echo 'not reached';
?>
--EXPECT--
"text", true
closed
"text"
execution_record 0 logged: execute_command | exec | command | echo closed
exit in open
