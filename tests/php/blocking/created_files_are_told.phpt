--TEST--
Every creation is told to the agent by its destination, and goes on
--GET--
to=named.txt
--FILE--
<?php
require __DIR__ . '/../events.inc';
$folder = own_folder(['source.txt' => 'text']);
show(copy('source.txt', 'copy.txt'), rename('copy.txt', 'renamed.txt'));
show(file_put_contents($_GET['to'], ['one ', 'two'], LOCK_EX), file_put_contents('named.txt', ' three', FILE_APPEND));
foreach (['w', 'ab', 'c+'] as $mode) {
    fwrite(fopen("$mode.txt", $mode), $mode);
}
fopen('x.txt', 'x');
show(@fopen('x.txt', 'x'), @copy('missing', 'nowhere/file'), move_uploaded_file('source.txt', 'moved.txt'));
foreach (glob('*.txt') as $name) {
    echo "$name: ", implode(file($name)), "\n";
}
events();
echo request_field('stack_trace'), request_field('upload_file_name'), "\n";
?>
--EXPECT--
true, true
7, 6
false, false, false
ab.txt: ab
c+.txt: c+
named.txt: one two three
renamed.txt: text
source.txt: text
w.txt: w
x.txt: 
file_create logged: create | copy | file | copy.txt
file_create logged: create | rename | file | renamed.txt
file_create logged: create | file_put_contents | file | named.txt (2 times)
file_create logged: create | fopen | file | w.txt
file_create logged: create | fopen | file | ab.txt
file_create logged: create | fopen | file | c+.txt
file_create logged: create | fopen | file | x.txt (2 times)
file_create logged: create | copy | file | nowhere/file
file_create logged: create | move_uploaded_file | file | moved.txt
move_uploaded_file(source.txt, moved.txt)\n
