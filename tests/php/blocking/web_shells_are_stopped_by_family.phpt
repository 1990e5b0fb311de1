--TEST--
Code in the shape of a web shell does not run, however it came; code that reads the request does
--GET--
c=return+1;
--FILE--
<?php
require __DIR__ . '/../events.inc';
$template = '?><ul><?php foreach ([1, 2] as $n): ?><li><?= $n, htmlspecialchars($_GET["c"]) ?></li><?php endforeach ?></ul><?php ';
told(eval($template), eval('return strlen($_GET["c"]);'));
told(eval('return @eval($_GET["c"]);'));
told(eval(gzinflate(gzdeflate('return eval(gzinflate(base64_decode("eJw")));'))));
$page = 'function run($c) { if (function_exists("exec")) { exec($c, $lines); } elseif (function_exists("passthru")) { passthru($c); } else { popen($c, "r"); } }
    foreach (scandir($_GET["c"]) as $f) { rename($f, "x"); chmod($f, 0); unlink($f); }';
told(outcome(fn () => eval("if (0) { $page } return 3;")));
told(eval('if (0) { ' . $page . str_repeat(' ', 5120) . '} return 4;'));
--EXPECT--
<ul><li>1return 1;</li><li>2return 1;</li></ul>null, 9 <- execution_record logged: execute_command | eval()'d code | command | ?><ul><?php foreach ([1, 2] as $n): ?><li><?= $n, htmlspecialchars($_GET["c"]) ?></li><?php endforeach ?></ul><?php  + execution_record logged: execute_command | eval()'d code | command | return strlen($_GET["c"]);
[Command Execute Not Allowed]false <- web_shell 0x40000 blocked: execute_command | chopper->eval-of-request | command | return @eval($_GET["c"]);
[Command Execute Not Allowed]false <- web_shell 0x40000 blocked: execute_command | chopper->layered-decoder | command | return eval(gzinflate(base64_decode("eJw")));
"3" <- execution_record logged: execute_command | eval()'d code | command | if (0) { function run($c) { if (function_exists("exec")) { exec($c, $lines); } elseif (function_exists("passthru")) { passthru($c); } else { popen($c, "r"); } }\n    foreach (scandir($_GET["c"]) as $f) { rename($f, "x"); chmod($f, 0); unlink($f); } } return 3;
[Command Execute Not Allowed]false <- web_shell 0x40000 blocked: execute_command_2 | webshell | command | if (0) { function run($c) { if (function... of 4097 bytes
