--TEST--
Watched calls in conversions, callbacks, handlers and stream wrappers, and at the very end
--GET--
c=echo+taken
--COOKIE--
d=e
--INI--
session.use_cookies=0
session.cache_limiter=
session.save_handler=files
--FILE--
<?php
require __DIR__ . '/../events.inc';
require __DIR__ . '/../fixtures/stream.inc';
class Text { function __construct(private $run) {} function __toString(): string { return ($this->run)(); } }
class Dying { function __destruct() { say('destructor'); } }
function say($who) { told($who, exec($_GET['c'])); return true; }
$thrown = new Text(fn () => throw new Exception('no text'));
told(outcome(fn () => exec($thrown)), outcome(fn () => file_get_contents($thrown)));
$calls = $closed = 0;
$again = new Text(function () use (&$calls, &$again) { return $calls++ < 300 ? 'echo ' . exec($again) : 'echo deep'; });
told(exec($again), $calls);
ScenarioStream::$on['read'] = fn () => $GLOBALS['calls']-- > 0 && file_get_contents('scenario://nested');
ScenarioStream::$on['close'] = fn () => $GLOBALS['closed']++ || say('stream closed');
told(file_get_contents('scenario://a'), $closed);
set_error_handler(fn () => say('error handler'));
echo $undefined;
restore_error_handler();
ob_start(fn ($text) => $text . exec('echo by the callback'));
echo 'buffered ';
ob_end_flush();
told();
[$true, $none] = [fn () => true, fn () => ''];
session_set_save_handler(fn () => say('session'), $true, $none, fn () => say('session'), $true, $none);
session_start();
register_shutdown_function('say', 'shutdown');
$dying = new Dying();
// Written to, the script's arrays are no longer the engine's, which are gone when the
// last stream is closed.
$_GET['own'] = $_COOKIE['own'] = $_POST['own'] = $_SERVER['own'] = 'x';
ScenarioStream::$on = ['close' => fn () =>
    [told(exec('echo taken'), eval('return 1;'), fopen(__FILE__, 'r')), told(@include '/etc/passwd')]];
$global = fopen('scenario://late', 'r');
--EXPECT--
"Exception: no text", "Exception: no text"
"deep", 301 <- execution_record logged: exec (301 times) | echo deep
[Command]"stream closed", false <- command_execution blocked: exec | echo taken
"text", 302
[Command]"error handler", false <- command_execution blocked: exec | echo taken
buffered by the callback <- execution_record logged: exec | echo by the callback
[Command]"session", false <- command_execution blocked: exec | echo taken
[Command]"shutdown", false <- command_execution blocked: exec | echo taken
[Command]"destructor", false <- command_execution blocked: exec | echo taken
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>"session", false <- command_execution blocked: exec | echo taken
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, 1, resource (stream) <- command_execution blocked: exec | echo taken
    + execution_record logged: eval()'d code | return 1;
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false <- file_include blocked: safe_compile_file | /etc/passwd
