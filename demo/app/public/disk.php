<?php
require __DIR__ . '/../lib/page.php';

page_start();
$folder = $_GET['folder'] ?? 'handbook';
form('folder', 'Folder', $folder);
// Wrong: neither quoted nor checked, so it can leave the folder and the command.
$pipe = popen('du -sb ../files/' . $folder, 'r');
if (is_resource($pipe)) {
    output((string) stream_get_contents($pipe));
    pclose($pipe);
}
page_end();
