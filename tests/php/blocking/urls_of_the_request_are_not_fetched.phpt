--TEST--
A URL that is in a parameter is not given to cURL; other URLs and options are untouched
--EXTENSIONS--
curl
--GET--
url=http://127.0.0.1:9/&file=file:///etc/hostname
--FILE--
<?php
require __DIR__ . '/../events.inc';
$curl = curl_init();
told(curl_init($_GET['url']), curl_setopt($curl, CURLOPT_URL, $_GET['url']));
told(curl_setopt($curl, 10002, new SplFileInfo($_GET['file'])), curl_setopt($curl, CURLOPT_URL, $_GET['file']));
told(curl_setopt($curl, CURLOPT_USERAGENT, $_GET['url']),
    curl_setopt_array($curl, [CURLOPT_RETURNTRANSFER => true, CURLOPT_HTTPHEADER => ['A: b']]),
    curl_setopt($curl, CURLOPT_URL, 'file:///etc/./hostname'), curl_exec($curl) === implode(file('/etc/hostname')));
--EXPECT--
[Command][Command]false, false <- request_forgery blocked: curl_ssrf (2 times) | http://127.0.0.1:9/
[Command][Command]false, false <- request_forgery blocked: curl_ssrf (2 times) | file:///etc/hostname
true, true, true, true
