<?php
require __DIR__ . '/../lib/page.php';

page_start();
echo "<dl>\n";
foreach (array_slice(PAGES, 1) as $file => [$title, $purpose]) {
    echo "<dt><a href=\"$file\">", text($title), '</a></dt><dd>', text($purpose), "</dd>\n";
}
echo "</dl>\n";
page_end();
