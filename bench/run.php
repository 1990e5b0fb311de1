<?php
// Measures what vorgate costs and prints one table: instructions (counted by
// callgrind) and wall time for each operation, under no module, under a module
// that hooks the same places and does nothing, and under vorgate with the agent
// reporting. Called by bench/run.sh, which puts the agent in its place.
//
//   run.php BUILD_DIR WORK_DIR

[, $build, $work] = $argv;

// Operation => how often it runs for the wall time. The instructions are counted
// over a fraction of that: they do not vary.
const WORKLOADS = [
    'internal call' => 10_000_000,
    'eval' => 200_000,
    'include' => 20_000,
    'query' => 200_000,
    'read' => 100_000,
    'tainted read' => 5_000,
];
const ROUNDS = 5;

$modules = [
    'no module' => [],
    'do-nothing' => ['-d', "extension=$build/do_nothing.so"],
    'vorgate' => ['-d', "extension=$build/vorgate.so"],
];

/** Runs a workload and answers what it printed, or what callgrind counted. */
function measure(string $name, int $count, array $options, bool $instructions): float
{
    global $work;
    $parameters = ['path' => __DIR__ . '/included.inc'];
    for ($i = 1; $i < 20; $i++) {
        $parameters["field$i"] = "an ordinary value of some length, number $i";
    }
    $environment = [
        'PATH' => getenv('PATH'),
        'REDIRECT_STATUS' => '200',
        'REQUEST_METHOD' => 'GET',
        'REQUEST_URI' => '/workload.php',
        'SERVER_NAME' => 'bench',
        'REMOTE_ADDR' => '127.0.0.1',
        'SCRIPT_FILENAME' => __DIR__ . '/workload.php',
        'QUERY_STRING' => http_build_query($parameters),
        'BENCH_NAME' => $name,
        'BENCH_COUNT' => (string)$count,
        'VORGATE_AGENT_CONFIG' => "$work/agent.toml",
    ];
    $command = [getenv('BENCH_PHP_CGI') ?: 'php-cgi', '-n', '-d', 'extension=pdo.so',
        '-d', 'extension=pdo_sqlite.so', '-d', 'max_execution_time=0', '-d', 'html_errors=0', ...$options];
    if ($instructions) {
        $command = ['valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', ...$command];
    }
    $process = proc_open($command, [['file', '/dev/null', 'r'], ['pipe', 'w'], ['file', "$work/errors.log", 'a']],
        $pipes, null, $environment);
    $output = trim(stream_get_contents($pipes[1]));
    if (proc_close($process) !== 0 || preg_match('/^\d+$/m', $output, $time) !== 1) {
        fwrite(STDERR, "bench: the workload '$name' failed: $output (see $work/errors.log)\n");
        exit(1);
    }
    if (!$instructions) {
        return (float)$time[0];
    }
    preg_match_all('/Collected : (\d+)/', file_get_contents("$work/errors.log"), $counts);
    return (float)end($counts[1]);
}

/** Instructions of one operation: start-up cancels out between two counts. */
function instructions(string $name, int $count, array $options): float
{
    $less = max(1, intdiv($count, 200));
    return (measure($name, 3 * $less, $options, true) - measure($name, $less, $options, true)) / (2 * $less);
}

function median(array $values): float
{
    sort($values);
    return $values[intdiv(count($values), 2)];
}

function row(string $name, string $unit, array $values): void
{
    [$none, $nothing, $vorgate] = $values;
    printf("%-14s %-13s %10.1f %11.1f %10.1f %18.3f\n", $name, $unit, $none, $nothing, $vorgate, $vorgate / $nothing);
}

printf("%-14s %-13s %10s %11s %10s %18s\n", 'operation', 'unit', ...array_keys($modules), ...['vorgate/do-nothing']);
$loop = array_values(array_map(fn($options) => instructions('loop', 10_000_000, $options), $modules));
foreach (WORKLOADS as $name => $count) {
    $counted = array_values(array_map(fn($options) => instructions($name, $count, $options), $modules));
    if ($name === 'internal call') {
        $counted = array_map(fn($all, $empty) => $all - $empty, $counted, $loop);
    }
    row($name, 'instructions', $counted);
    $times = array_fill(0, count($modules), []);
    for ($round = 0; $round < ROUNDS; $round++) {
        foreach (array_values($modules) as $i => $options) {
            $empty = $name === 'internal call' ? measure('loop', $count, $options, false) : 0;
            $times[$i][] = (measure($name, $count, $options, false) - $empty) / $count;
        }
    }
    row($name, 'ns, median', array_map('median', $times));
}
