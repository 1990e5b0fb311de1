--TEST--
Uploads are told with the client's name of the first single file; fields for several files have none
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
--frontier
Content-Disposition: form-data; name="note"

text
--frontier--
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder();
show(move_uploaded_file($_FILES['single']['tmp_name'], 'kept.txt'));
show(move_uploaded_file($_FILES['several']['tmp_name'][1], 'second.txt'));
echo implode(file('kept.txt')), implode(file('second.txt')), "\n";
events();
echo request_field('upload_file_name'), "\n", request_field('content_type'), "\n", request_field('query_string'), "\n";
?>
--EXPECT--
true
true
threetwo
file_create logged: create | move_uploaded_file | file | kept.txt
file_create logged: create | move_uploaded_file | file | second.txt
three.php
multipart/form-data; boundary=frontier
note=text
