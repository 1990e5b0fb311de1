<?php
require __DIR__ . '/../lib/page.php';

page_start();
$name = basename($_GET['name'] ?? 'welcome');
form('name', 'Document', $name);
// Wrong: links of the first release, which name a whole path, still work.
$path = $_GET['path'] ?? "../files/handbook/$name.txt";
output((string) file_get_contents($path));
page_end();
