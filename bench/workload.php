<?php
// One workload of the benchmark: prints the nanoseconds it took, the empty loop
// included. bench/run.php says which modules are loaded.
// BENCH_NAME and BENCH_COUNT in the environment say what to run, and how often.

$name = $_SERVER['BENCH_NAME'];
$count = (int)$_SERVER['BENCH_COUNT'];

if ($name === 'query') {
    $database = new PDO('sqlite::memory:');
}
$included = __DIR__ . '/included.php';
$constant = __DIR__ . '/included.php';
$tainted = $_GET['path'] ?? '';

$start = hrtime(true);
switch ($name) {
    case 'loop':
        for ($i = 0; $i < $count; $i++) {
        }
        break;
    case 'internal call':
        for ($i = 0; $i < $count; $i++) {
            abs(-1);
        }
        break;
    case 'eval':
        for ($i = 0; $i < $count; $i++) {
            eval('$x = 1;');
        }
        break;
    case 'include':
        for ($i = 0; $i < $count; $i++) {
            include $included;
        }
        break;
    case 'query':
        for ($i = 0; $i < $count; $i++) {
            $database->query('select 1');
        }
        break;
    case 'shell command':
        for ($i = 0; $i < $count; $i++) {
            shell_exec('true');
        }
        break;
    case 'read':
        for ($i = 0; $i < $count; $i++) {
            file_get_contents($constant);
        }
        break;
    case 'tainted read':
        for ($i = 0; $i < $count; $i++) {
            file_get_contents($tainted);
        }
        break;
    default:
        throw new Exception("no workload '$name'");
}
echo hrtime(true) - $start, "\n";
