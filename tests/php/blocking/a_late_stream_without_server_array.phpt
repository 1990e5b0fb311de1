--TEST--
A stream closed after a request in which nothing ever asked for the server array
--FILE--
<?php
require __DIR__ . '/../fixtures/stream.inc';
ScenarioStream::$on['close'] = fn () => print(exec('echo closed') . "\n");
$global = fopen('scenario://a', 'r');
echo "end\n";
?>
--EXPECT--
end
closed
