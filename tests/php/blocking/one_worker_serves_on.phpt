--TEST--
One worker serves on after refusals, exits, deep stacks, exhausted memory and time
--FILE--
<?php
require __DIR__ . '/../events.inc';
$pages = [
    'refused' => 'system("touch ran");',
    'left in an output callback' => '
        ob_start(fn ($text) => str_contains($text, "Not Allowed") ? exit("left") : $text, 1);
        system("touch ran");',
    'left in a conversion' => 'fopen("f", new Text(fn () => exit("left")));',
    'left while a stream opens' => 'ScenarioStream::$on["open"] = fn () => exit("left"); fopen("scenario://", "r");',
    '20,000 frames' => 'echo deep(20000);',
    'no memory for the call stack' => '$all = range(1, 1 << 20); ini_set("memory_limit", "40M"); wide(...$all);',
    'no time in a conversion' => 'set_time_limit(1); system(new Text(function () { while (true); }));',
    // Here the array of the server's variables was never made.
    'a stream closed at the end' => 'ScenarioStream::$on["close"] = fn () => print(exec("echo closed"));
        $global = fopen("scenario://", "r");',
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
    $shown = preg_replace(['~(exhausted|exceeded) .*~', '~\s+~'], ['$1', ' '], $request($page, 'c=touch+ran'));
    show("$page: $shown", $pid);
}
told(file_exists('ran'));
--EXPECT--
refused: [Command] went on, end <- command_execution blocked: system | touch ran
    + execution_record logged: exec | echo , end
left in an output callback: [Command]left, end <- command_execution blocked: system | touch ran
    + execution_record logged: exec | echo , end
left in a conversion: left, end <- execution_record logged: exec | echo , end
left while a stream opens: left, end <- execution_record logged: exec | echo , end
20,000 frames: bottom went on, end <- execution_record logged: exec | echo bottom
    + execution_record logged: exec | echo , end
no memory for the call stack:  Fatal error: Allowed memory size of 41943040 bytes exhausted , end
    <- execution_record logged: exec | echo bottom + execution_record logged: exec | echo , end
no time in a conversion:  Fatal error: Maximum execution time of 1 second exceeded , end
    <- execution_record logged: exec | echo , end
a stream closed at the end:  went on, end <- execution_record logged: exec | echo , end
    + execution_record logged: exec | echo closed
refused: [Command] went on, end <- command_execution blocked: system | touch ran
    + execution_record logged: exec | echo , end
false
