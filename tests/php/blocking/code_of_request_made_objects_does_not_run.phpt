--TEST--
Code that an object of the request evaluates while it is made does not run
--POST--
data=O:5:"Rules":1:{s:4:"code";s:9:"return+1;";}
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Rules {
    public $code;
    function __construct($code) { show(eval($code)); }
    function __wakeup() { show(eval($this->code)); }
}
unserialize($_POST['data']);
new Rules('eval("return 2;");');
new Rules('return 3;');
unserialize('O:5:"Rules":1:{s:4:"code";s:9:"return 4;";}');
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
3
4
deserialisation_chain 0x20008 blocked: execute_command | unserialize(O:5:"Rules":1:{s:4:"code";s:9:"return 1;";})->Rules::__wakeup() | command | return 1;
code_execution 0x40000 blocked: execute_command | eval()'d code from __construct(eval( | command | eval("return 2;");
execution_record 0 logged: execute_command | eval()'d code | command | return 3;
execution_record 0 logged: execute_command | eval()'d code | command | return 4;
