<?php
require __DIR__ . '/../lib/page.php';

page_start();
chdir(__DIR__ . '/..');
$file = $_GET['file'] ?? 'templates/weekly.php';
form('file', 'Template', $file);
// Wrong: any file, or any address, becomes part of the program.
include $file;
page_end();
