--TEST--
Uploads are told with the client's name of the first single file; what a server would run is not kept
--POST_RAW--
Content-Type: multipart/form-data; boundary=frontier
--frontier
Content-Disposition: form-data; name="several[]"; filename="one.php"

one
--frontier
Content-Disposition: form-data; name="single"; filename="../three.php"

three
--frontier--
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder();
told(move_uploaded_file($_FILES['single']['tmp_name'], 'kept.txt'), file('kept.txt'));
told(...array_map('request_field', ['upload_file_name', 'content_type']));
told(move_uploaded_file($_FILES['several']['tmp_name'][0], 'one.PHP/.'));
told(copy('kept.txt', 'php://filter/resource=.htaccess'), glob('{,.}*[pP]*', GLOB_BRACE));
told(move_uploaded_file($_FILES['several']['tmp_name'][0], 'second.txt'), file('second.txt'));
--EXPECT--
true, ["three"] <- file_create logged: move_uploaded_file | kept.txt
"three.php", "multipart/form-data; boundary=frontier"
[Create]false <- script_upload blocked: move_uploaded_file | one.PHP/.
[Create]false, ["kept.txt"] <- script_upload blocked: copy | php://filter/resource=.htaccess
true, ["one"] <- file_create logged: move_uploaded_file | second.txt
