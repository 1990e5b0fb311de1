--TEST--
Ordinary commands give what they give unwatched, and leave a record each
--GET--
page=1
--FILE--
<?php
require __DIR__ . '/../events.inc';
$lines = ['before'];
show(exec('printf "one\ntwo  \n"; exit 3', $lines, $code), $lines, $code);
show(system('echo out; exit 4', $code), $code, passthru('echo through; exit 5', $code), $code);
show(shell_exec('echo text'), shell_exec('true'));
$pipe = popen('cat', 'w');
fwrite($pipe, "through popen\n");
show(pclose($pipe));
$process = proc_open(command: 'tr a-z A-Z; exit 6', descriptor_spec: [['pipe', 'r'], ['pipe', 'w']], pipes: $pipes);
fwrite($pipes[0], 'through proc_open');
fclose($pipes[0]);
show(stream_get_contents($pipes[1]), proc_close($process));
show(proc_close(proc_open(['sh', '-c', 'exit 7'], [], $pipes)));
show(array_map('shell_exec', ['echo mapped']), bin2hex((new ReflectionFunction('exec'))->invoke("echo '\xff\xfe'")));
events();
?>
--EXPECT--
"two", ["before","one","two"], 3
out
through
"out", 4, null, 5
"text\n", null
through popen
0
"THROUGH PROC_OPEN", 6
7
["mapped\n"], "fffe"
execution_record 0 logged: execute_command | exec | command | printf "one\ntwo  \n"; exit 3
execution_record 0 logged: execute_command | system | command | echo out; exit 4
execution_record 0 logged: execute_command | passthru | command | echo through; exit 5
execution_record 0 logged: execute_command | shell_exec | command | echo text
execution_record 0 logged: execute_command | shell_exec | command | true
execution_record 0 logged: execute_command | popen | command | cat
execution_record 0 logged: execute_command | proc_open | command | tr a-z A-Z; exit 6
execution_record 0 logged: execute_command | shell_exec | command | echo mapped
execution_record 0 logged: execute_command | exec | command | echo '\377\376'
