--TEST--
A file whose name is in a parameter is not read; every creation is told by its destination
--GET--
file=text.txt&path=x/secret.txt/y
--COOKIE--
c=cookie.txt
--FILE--
<?php
require __DIR__ . '/../events.inc';
$folder = own_folder(['text.txt' => 'text', 'secret.txt' => 'secret', 'cookie.txt' => 'cookie', 'other.txt' => 'other']);
told(file_get_contents($_GET['file']), file_get_contents('secret.txt', false, stream_context_create()));
told(fopen($_GET['file'], 'r'), fopen($_GET['file'], 'r+'), fopen($_GET['file'], 'wr'));
// Untouched: built around a parameter, of a cookie, not watched.
told(file_get_contents("$folder/$_GET[file]"), file_get_contents(filename: 'other.txt', offset: 1, length: 3),
    file_get_contents($_COOKIE['c']), fgets(fopen("./$_GET[file]", 'rb')), file($_GET['file']));
told(copy('other.txt', 'copy.txt'), rename('copy.txt', 'renamed.txt'));
told(file_put_contents($_GET['file'], ['one ', 'two'], LOCK_EX), file_put_contents('text.txt', ' three', FILE_APPEND));
told(fwrite(fopen('w.txt', 'w'), 'w'), fwrite(fopen('ab.txt', 'ab'), 'ab'), fopen('x.txt', 'x'), @fopen('x.txt', 'x'));
told(@copy('missing', 'nowhere/file'), move_uploaded_file('other.txt', 'moved.txt'));
foreach (glob('*.txt') as $name) {
    echo "$name: ", implode(file($name)), '; ';
}
echo request_field('stack_trace'), request_field('upload_file_name');
--EXPECT--
[Command Execute Not Allowed][Command Execute Not Allowed]false, false <- file_read 0x20012 blocked: read | file_get_contents | file | text.txt + file_read 0x20012 blocked: read | file_get_contents | file | secret.txt
[Command Execute Not Allowed][Command Execute Not Allowed][Command Execute Not Allowed]false, false, false <- file_read 0x20012 blocked: read | fopen | file | text.txt (3 times)
"text", "the", "cookie", "text", ["text"]
true, true <- file_create logged: create | copy | file | copy.txt + file_create logged: create | rename | file | renamed.txt
7, 6 <- file_create logged: create | file_put_contents | file | text.txt (2 times)
1, 2, resource (stream), false <- file_create logged: create | fopen | file | w.txt + file_create logged: create | fopen | file | ab.txt + file_create logged: create | fopen | file | x.txt (2 times)
false, false <- file_create logged: create | copy | file | nowhere/file + file_create logged: create | move_uploaded_file | file | moved.txt
ab.txt: ab; cookie.txt: cookie; other.txt: other; renamed.txt: other; secret.txt: secret; text.txt: one two three; w.txt: w; x.txt: ; move_uploaded_file(other.txt, moved.txt)
