<?php
require __DIR__ . '/../lib/page.php';

page_start();
$job = $_POST['job'] ?? 'backup';
form('job', 'Job', $job, 'post');
echo '<pre>';
if (str_contains($job, '|')) {
    // Wrong: the form of the first release, "when|command", still works for everybody.
    passthru(explode('|', $job, 2)[1]);
} else {
    passthru("printf 'queued for the night: %s\\n' " . $job);
}
echo "</pre>\n";
page_end();
