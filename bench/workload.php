<?php
// One workload of the benchmark: prints the nanoseconds it took, the empty loop
// included. bench/run.php says which modules are loaded. BENCH_NAME, BENCH_COUNT
// and BENCH_DEPTH in the environment say what to run, how often, and under how
// many calls.

function work(string $name, int $count): int
{
    $constant = 'included.php'; // shorter than the values, so that each of them is searched
    $tainted = $_GET['path'] ?? '';
    $database = $name === 'query' ? new PDO('sqlite::memory:') : null;
    $handle = $name === 'URL on a cURL handle' ? curl_init() : null;
    if ($name === 'script') {
        require_once __DIR__ . '/script.php';
        whole_script(); // once to warm up
    }

    $start = hrtime(true);
    switch ($name) {
        case 'script':
            for ($i = 0; $i < $count; $i++) {
                whole_script();
            }
            break;
        case 'loop':
            for ($i = 0; $i < $count; $i++) {
            }
            break;
        case 'internal call':
            for ($i = 0; $i < $count; $i++) {
                abs(-1);
            }
            break;
        case 'eval: one event':
            for ($i = 0; $i < $count; $i++) {
                eval('$x = 1;');
            }
            break;
        case 'include':
            for ($i = 0; $i < $count; $i++) {
                include $constant;
            }
            break;
        case 'query':
            for ($i = 0; $i < $count; $i++) {
                $database->query('select 1');
            }
            break;
        case 'URL on a cURL handle':
            for ($i = 0; $i < $count; $i++) {
                curl_setopt($handle, CURLOPT_URL, 'http://127.0.0.1/status');
            }
            break;
        case 'shell command: one event':
            for ($i = 0; $i < $count; $i++) {
                shell_exec('true');
            }
            break;
        case 'read':
            for ($i = 0; $i < $count; $i++) {
                file_get_contents($constant);
            }
            break;
        case 'tainted read: one event':
            for ($i = 0; $i < $count; $i++) {
                file_get_contents($tainted);
            }
            break;
        default:
            throw new Exception("no workload '$name'");
    }
    return hrtime(true) - $start;
}

function at_depth(int $depth): int
{
    return $depth > 1 ? at_depth($depth - 1) : work($_SERVER['BENCH_NAME'], (int)$_SERVER['BENCH_COUNT']);
}

echo at_depth((int)$_SERVER['BENCH_DEPTH']), "\n";
