--TEST--
An output callback that exits while the notice is printed
--GET--
c=touch+ran
--FILE--
<?php
require __DIR__ . '/../events.inc';
$folder = own_folder();
register_shutdown_function(function () use ($folder) {
    show(file_exists("$folder/ran"));
    events();
});
ob_start(fn ($text) => str_contains($text, 'Not Allowed') ? exit('left by the callback ') : $text, 1);
system($_GET['c']);
echo 'not reached';
?>
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>left by the callback false
command_execution 0x20011 blocked: execute_command | system | command | touch ran
