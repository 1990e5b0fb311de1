<?php
// Measures what vorgate costs and prints one table: instructions (counted by
// callgrind) and wall time, under no module, under a module that hooks the same
// places and does nothing, and under vorgate with the agent reporting. Called by
// bench/run.sh, which puts the agent and the web servers in their places.
//
//   run.php BUILD_DIR WORK_DIR ROUNDS PORT PORT PORT
//
// At the ports are the three web servers, in the order of the columns. All figures go to WORK_DIR/results.json as well.

[, $build, $work, $rounds] = $argv;
$ports = array_slice($argv, 4);

// Rows: the workload, how often it runs for the wall time, the form fields of the
// request (their number, and the size of each), the depth of the call stack, and
// what is asked of vorgate over the do-nothing module: [measure, kind, limit].
// The instructions are counted over a fraction of the runs: they do not vary.
const ROWS = [
    ['script', 1, 20, 40, 1, ['ms', 'ratio', 1.01]],
    ['internal call', 10_000_000, 20, 40, 1, ['instructions', 'ratio', 1.10]],
    ['read', 50_000, 20, 40, 1, ['us', 'more', 1]],
    ['query', 50_000, 20, 40, 1, ['us', 'more', 3]],
    ['URL on a cURL handle', 50_000, 20, 40, 1, null],
    ['include', 20_000, 20, 40, 1, null],
    ['eval: one event', 20_000, 20, 40, 1, null],
    ['shell command: one event', 400, 20, 40, 1, null],
    ['tainted read: one event', 5_000, 20, 40, 1, null],
    ['tainted read: one event', 5_000, 20, 40, 100, null],
    ['tainted read: one event', 5_000, 20, 40, 10_000, null],
    ['read', 50_000, 0, 40, 1, null],
    ['read', 20_000, 200, 40, 1, null],
    ['read', 5_000, 2000, 40, 1, null],
    ['read', 20_000, 1, 10_000, 1, null],
    ['read', 5_000, 1, 100_000, 1, null],
    ['read', 1_000, 1, 1_000_000, 1, null],
    ['read', 200, 1, 10_000_000, 1, null],
    ['read', 50_000, 20, 40, 100, null],
    ['read', 50_000, 20, 40, 10_000, null],
];
// Seconds of load on each page in each round.
const PAGE_SECONDS = 5;

$modules = [
    'no module' => [],
    'do-nothing' => ['-d', "extension=$build/do_nothing.so"],
    'vorgate' => ['-d', "extension=$build/vorgate.so"],
];

function fail(string $text): never
{
    fwrite(STDERR, "bench: $text\n");
    exit(1);
}

/** Runs a workload and answers the nanoseconds it printed, or what callgrind counted. */
function measure(array $row, array $options, bool $instructions): float
{
    global $work;
    [$name, $count, $fields, $size, $depth] = $row;
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
        'BENCH_DEPTH' => (string)$depth,
        'VORGATE_AGENT_CONFIG' => "$work/agent.toml",
    ];
    $command = [getenv('BENCH_PHP_CGI') ?: 'php-cgi', '-n', '-d', 'extension=pdo.so', '-d', 'extension=pdo_sqlite.so',
        '-d', 'extension=curl.so', '-d', 'max_execution_time=0', '-d', 'max_input_vars=5000',
        '-d', 'post_max_size=100M', '-d', 'html_errors=0', ...$options];
    if ($instructions) {
        $command = ['valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', ...$command];
    }
    $process = proc_open($command, [['file', "$work/form", 'r'], ['pipe', 'w'], ['file', "$work/errors.log", 'w']],
        $pipes, null, $environment);
    $output = trim(stream_get_contents($pipes[1]));
    if (proc_close($process) !== 0 || preg_match('/^\d+$/m', $output, $time) !== 1) {
        fail("the workload '$name' failed: $output (see $work/errors.log)");
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
    $less = max(1, intdiv($row[1], 200));
    [$more, $fewer] = [array_replace($row, [1 => 3 * $less]), array_replace($row, [1 => $less])];
    return (measure($more, $options, true) - measure($fewer, $options, true)) / (2 * $less);
}

function median(array $values): float
{
    sort($values);
    return $values[intdiv(count($values), 2)];
}

