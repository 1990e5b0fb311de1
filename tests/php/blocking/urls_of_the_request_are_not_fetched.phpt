--TEST--
A URL that is in a parameter is not given to cURL; other URLs and options are untouched
--EXTENSIONS--
curl
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder(['page.txt' => 'page', 'fetch.php' => '<?php
    $url = $_GET["url"];
    $results[] = curl_init($url);
    $curl = curl_init();
    $results[] = curl_setopt($curl, CURLOPT_URL, $url);
    $results[] = curl_setopt($curl, 10002, new SplFileInfo($url));
    $results[] = curl_setopt($curl, CURLOPT_USERAGENT, $url);
    $results[] = curl_setopt_array($curl, [CURLOPT_RETURNTRANSFER => true, CURLOPT_HTTPHEADER => ["A: b"]]);
    curl_setopt($curl, CURLOPT_URL, "$_GET[base]./page.txt");
    $results[] = curl_exec($curl);
    echo json_encode($results);']);
[$files] = start_php_server($root);
[$request, $pid] = start_worker($root);
foreach (["{$files}page.txt", "file://$root/page.txt"] as $url) {
    $page = $request('fetch.php', http_build_query(['url' => $url, 'base' => $files])) . heard($pid) . "\n";
    echo str_replace($files, 'FILES/', $page);
}
--EXPECT--
[Command Execute Not Allowed][Command Execute Not Allowed][Command Execute Not Allowed][false,false,false,true,true,"page"] <- request_forgery 0x2000e blocked: connect | curl_ssrf | connect | FILES/page.txt (3 times)
[Command Execute Not Allowed][Command Execute Not Allowed][Command Execute Not Allowed][false,false,false,true,true,"page"] <- request_forgery 0x2000e blocked: read | curl_ssrf | read | file://FOLDER/page.txt (3 times)
