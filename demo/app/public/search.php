<?php
require __DIR__ . '/../lib/page.php';

page_start();
$name = $_GET['name'] ?? '';
$room = $_GET['room'] ?? '';
form('name', 'Name', $name);
form('room', 'Room', $room);
$staff = new PDO('sqlite::memory:', options: [PDO::ATTR_ERRMODE => PDO::ERRMODE_SILENT]);
$staff->exec((string) file_get_contents(__DIR__ . '/../data/staff.sql'));
if ($room === '') {
    $condition = 'name LIKE ' . $staff->quote("%$name%");
} else {
    // Wrong: a number needs no quotes, but nobody has made sure that it is one.
    $condition = "room = $room";
}
$rows = $staff->query("SELECT name, room FROM staff WHERE listed = 1 AND $condition");
foreach ($rows ?: [] as [$person, $place]) {
    echo '<p>', text("$person, room $place"), "</p>\n";
}
page_end();
