--TEST--
Evaluated code that the agent knows as a web shell does not run
--FILE--
<?php
require __DIR__ . '/../events.inc';
$long = str_repeat(' ', 5120);
show(eval('return 1; /*family*/'));
show(eval("return 2; /*shell*/$long"), eval('return 3; /*shell*/'), eval("return 4;$long"));
putenv('VORGATE_TEST_MODE=0');
show(eval("return 5; /*family*/ /*shell*/$long"));
events();
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, 3, 4
5
scan_webshell(return 1; /*family*/) = true, get_block_mode(2) = 1, event 0x40000 stopped: execute_command | chopper->Family | command | return 1; /*family*/
scan_script(return 2; /*shell*/                                                                                 ... of 5142 bytes) = 2, get_block_mode(2) = 1, event 0x40000 stopped: execute_command_2 | webshell | command | return 2; /*shell*/                                                                                 ... of 4096 bytes
event 0 plain: execute_command | eval()'d code | command | return 3; /*shell*/
scan_script(return 4;                                                                                           ... of 5132 bytes) = 0, event 0 plain: execute_command | eval()'d code | command | return 4;                                                                                           ... of 5129 bytes
scan_webshell(return 5; /*family*/ /*shell*/                                                                      ... of 5150 bytes) = true, get_block_mode(2) = 0, event 0x40000 allowed: execute_command | chopper->Family | command | return 5; /*family*/ /*shell*/                                                                      ... of 4096 bytes
