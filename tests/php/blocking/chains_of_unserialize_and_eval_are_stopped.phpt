--TEST--
Commands, phpinfo, code and created files below eval and the magic methods that unserialize runs
--POST--
data=O:4:"Rule":1:{s:4:"code";s:9:"return+1;";}
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['source.txt' => 'text']);
class Last { public $command; function __destruct() { told(system($this->command)); } }
class First { public $command; function __wakeup() { told(system($this->command), phpinfo(INFO_LICENSE)); } }
class Rule {
    public $code;
    function __construct($code) { told(eval($code)); }
    function __wakeup() { told(eval($this->code)); }
}
class Put { function __wakeup() { told(file_put_contents('put.php', 'x'), fopen('x.php', 'w'), is_resource(fopen('source.txt', 'r'))); } }
class Copy { function __destruct() { told(copy('source.txt', 'copy.php'), rename('source.txt', 'x.php')); } }
function below($command) { return exec($command); }
// The second element takes the first one's place, so that it dies inside.
unserialize('a:2:{i:0;O:4:"Last":1:{s:7:"command";s:9:"echo dead";}i:0;i:1;}');
unserialize('O:5:"First":1:{s:7:"command";s:10:"echo awake";}');
unserialize('O:3:"Put":0:{}');
unserialize('a:2:{i:0;O:4:"Copy":0:{}i:0;i:1;}');
told(eval('return below("echo evaluated");'), eval('return phpinfo(INFO_GENERAL);'), glob('*'));
unserialize($_POST['data']);
new Rule('eval("return 2;");');
echo "--- untouched\n";
new Rule('return 3;');
unserialize('O:4:"Rule":1:{s:4:"code";s:9:"return 4;";}');
// This one outlives unserialize and is an ordinary object by then.
$late = unserialize('O:4:"Last":1:{s:7:"command";s:9:"echo late";}');
unset($late);
told(below('echo ordinary'));
--EXPECT--
[Command Execute Not Allowed]false <- deserialisation_chain 0x20008 blocked: execute_command | unserialize(a:2:{i:0;O:4:"Last":1:{s:7:"command";s:9:"echo dead";}i:0;i:1;})->Last::__destruct()->system(echo dead) | command | echo dead
[Command Execute Not Allowed][Command Execute Not Allowed]false, false <- deserialisation_chain 0x20008 blocked: execute_command | unserialize(O:5:"First":1:{s:7:"command";s:10:"echo awake";})->First::__wakeup()->system(echo awake) | command | echo awake + deserialisation_chain 0x20008 blocked: execute_command | unserialize(O:5:"First":1:{s:7:"command";s:10:"echo awake";})->First::__wakeup()->phpinfo(64) | command | phpinfo()
[Create File Not Allowed][Create File Not Allowed]false, false, true <- file_create logged: create | file_put_contents | file | put.php + deserialisation_file_create 0x20008 blocked: create | unserialize(O:3:"Put":0:{})->Put::__wakeup()->file_put_contents(put.php, x) | file | put.php + file_create logged: create | fopen | file | x.php + deserialisation_file_create 0x20008 blocked: create | unserialize(O:3:"Put":0:{})->Put::__wakeup()->fopen(x.php, w) | file | x.php
[Create File Not Allowed][Create File Not Allowed]false, false <- file_create logged: create | copy | file | copy.php + deserialisation_file_create 0x20008 blocked: create | unserialize(a:2:{i:0;O:4:"Copy":0:{}i:0;i:1;})->Copy::__destruct()->copy(source.txt, copy.php) | file | copy.php + file_create logged: create | rename | file | x.php + deserialisation_file_create 0x20008 blocked: create | unserialize(a:2:{i:0;O:4:"Copy":0:{}i:0;i:1;})->Copy::__destruct()->rename(source.txt, x.php) | file | x.php
[Command Execute Not Allowed][Command Execute Not Allowed]false, false, ["source.txt"] <- execution_record logged: execute_command | eval()'d code | command | return below("echo evaluated"); + command_execution 0x20011 blocked: execute_command | eval()->below(echo evaluated)->exec(echo evaluated) | command | echo evaluated + execution_record logged: execute_command | eval()'d code | command | return phpinfo(INFO_GENERAL); + command_execution 0x20011 blocked: execute_command | eval()->phpinfo(1, ) | command | phpinfo()
[Command Execute Not Allowed]false <- deserialisation_chain 0x20008 blocked: execute_command | unserialize(O:4:"Rule":1:{s:4:"code";s:9:"return 1;";})->Rule::__wakeup() | command | return 1;
[Command Execute Not Allowed]false <- code_execution 0x40000 blocked: execute_command | eval()'d code from __construct(eval( | command | eval("return 2;");
--- untouched
3 <- execution_record logged: execute_command | eval()'d code | command | return 3;
4 <- execution_record logged: execute_command | eval()'d code | command | return 4;
late
"late" <- execution_record logged: execute_command | system | command | echo late
"ordinary" <- execution_record logged: execute_command | exec | command | echo ordinary