/** Loads a page over one connection: [p50, p99] in microseconds, and requests a second. */
function load_page(string $port): array
{
    $command = ['wrk', '-t1', '-c1', '-d' . PAGE_SECONDS, '-s', __DIR__ . '/page/figures.lua',
        "http://127.0.0.1:$port/?utm_source=letter&utm_medium=mail&utm_campaign=autumn"];
    $process = proc_open($command, [1 => ['pipe', 'w']], $pipes);
    $output = stream_get_contents($pipes[1]);
    if (proc_close($process) !== 0 || sscanf(strrchr("\n" . trim($output), "\n"), "\n%f %f %f", $a, $b, $c) !== 3) {
        fail("the page at port $port was not served: $output");
    }
    return ['p50' => $a, 'p99' => $b, 'requests a second' => $c];
}

$results = [];
$missed = 0;

/** One line of the table: three values, and the target if the measure has one. */
function print_row(string $title, string $unit, array $values, ?array $target = null): void
{
    global $results, $missed, $rounds;
    [$none, $nothing, $vorgate] = $values;
    $verdict = '';
    if ($target !== null && $target[0] === $unit && ($rounds > 1 || $unit === 'instructions')) {
        $figure = $target[1] === 'ratio' ? $vorgate / $nothing : $vorgate - $nothing;
        $missed += $figure > $target[2] ? 1 : 0;
        $verdict = sprintf('%s at most %g: %s', $target[1], $target[2], $figure > $target[2] ? 'MISSED' : 'held');
    }
    printf("%-44s %-18s %11s %11s %11s %9.3f %11s  %s\n", $title, $unit,
        ...array_map(fn ($value) => number_format($value, 1), $values),
        ...[$vorgate / $nothing, number_format($vorgate - $nothing, 1), $verdict]);
    $results[] = ['title' => $title, 'unit' => $unit, 'values' => $values];
}

printf("%-44s %-18s %11s %11s %11s %9s %11s  %s\n", 'operation', 'measure', ...array_keys($modules),
    ...['ratio', 'more', 'target']);
foreach (ROWS as $row) {
    [$name, $count, $fields, $size, $depth, $target] = $row;
    // The loop around an internal call costs about as much as the call.
    $empty = $name === 'internal call' ? array_replace($row, ['loop']) : null;
    $unit = $name === 'script' ? 'ms' : 'us';
    $scale = ($name === 'script' ? 1e6 : 1e3) * $count;
    $counted = $times = [];
    foreach (array_values($modules) as $i => $options) {
        $counted[$i] = instructions($row, $options) - ($empty ? instructions($empty, $options) : 0);
    }
    // What disturbs a run makes it longer and never shorter: the least one counts.
    for ($round = 0; $round < $rounds; $round++) {
        foreach (array_values($modules) as $i => $options) {
            $time = measure($row, $options, false) - ($empty ? measure($empty, $options, false) : 0);
            $times[$i][] = $time / $scale;
        }
    }
    $title = sprintf('%s, %d fields of %s B', $name, $fields, number_format($size))
        . ($depth > 1 ? ', depth ' . number_format($depth) : '');
    print_row($title, 'instructions', $counted, $target);
    print_row('', $unit, array_map('min', $times), $target);
    $results[array_key_last($results)] += array_combine(['workload', 'fields', 'size', 'depth'], [$name, $fields, $size, $depth]);
}

$pages = [];
for ($round = -1; $round < $rounds; $round++) {
    foreach (array_keys(array_values($modules)) as $i) {
        foreach (load_page($ports[$i]) as $measure => $value) {
            if ($round >= 0) { // the first one warms the opcode cache
                $pages[$measure][$i][] = $value;
            }
        }
    }
}
foreach ($pages as $measure => $columns) {
    $unit = $measure === 'requests a second' ? $measure : "$measure, us";
    print_row($measure === 'p50' ? 'front page of WordPress through PHP-FPM' : '', $unit,
        array_map(['p50' => 'min', 'p99' => 'median', 'requests a second' => 'max'][$measure], $columns), ['p50, us', 'ratio', 1.01]);
}
file_put_contents("$work/results.json", json_encode($results, JSON_PRETTY_PRINT));
echo $missed === 0 ? "every target that was judged is held\n" : "$missed targets are missed\n";
