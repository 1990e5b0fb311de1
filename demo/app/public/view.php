<?php
require __DIR__ . '/../lib/page.php';
require __DIR__ . '/../lib/objects.php';

page_start();
$state = $_GET['state'] ?? base64_encode(serialize(['sort' => 'name', 'rows' => 20]));
// Wrong: unserialize brings any class of the application to life, and runs its
// magic methods with the visitor's values.
$view = unserialize(base64_decode($state));
if (is_array($view) && isset($view['sort'])) {
    echo '<p>Sorted by ', text((string) $view['sort']), ', ', (int) $view['rows'], " rows.</p>\n";
    $preview = new Preview();
    unset($preview);
} elseif ($view instanceof Workspace) {
    echo '<p>Workspace on ', text($view->machine), ".</p>\n";
} else {
    echo "<p>No view.</p>\n";
}
page_end();
