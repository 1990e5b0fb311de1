--TEST--
A stream closed after the request's arrays are gone reaches watched calls without a request
--GET--
c=echo+taken&f=text.txt
--COOKIE--
d=e
--FILE--
<?php
require __DIR__ . '/../events.inc';
require __DIR__ . '/../fixtures/stream.inc';
// Written to, the script's arrays are no longer the engine's.
$_GET['own'] = $_COOKIE['own'] = $_POST['own'] = 'x';
$_SERVER['own'] = 'x';
ScenarioStream::$on['close'] = function () {
    echo exec('echo taken'), eval('return " evaluated";'), "\n";
    show(@include '/etc/passwd', is_resource(fopen(__FILE__, 'r')));
    events();
};
$global = fopen('scenario://a', 'r');
?>
--EXPECT--
taken evaluated
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false, true
execution_record 0 logged: execute_command | exec | command | echo taken
execution_record 0 logged: execute_command | eval()'d code | command | return " evaluated";
file_include 0x20004 blocked: file_include | safe_compile_file | file | /etc/passwd
