--TEST--
A command that contains a parameter, or is contained in one, does not run if the parameter says enough
--GET--
host=127.0.0.1;id&word=id&long=xxdatexx&part=a
--POST--
expr=x%7Ctrue&longer=xidx
--FILE--
<?php
require __DIR__ . '/../events.inc';
ob_start();
system('echo 127.0.0.1;id');  // contains a parameter with a shell character
exec('id -u');                // contains a parameter that is a command word
shell_exec('date');           // contained in a parameter
passthru('echo x|true');      // the same from the form
system('id');                 // the shortest that counts
popen('', 'r');               // no parameter is empty
echo "\n";
system('echo a');             // contains a parameter that says nothing
system('exit');
echo str_replace('<br/><br/>', "\n", ob_get_clean());
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030
Command Execute Not Allowed @VARNO 2020-2030
Command Execute Not Allowed @VARNO 2020-2030
Command Execute Not Allowed @VARNO 2020-2030
Command Execute Not Allowed @VARNO 2020-2030<br/>
a
command_execution 0x20011 blocked: execute_command | system | command | echo 127.0.0.1;id
command_execution 0x20011 blocked: execute_command | exec | command | id -u
command_execution 0x20011 blocked: execute_command | shell_exec | command | date
command_execution 0x20011 blocked: execute_command | passthru | command | echo x|true
command_execution 0x20011 blocked: execute_command | system | command | id
execution_record 0 logged: execute_command | popen | command | 
execution_record 0 logged: execute_command | system | command | echo a
execution_record 0 logged: execute_command | system | command | exit
