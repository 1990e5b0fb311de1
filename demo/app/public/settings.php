<?php
require __DIR__ . '/../lib/page.php';
require __DIR__ . '/../lib/objects.php';

page_start();
$settings = $_POST['settings'] ?? "sort: name\nrows: 20\n";
echo '<form method="post"><textarea name="settings" rows="6">', text($settings),
    "</textarea><p><button>Import</button></p></form>\n";
// Wrong: with yaml.decode_php on, a document brings objects to life.
$imported = yaml_parse($settings);
if (is_array($imported)) {
    echo '<p>', count($imported), " settings imported.</p>\n";
} elseif ($imported instanceof Workspace) {
    echo '<p>Workspace on ', text($imported->machine), ".</p>\n";
} else {
    echo "<p>No settings.</p>\n";
}
page_end();
