--TEST--
An argument whose conversion throws, calls a watched function or exits
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Text {
    function __construct(private $run) {}
    function __toString(): string { return ($this->run)(); }
}
register_shutdown_function(function () {
    echo 'at the end: ', exec('echo still watched'), "\n";
    echo request_field('stack_trace'), "\n";
});
$thrown = new Text(fn () => throw new Exception('no text'));
foreach (['system', 'exec', 'file_get_contents', 'fsockopen'] as $function) {
    echo "$function: ", outcome(fn () => $function($thrown)), "\n";
}
system(new Text(fn () => 'echo ' . exec('echo nested')));
$calls = 0;
$again = new Text(function () use (&$calls, &$again) { return $calls++ < 300 ? 'echo ' . exec($again) : 'echo deep'; });
echo exec($again), " $calls\n";
fopen('f', new Text(fn () => exit("exit in a conversion\n")));
echo 'not reached';
?>
--EXPECT--
system: Exception: no text
exec: Exception: no text
file_get_contents: Exception: no text
fsockopen: Exception: no text
nested
deep 301
exit in a conversion
at the end: still watched
exec(echo still watched)\n{closure}()\n
