<?php
require __DIR__ . '/../lib/page.php';

page_start();
echo '<form method="post" enctype="multipart/form-data"><input type="file" name="file"> ',
    "<button>Keep</button></form>\n";
$file = $_FILES['file'] ?? null;
if (is_string($file['name'] ?? null) && $file['error'] === UPLOAD_ERR_OK) {
    $name = basename($file['name']);
    // Wrong: any kind of file is kept under the name that it came with.
    $kept = move_uploaded_file($file['tmp_name'], keeping_folder() . "/$name");
    echo '<p>', text($name), $kept ? " kept, {$file['size']} bytes" : ' not kept', ".</p>\n";
}
page_end();
