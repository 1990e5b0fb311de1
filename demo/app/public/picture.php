<?php
require __DIR__ . '/../lib/page.php';

page_start();
$picture = $_GET['picture'] ?? 'logo';
form('picture', 'Name or address', $picture);
$curl = curl_init();
// Wrong: the visitor's address is visited from here, where more can be reached.
$url = str_contains($picture, ':') ? $picture : getenv('TOOLBOX_INTRANET') . "/pictures/$picture.svg";
curl_setopt($curl, CURLOPT_URL, $url);
curl_setopt($curl, CURLOPT_RETURNTRANSFER, true);
curl_setopt($curl, CURLOPT_TIMEOUT, 10);
$answer = (string) curl_exec($curl);
if (str_starts_with($answer, '<svg')) {
    echo '<p><img alt="" src="data:image/svg+xml;base64,', base64_encode($answer), '"></p><p>A picture of ',
        strlen($answer), " bytes.</p>\n";
} else {
    output($answer);
}
page_end();
