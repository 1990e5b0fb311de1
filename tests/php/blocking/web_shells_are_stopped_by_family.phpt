--TEST--
Code in the shape of a web shell does not run, however it came; code that reads the request does
--GET--
c=return+1;
--FILE--
<?php
require __DIR__ . '/../events.inc';
told(eval('?><?php if (1): ?><?= $_GET["c"] ?>; <?php endif ?>'));
told(eval('return strlen($_GET["c"]);'));
told(eval('return @eval($_GET["c"]);'));
told(eval(gzinflate(gzdeflate('return eval(gzinflate(base64_decode("eJw")));'))));
$page = 'function run($c) { if (function_exists("exec")) { exec($c, $lines); }
    elseif (function_exists("passthru")) { passthru($c); } else { popen($c, "r"); } }
    foreach (scandir($_GET["c"]) as $f) { rename($f, "x"); chmod($f, 0); unlink($f); }';
told(outcome(fn () => eval("if (0) { $page } return 3;")));
told(eval('if (0) { ' . $page . str_repeat(' ', 5120) . '} return 4;'));
--EXPECT--
return 1;; null <- execution_record logged: eval()'d code | ?><?php if (1): ?><?= $_GET["c"] ?>; <?php endif ?>
9 <- execution_record logged: eval()'d code | return strlen($_GET["c"]);
[Command]false <- web_shell blocked: chopper->eval-of-request | return @eval($_GET["c"]);
[Command]false <- web_shell blocked: chopper->layered-decoder | return eval(gzinflate(base64_decode("eJw")));
"3" <- execution_record logged: eval()'d code | if (0) { function run($c) { if (function... of 265 bytes
[Command]false <- web_shell blocked: webshell | if (0) { function run($c) { if (function... of 4098 bytes
