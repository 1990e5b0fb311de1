--TEST--
Commands and phpinfo do not run below eval and below magic methods that unserialize runs, whatever the request holds
--INI--
opcache.enable=0
--GET--
page=phpinfo
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Last { public $command; function __destruct() { system($this->command); } }
class First { public $command; function __wakeup() { show(system($this->command), phpinfo(INFO_LICENSE)); } }
function below($command) { return exec($command); }
// The second element takes the first one's place, so that it dies inside.
unserialize('a:2:{i:0;O:4:"Last":1:{s:7:"command";s:9:"echo dead";}i:0;i:1;}');
unserialize('O:5:"First":1:{s:7:"command";s:10:"echo awake";}');
show(eval('return below("echo evaluated");'), eval('return phpinfo(INFO_GENERAL);'));
echo "--- untouched\n";
// This one outlives unserialize and is an ordinary object by then.
$late = unserialize('O:4:"Last":1:{s:7:"command";s:9:"echo late";}');
unset($late);
show(below('echo ordinary'));
ob_start();
phpinfo(INFO_MODULES);
echo preg_match_all('~vorgate support.*enabled~', ob_get_clean()), " row\n";
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false
--- untouched
late
"ordinary"
1 row
deserialisation_chain 0x20008 blocked: execute_command | unserialize(a:2:{i:0;O:4:"Last":1:{s:7:"command";s:9:"echo dead";}i:0;i:1;})->Last::__destruct()->system(echo dead) | command | echo dead
deserialisation_chain 0x20008 blocked: execute_command | unserialize(O:5:"First":1:{s:7:"command";s:10:"echo awake";})->First::__wakeup()->system(echo awake) | command | echo awake
deserialisation_chain 0x20008 blocked: execute_command | unserialize(O:5:"First":1:{s:7:"command";s:10:"echo awake";})->First::__wakeup()->phpinfo(64) | command | phpinfo()
execution_record 0 logged: execute_command | eval()'d code | command | return below("echo evaluated");
command_execution 0x20011 blocked: execute_command | eval()->below(echo evaluated)->exec(echo evaluated) | command | echo evaluated
execution_record 0 logged: execute_command | eval()'d code | command | return phpinfo(INFO_GENERAL);
command_execution 0x20011 blocked: execute_command | eval()->phpinfo(1, ) | command | phpinfo()
execution_record 0 logged: execute_command | system | command | echo late
execution_record 0 logged: execute_command | exec | command | echo ordinary
