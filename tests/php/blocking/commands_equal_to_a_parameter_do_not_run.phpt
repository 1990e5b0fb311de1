--TEST--
A command that equals a parameter does not run, whichever function is asked
--GET--
c=touch+ran
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder();
foreach (['system', 'exec', 'passthru', 'shell_exec'] as $function) {
    show($function($_GET['c']));
}
show(popen($_GET['c'], 'r'));
show(proc_open($_GET['c'], [], $pipes), file_exists('ran'));
system('touch ordinary');
show(file_exists('ordinary'));
events();
echo request_field('query_string'), ' ', request_field('stack_trace'), "\n";
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false
true
command_execution 0x20011 blocked: execute_command | system | command | touch ran
command_execution 0x20011 blocked: execute_command | exec | command | touch ran
command_execution 0x20011 blocked: execute_command | passthru | command | touch ran
command_execution 0x20011 blocked: execute_command | shell_exec | command | touch ran
command_execution 0x20011 blocked: execute_command | popen | command | touch ran
command_execution 0x20011 blocked: execute_command | proc_open | command | touch ran
execution_record 0 logged: execute_command | system | command | touch ordinary
c=touch+ran system(touch ordinary)\n
