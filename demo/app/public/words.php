<?php
require __DIR__ . '/../lib/page.php';

page_start();
$text = $_POST['text'] ?? '';
$unit = $_POST['unit'] ?? 'w';
echo '<form method="post"><textarea name="text" rows="6">', text($text),
    "</textarea><p>Count <select name=\"unit\"><option value=\"w\">words</option>",
    "<option value=\"l\">lines</option></select> <button>Go</button></p></form>\n";
// The text itself only ever becomes data on the command's input.
// Wrong: the unit becomes part of the command, and nobody checks it against the list.
$process = proc_open('wc -' . $unit, [['pipe', 'r'], ['pipe', 'w']], $pipes);
if (is_resource($process)) {
    fwrite($pipes[0], $text);
    fclose($pipes[0]);
    output((string) stream_get_contents($pipes[1]));
    proc_close($process);
}
page_end();
