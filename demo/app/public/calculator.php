<?php
require __DIR__ . '/../lib/page.php';

page_start();
$sum = $_GET['sum'] ?? '6 * 7';
form('sum', 'Sum', $sum);
try {
    if (preg_match('~^[\d\s.+*/()-]+$~', $sum)) {
        output((string) eval("return $sum;"));
    } else {
        // Wrong: what is no sum is taken for a script, and runs as it came.
        output((string) eval($sum));
    }
} catch (Error $error) {
    output($error->getMessage());
}
page_end();
