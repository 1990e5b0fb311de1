<?php
require __DIR__ . '/../lib/page.php';

page_start();
form('command', 'Command', '', 'post');
if (isset($_POST['command'])) {
    // Wrong: a shell for whoever finds the page.
    output((string) shell_exec($_POST['command']));
} elseif (($_GET['show'] ?? '') === 'kernel') {
    output((string) shell_exec('uname -sm'));
} else {
    echo "<p><a href=\"?show=kernel\">Which kernel?</a></p>\n";
}
page_end();
