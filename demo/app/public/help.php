<?php
require __DIR__ . '/../lib/page.php';

page_start();
// A topic is asked for by its bare name: help.php?holidays
$topic = (string) (array_key_first($_GET) ?? 'holidays');
echo '<pre>';
// Wrong: a parameter's name is the visitor's word as much as its value is.
passthru("printf 'no article yet: %s\\n' " . $topic);
echo "</pre>\n";
page_end();
