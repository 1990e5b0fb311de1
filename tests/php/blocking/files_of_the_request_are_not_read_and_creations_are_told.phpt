--TEST--
A file whose name is in a parameter is not read; every creation is told by its destination
--GET--
file=text.txt&path=x/secret.txt/y
--COOKIE--
c=cookie.txt
--FILE--
<?php
require __DIR__ . '/../events.inc';
$folder = own_folder(['text.txt' => 'text', 'secret.txt' => 'secret', 'cookie.txt' => 'cookie', 'other' => 'other']);
told(file_get_contents($_GET['file']), file_get_contents('secret.txt', false, stream_context_create()));
told(fopen($_GET['file'], 'r'), fopen($_GET['file'], 'r+'), fopen($_GET['file'], 'wr'));
// Untouched: built around a parameter, of a cookie, not watched.
told(file_get_contents("$folder/$_GET[file]"), file_get_contents(filename: 'other', offset: 1, length: 3),
    file_get_contents($_COOKIE['c']), fgets(fopen("./$_GET[file]", 'rb')), file($_GET['file']));
told(copy('other', 'copy.txt'), rename('copy.txt', 'renamed.txt'));
told(file_put_contents($_GET['file'], ['one ', 'two'], LOCK_EX), file_put_contents('text.txt', ' three', FILE_APPEND));
told(fwrite(fopen('w.txt', 'w'), 'w'), fwrite(fopen('ab.txt', 'ab'), 'ab'), fopen('x.txt', 'x'), @fopen('x.txt', 'x'));
told(@copy('missing', 'nowhere/file'), move_uploaded_file('other', 'moved.txt'));
told(file('text.txt'), file('renamed.txt'), file('w.txt'), file('ab.txt'), glob('[!acs]*'));
echo request_field('stack_trace'), request_field('upload_file_name');
--EXPECT--
[Command][Command]false, false <- file_read blocked: file_get_contents | text.txt
    + file_read blocked: file_get_contents | secret.txt
[Command][Command][Command]false, false, false <- file_read blocked: fopen (3 times) | text.txt
"text", "the", "cookie", "text", ["text"]
true, true <- file_create logged: copy | copy.txt + file_create logged: rename | renamed.txt
7, 6 <- file_create logged: file_put_contents (2 times) | text.txt
1, 2, resource (stream), false <- file_create logged: fopen | w.txt + file_create logged: fopen | ab.txt
    + file_create logged: fopen (2 times) | x.txt
false, false <- file_create logged: copy | nowhere/file + file_create logged: move_uploaded_file | moved.txt
["one two three"], ["other"], ["w"], ["ab"], ["other","renamed.txt","text.txt","w.txt","x.txt"]
move_uploaded_file(other, moved.txt)
