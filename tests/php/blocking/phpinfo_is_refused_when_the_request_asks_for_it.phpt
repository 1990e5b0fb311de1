--TEST--
phpinfo is refused when a parameter holds its call, though the call need not come from there
--GET--
code=1;phpinfo();
--INI--
opcache.enable=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
show(phpinfo(), (fn () => call_user_func('phpinfo', INFO_MODULES))());
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false
command_execution 0x20011 blocked: execute_command | phpinfo | command | phpinfo() (2 times)
