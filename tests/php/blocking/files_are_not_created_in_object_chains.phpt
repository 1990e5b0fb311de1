--TEST--
A file is not created below a magic method that unserialize runs
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['source.txt' => 'text']);
class Put { function __wakeup() { show(file_put_contents('put.php', 'x')); } }
class Copy { function __destruct() { show(copy('source.txt', 'copy.php'), rename('source.txt', 'renamed.php')); } }
class Open { function __wakeup() { show(fopen('open.php', 'w'), is_resource(fopen('source.txt', 'r'))); } }
unserialize('O:3:"Put":0:{}');
unserialize('O:4:"Open":0:{}');
unserialize('a:2:{i:0;O:4:"Copy":0:{}i:0;i:1;}');
echo implode(' ', glob('*')), "\n";
events();
?>
--EXPECT--
<br/>Create File Not Allowed @VARNO 2020-2030<br/>false
<br/>Create File Not Allowed @VARNO 2020-2030<br/>false, true
<br/>Create File Not Allowed @VARNO 2020-2030<br/><br/>Create File Not Allowed @VARNO 2020-2030<br/>false, false
source.txt
file_create logged: create | file_put_contents | file | put.php
deserialisation_file_create 0x20008 blocked: create | unserialize(O:3:"Put":0:{})->Put::__wakeup()->file_put_contents(put.php, x) | file | put.php
file_create logged: create | fopen | file | open.php
deserialisation_file_create 0x20008 blocked: create | unserialize(O:4:"Open":0:{})->Open::__wakeup()->fopen(open.php, w) | file | open.php
file_create logged: create | copy | file | copy.php
deserialisation_file_create 0x20008 blocked: create | unserialize(a:2:{i:0;O:4:"Copy":0:{}i:0;i:1;})->Copy::__destruct()->copy(source.txt, copy.php) | file | copy.php
file_create logged: create | rename | file | renamed.php
deserialisation_file_create 0x20008 blocked: create | unserialize(a:2:{i:0;O:4:"Copy":0:{}i:0;i:1;})->Copy::__destruct()->rename(source.txt, renamed.php) | file | renamed.php
