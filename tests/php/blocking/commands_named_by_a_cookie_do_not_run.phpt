--TEST--
A cookie that holds the command and the function's name stops it; a cookie alone does not
--COOKIE--
a=system:echo hi; b=echo there
--FILE--
<?php
require __DIR__ . '/../events.inc';
show(system('echo hi'), exec('echo hi'), system('echo there'));
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>there
false, "hi", "there"
command_execution 0x20011 blocked: execute_command | system | command | echo hi
execution_record 0 logged: execute_command | exec | command | echo hi
execution_record 0 logged: execute_command | system | command | echo there
