--TEST--
Evaluated code that equals a parameter does not run, and the script goes on
--GET--
code=echo+"run";+return+1;&part=xx+echo+2;+yy&broken=if+(
--POST--
form=return+3;
--COOKIE--
cookie=return 4%3B
--FILE--
<?php
require __DIR__ . '/../events.inc';
echo "\n", var_export(eval($_GET['code']), true), "\n";
echo var_export(eval($_POST['form']), true), "\n";
echo var_export(eval($_COOKIE['cookie']), true), "\n";
eval(' echo 2;');                       // only contained in a parameter
echo eval($_GET['code'] . ' '), "\n";   // not what was sent
echo eval('return "ordinary";'), "\n";
echo outcome(fn () => eval($_GET['broken'])), "\n";
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
2run1
ordinary
ParseError: Unclosed '('
code_execution 0x40000 blocked: execute_command | eval()'d code | command | echo "run"; return 1;
code_execution 0x40000 blocked: execute_command | eval()'d code | command | return 3;
code_execution 0x40000 blocked: execute_command | eval()'d code | command | return 4;
execution_record 0 logged: execute_command | eval()'d code | command |  echo 2;
execution_record 0 logged: execute_command | eval()'d code | command | echo "run"; return 1; 
execution_record 0 logged: execute_command | eval()'d code | command | return "ordinary";
