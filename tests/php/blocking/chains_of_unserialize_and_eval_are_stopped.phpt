--TEST--
Commands, phpinfo, code and created files below eval and the magic methods that unserialize runs
--POST--
data=O:1:"R":1:{s:4:"code";s:9:"return+1;";}
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['a' => 'text']);
class D { function __destruct() { told(exec('true')); } }
class W { function __wakeup() { told(exec('true'), phpinfo(INFO_LICENSE)); } }
class R {
    public $code;
    function __construct($code) { told(eval($code)); }
    function __wakeup() { told(eval($this->code)); }
}
class P { function __wakeup() { told(file_put_contents('b', 'x'), fopen('c', 'w'), is_resource(fopen('a', 'r'))); } }
class C { function __destruct() { told(copy('a', 'b'), rename('a', 'c')); } }
function below($command) { return exec($command); }
// The second element takes the first one's place, so that it dies inside.
unserialize('a:2:{i:0;O:1:"D":0:{}i:0;N;}');
unserialize('O:1:"W":0:{}');
unserialize('O:1:"P":0:{}');
unserialize('a:2:{i:0;O:1:"C":0:{}i:0;N;}');
told(eval('return below("true");'), eval('return phpinfo(INFO_GENERAL);'), glob('*'));
unserialize($_POST['data']);
new R('eval("return 2;");');
echo "--- untouched\n";
new R('return 3;');
unserialize('O:1:"R":1:{s:4:"code";s:9:"return 4;";}');
// This one outlives unserialize and is an ordinary object by then.
$late = unserialize('O:1:"D":0:{}');
unset($late);
told(below('echo ordinary'));
--EXPECT--
[Command]false
    <- deserialisation_chain blocked: unserialize(a:2:{i:0;O:1:"D":0:{}i:0;N;})->D::__destruct()->exec(true) | true
[Command][Command]false, false
    <- deserialisation_chain blocked: unserialize(O:1:"W":0:{})->W::__wakeup()->exec(true) | true
    + deserialisation_chain blocked: unserialize(O:1:"W":0:{})->W::__wakeup()->phpinfo(64) | phpinfo()
[Create][Create]false, false, true <- file_create logged: file_put_contents | b + file_create logged: fopen | c
    + deserialisation_file_create blocked: unserialize(O:1:"P":0:{})->P::__wakeup()->file_put_contents(b, x) | b
    + deserialisation_file_create blocked: unserialize(O:1:"P":0:{})->P::__wakeup()->fopen(c, w) | c
[Create][Create]false, false <- file_create logged: copy | b + file_create logged: rename | c
    + deserialisation_file_create blocked: unserialize(a:2:{i:0;O:1:"C":0:{}i:0;N;})->C::__destruct()->copy(a, b) | b
    + deserialisation_file_create blocked: unserialize(a:2:{i:0;O:1:"C":0:{}i:0;N;})->C::__destruct()->rename(a, c) | c
[Command][Command]false, false, ["a"] <- execution_record logged: eval()'d code | return below("true");
    + execution_record logged: eval()'d code | return phpinfo(INFO_GENERAL);
    + command_execution blocked: eval()->below(true)->exec(true) | true
    + command_execution blocked: eval()->phpinfo(1, ) | phpinfo()
[Command]false
    <- deserialisation_chain blocked: unserialize(O:1:"R":1:{s:4:"code";s:9:"return 1;";})->R::__wakeup() | return 1;
[Command]false <- code_execution blocked: eval()'d code from __construct(eval( | eval("return 2;");
--- untouched
3 <- execution_record logged: eval()'d code | return 3;
4 <- execution_record logged: eval()'d code | return 4;
"" <- execution_record logged: exec | true
"ordinary" <- execution_record logged: exec | echo ordinary
