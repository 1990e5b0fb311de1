--TEST--
Commands that equal, contain or stand in a parameter, or that a cookie names, do not run; others are untouched
--GET--
c=touch+ran&host=127.0.0.1;id&word=id&long=xxdatexx&part=a
--COOKIE--
a=system:echo hi; b=echo there
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder();
told(system($_GET['c']), exec($_GET['c']), passthru($_GET['c']), shell_exec($_GET['c']));
told(popen($_GET['c'], 'r'), proc_open($_GET['c'], [], $pipes), file_exists('ran'));
told(system('echo 127.0.0.1;id'));  // contains a parameter with a shell character
told(exec('id -u'));                // contains a parameter that is a command word
told(shell_exec('date'));           // stands in a parameter
told(system('echo hi'));            // a cookie holds it and the function
echo "--- untouched\n";
told(exec('echo hi'), exec('echo there'));  // a cookie holds it alone
told(exec('echo a'));                       // contains a parameter that says nothing
echo request_field('query_string'), ' ', request_field('stack_trace');
$lines = ['before'];
told(exec('printf "one\ntwo  \n"; exit 3', $lines, $code), $lines, $code);
told(system('echo out; exit 4', $code), $code, passthru('echo through; exit 5', $code), $code);
told(shell_exec('true'), array_map('shell_exec', ['echo mapped']));
told(fwrite($pipe = popen('cat >piped', 'w'), 'popen'), pclose($pipe), file('piped'));
$process = proc_open(command: 'echo proc_open; exit 6', descriptor_spec: [1 => ['pipe', 'w']], pipes: $pipes);
told(stream_get_contents($pipes[1]), proc_close($process), proc_close(proc_open(['sh', '-c', 'exit 7'], [], $pipes)));
// A program given as a list, without a shell of PHP's own: the text of a shell is a command.
$lists = [['sh', '-c', $_GET['c']], ['/usr/bin/env', '-i', 'A=b', 'bash', '-eo', 'pipefail', '-lc', $_GET['c']]];
foreach ([...$lists, ['echo', $_GET['c']], ['sh', '/dev/null', '-c', $_GET['c']]] as $list) {
    told(is_resource(proc_open($list, [1 => ['file', '/dev/null', 'w']], $pipes)), file_exists('ran'));
}
told(bin2hex((new ReflectionFunction('exec'))->invoke("echo '\xff\xfe'")));
--EXPECT--
[Command][Command][Command][Command]false, false, false, false
    <- command_execution blocked: system, exec, passthru, shell_exec | touch ran
[Command][Command]false, false, false <- command_execution blocked: popen, proc_open | touch ran
[Command]false <- command_execution blocked: system | echo 127.0.0.1;id
[Command]false <- command_execution blocked: exec | id -u
[Command]false <- command_execution blocked: shell_exec | date
[Command]false <- command_execution blocked: system | echo hi
--- untouched
"hi", "there" <- execution_record logged: exec | echo hi + execution_record logged: exec | echo there
"a" <- execution_record logged: exec | echo a
c=touch+ran&host=127.0.0.1;id&word=id&long=xxdatexx&part=a exec(echo a)
"two", ["before","one","two"], 3 <- execution_record logged: exec | printf "one\ntwo  \n"; exit 3
out
through
"out", 4, null, 5 <- execution_record logged: system | echo out; exit 4
    + execution_record logged: passthru | echo through; exit 5
null, ["mapped\n"] <- execution_record logged: shell_exec | true + execution_record logged: shell_exec | echo mapped
5, 0, ["popen"] <- execution_record logged: popen | cat >piped
"proc_open\n", 6, 7 <- execution_record logged: proc_open | echo proc_open; exit 6
    + execution_record logged: proc_open | exit 7
[Command]false, false <- command_execution blocked: proc_open | touch ran
[Command]false, false <- command_execution blocked: proc_open | touch ran
true, false <- execution_record logged: proc_open | echo touch ran
true, false <- execution_record logged: proc_open | sh /dev/null -c touch ran
"fffe" <- execution_record logged: exec | echo '\377\376'
