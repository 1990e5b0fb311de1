<?php
// Measures what vorgate costs and prints one table: instructions (counted by
// callgrind) and wall time for each operation, under no module, under a module
// that hooks the same places and does nothing, and under vorgate with the agent
// reporting. Called by bench/run.sh, which puts the agent in its place.
//
//   run.php BUILD_DIR WORK_DIR

[, $build, $work] = $argv;

// Rows: the operation, how often it runs for the wall time, and the form fields of
// the request (their number, and the size of each). The instructions are counted
// over a fraction of the runs: they do not vary.
const ROWS = [
    ['internal call', 10_000_000, 20, 40],
    ['eval', 100_000, 20, 40],
    ['include', 20_000, 20, 40],
    ['query', 100_000, 20, 40],
    ['shell command', 400, 20, 40],
    ['tainted read', 5_000, 20, 40],
    ['read', 100_000, 0, 40],
    ['read', 100_000, 20, 40],
    ['read', 100_000, 200, 40],
    ['read', 20_000, 2000, 40],
    ['read', 400, 1, 10_000_000],
];
const ROUNDS = 5;

$modules = [
    'no module' => [],
    'do-nothing' => ['-d', "extension=$build/do_nothing.so"],
    'vorgate' => ['-d', "extension=$build/vorgate.so"],
];

/** Runs a workload and answers what it printed, or what callgrind counted. */
function measure(array $row, array $options, bool $instructions): float
{
    global $work;
    [$name, $count, $fields, $size] = $row;
    $form = [];
    for ($i = 0; $i < $fields; $i++) {
        $form["field$i"] = str_repeat('an ordinary value ', intdiv($size, 18)) . $i;
    }
    $length = file_put_contents("$work/form", http_build_query($form));
    $environment = [
        'PATH' => getenv('PATH'),
        'REDIRECT_STATUS' => '200',
        'REQUEST_METHOD' => 'POST',
        'CONTENT_TYPE' => 'application/x-www-form-urlencoded',
        'CONTENT_LENGTH' => (string)$length,
        'QUERY_STRING' => http_build_query(['path' => __DIR__ . '/included.inc']),
        'REQUEST_URI' => '/workload.php',
        'SERVER_NAME' => 'bench',
        'REMOTE_ADDR' => '127.0.0.1',
        'SCRIPT_FILENAME' => __DIR__ . '/workload.php',
        'BENCH_NAME' => $name,
        'BENCH_COUNT' => (string)$count,
        'VORGATE_AGENT_CONFIG' => "$work/agent.toml",
    ];
    $command = [getenv('BENCH_PHP_CGI') ?: 'php-cgi', '-n', '-d', 'extension=pdo.so', '-d', 'extension=pdo_sqlite.so',
        '-d', 'max_execution_time=0', '-d', 'max_input_vars=5000', '-d', 'post_max_size=100M', '-d', 'html_errors=0',
        ...$options];
    if ($instructions) {
        $command = ['valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', ...$command];
    }
    $process = proc_open($command, [['file', "$work/form", 'r'], ['pipe', 'w'], ['file', "$work/errors.log", 'a']],
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
function instructions(array $row, array $options): float
{
    [$name, $count, $fields, $size] = $row;
    $less = max(1, intdiv($count, 200));
    return (measure([$name, 3 * $less, $fields, $size], $options, true)
        - measure([$name, $less, $fields, $size], $options, true)) / (2 * $less);
}

function median(array $values): float
{
    sort($values);
    return $values[intdiv(count($values), 2)];
}

function print_row(string $name, string $unit, array $values): void
{
    [$none, $nothing, $vorgate] = $values;
    printf("%-32s %-12s %10.1f %11.1f %11.1f %9.3f\n", $name, $unit, $none, $nothing, $vorgate, $vorgate / $nothing);
}

printf("%-32s %-12s %10s %11s %11s %9s\n", 'operation', 'unit', ...array_keys($modules), ...['ratio']);
foreach (ROWS as $row) {
    [$name, $count, $fields, $size] = $row;
    // The loop around an internal call costs about as much as the call.
    $empty = $name === 'internal call' ? ['loop', $count, $fields, $size] : null;
    $counted = $times = [];
    foreach (array_values($modules) as $i => $options) {
        $counted[$i] = instructions($row, $options) - ($empty ? instructions($empty, $options) : 0);
    }
    for ($round = 0; $round < ROUNDS; $round++) {
        foreach (array_values($modules) as $i => $options) {
            $time = measure($row, $options, false) - ($empty ? measure($empty, $options, false) : 0);
            $times[$i][] = $time / $count;
        }
    }
    $title = sprintf('%s, %d x %s B', $name, $fields, $size < 1e6 ? $size : sprintf('%dM', $size / 1e6));
    print_row($title, 'instructions', $counted);
    print_row('', 'ns (median)', array_map('median', $times));
}
