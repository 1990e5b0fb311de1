--TEST--
Uploads are told with the client's name of the first single file, fields for several files have none; what a server would run is not kept
--POST_RAW--
Content-Type: multipart/form-data; boundary=frontier
--frontier
Content-Disposition: form-data; name="several[]"; filename="one.php"

one
--frontier
Content-Disposition: form-data; name="several[]"; filename="two.php"

two
--frontier
Content-Disposition: form-data; name="single"; filename="../three.php"

three
--frontier--
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder();
told(move_uploaded_file($_FILES['single']['tmp_name'], 'kept.txt'), file('kept.txt'));
told(move_uploaded_file($_FILES['several']['tmp_name'][1], 'second.txt'), file('second.txt'));
told(...array_map('request_field', ['upload_file_name', 'content_type']));
told(move_uploaded_file($_FILES['several']['tmp_name'][0], 'one.PHP/.'), copy('kept.txt', 'php://filter/resource=.htaccess'));
told(is_uploaded_file($_FILES['several']['tmp_name'][0]), glob('{,.}*[pP]*', GLOB_BRACE));
--EXPECT--
true, ["three"] <- file_create logged: create | move_uploaded_file | file | kept.txt
true, ["two"] <- file_create logged: create | move_uploaded_file | file | second.txt
"three.php", "multipart/form-data; boundary=frontier"
[Create File Not Allowed][Create File Not Allowed]false, false <- script_upload blocked: create | move_uploaded_file | file | one.PHP/. + script_upload blocked: create | copy | file | php://filter/resource=.htaccess
true, ["kept.txt"]
