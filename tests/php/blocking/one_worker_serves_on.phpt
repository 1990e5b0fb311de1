--TEST--
One worker serves on after refusals, exits, deep stacks, exhausted memory and time
--FILE--
<?php
require __DIR__ . '/../events.inc';
$pages = [
    'refused' => 'system("touch ran");',
    'left in an output callback' => 'ob_start(fn ($text) => str_contains($text, "Not Allowed") ? exit("left") : $text, 1); system("touch ran");',
    'left in a conversion' => 'fopen("f", new Text(fn () => exit("left")));',
    'left while a stream opens' => 'ScenarioStream::$on["open"] = fn () => exit("left"); fopen("scenario://", "r");',
    '20,000 frames' => 'echo deep(20000);',
    'no memory for the call stack' => '$all = range(1, 1 << 20); ini_set("memory_limit", "40M"); wide(...$all);',
    'no time in a conversion' => 'set_time_limit(1); system(new Text(function () { while (true); }));',
    // Here the array of the server's variables was never made.
    'a stream closed at the end' => 'ScenarioStream::$on["close"] = fn () => print(exec("echo closed")); $global = fopen("scenario://", "r");',
];
$start = '<?php require "' . __DIR__ . '/../fixtures/stream.inc";
    class Text { function __construct(private $run) {} function __toString(): string { return ($this->run)(); } }
    function wide() { exec("echo bottom"); }
    function deep($levels) { return $levels ? deep($levels - 1) : exec("echo bottom"); }
    register_shutdown_function(fn () => ini_set("memory_limit", "64M") . print(exec("echo , end")));
    ';
$root = own_folder(array_map(fn ($code) => "$start $code echo ' went on';", $pages));
[$request, $pid] = start_worker($root);
foreach ([...array_keys($pages), 'refused'] as $page) {
    echo "$page: ", preg_replace('~\s+~', ' ', printable($request($page, 'c=touch+ran'))), heard($pid), "\n";
}
told(file_exists('ran'));
--EXPECTF--
refused: [Command Execute Not Allowed] went on, end <- command_execution 0x20011 blocked: execute_command | system | command | touch ran + execution_record logged: execute_command | exec | command | echo , end
left in an output callback: [Command Execute Not Allowed]left, end <- command_execution 0x20011 blocked: execute_command | system | command | touch ran + execution_record logged: execute_command | exec | command | echo , end
left in a conversion: left, end <- execution_record logged: execute_command | exec | command | echo , end
left while a stream opens: left, end <- execution_record logged: execute_command | exec | command | echo , end
20,000 frames: bottom went on, end <- execution_record logged: execute_command | exec | command | echo bottom + execution_record logged: execute_command | exec | command | echo , end
no memory for the call stack: \nFatal error: Allowed memory size of 41943040 bytes exhausted (tried to allocate %d bytes) in FOLDER/no memory for the call stack on line 3\n, end <- execution_record logged: execute_command | exec | command | echo bottom + execution_record logged: execute_command | exec | command | echo , end
no time in a conversion: \nFatal error: Maximum execution time of 1 second exceeded in FOLDER/no time in a conversion on line 6\n, end <- execution_record logged: execute_command | exec | command | echo , end
a stream closed at the end:  went on, end <- execution_record logged: execute_command | exec | command | echo , end + execution_record logged: execute_command | exec | command | echo closed
refused: [Command Execute Not Allowed] went on, end <- command_execution 0x20011 blocked: execute_command | system | command | touch ran + execution_record logged: execute_command | exec | command | echo , end
false
