<?php
require __DIR__ . '/../lib/page.php';

page_start();
ob_start();
if (isset($_GET['show'])) {
    // Wrong: the visitor's text becomes code.
    eval("echo {$_GET['show']};");
} else {
    phpinfo(INFO_GENERAL);
}
$shown = strip_tags((string) ob_get_clean());
output(preg_match('/PHP Version\W*[\d.]+/', $shown, $line) ? $line[0] : $shown);
page_end();
