--TEST--
Watched calls in output callbacks, error handlers, destructors, session handlers and at the end
--GET--
c=echo+taken
--INI--
session.use_cookies=0
session.cache_limiter=
session.save_handler=files
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Sessions implements SessionHandlerInterface {
    function open($path, $name): bool { return say('open'); }
    function close(): bool { say('close'); events(); return true; }
    function read($id): string { return ''; }
    function write($id, $data): bool { return say('write'); }
    function destroy($id): bool { return true; }
    function gc($age): int { return 0; }
}
class Dying { function __destruct() { say('destructor'); } }
function say($who) { echo "$who: ", exec("echo $who"), exec($_GET['c']), "\n"; return true; }
// Registered as no object, the handlers run after the last destructor.
$sessions = new Sessions();
session_set_save_handler($sessions, false);
session_start();
register_shutdown_function('say', 'shutdown');
set_error_handler(fn () => say('error handler'));
echo $undefined;
ob_start(fn ($text) => exec('echo callback') . ": $text");
echo "buffered\n";
ob_end_flush();
$dying = new Dying();
?>
--EXPECT--
open: open<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
error handler: error handler<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
callback: buffered
shutdown: shutdown<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
destructor: destructor<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
write: write<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
close: close<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
execution_record 0 logged: execute_command | exec | command | echo open
command_execution 0x20011 blocked: execute_command | exec | command | echo taken
execution_record 0 logged: execute_command | exec | command | echo error handler
command_execution 0x20011 blocked: execute_command | exec | command | echo taken
execution_record 0 logged: execute_command | exec | command | echo callback
execution_record 0 logged: execute_command | exec | command | echo shutdown
command_execution 0x20011 blocked: execute_command | exec | command | echo taken
execution_record 0 logged: execute_command | exec | command | echo destructor
command_execution 0x20011 blocked: execute_command | exec | command | echo taken
execution_record 0 logged: execute_command | exec | command | echo write
command_execution 0x20011 blocked: execute_command | exec | command | echo taken
execution_record 0 logged: execute_command | exec | command | echo close
command_execution 0x20011 blocked: execute_command | exec | command | echo taken
