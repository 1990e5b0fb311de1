<?php
require __DIR__ . '/../lib/page.php';

page_start();
$day = $_GET['day'] ?? '2024-02-29';
form('day', 'Date', $day);
$lines = [];
// Wrong: "$(...)" in the date is run by the shell before `date` sees it.
exec('date -u +%A -d ' . $day . ' 2>&1', $lines);
output(implode("\n", $lines));
page_end();
