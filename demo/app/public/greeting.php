<?php
require __DIR__ . '/../lib/page.php';

page_start();
// The visitor's taste is kept in a cookie: the function, a comma and its argument.
[$function, $greeting] = explode(',', ($_COOKIE['taste'] ?? 'ucwords,good morning') . ',');
echo '<pre>';
// Wrong: a cookie chooses the function.
echo text((string) $function($greeting));
echo "</pre>\n";
page_end();
