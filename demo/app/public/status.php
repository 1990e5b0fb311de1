<?php
require __DIR__ . '/../lib/page.php';

page_start();
$fact = $_GET['fact'] ?? 'arch';
form('fact', 'Fact (arch, nproc)', $fact);
// Wrong: the name of the fact is the name of the program.
output((string) shell_exec('env ' . $fact));
page_end();
