--TEST--
The agent's answers decide about created files, exempt requests and categories
--GET--
c=touch+ran&f=text.txt&host=127.0.0.1
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['text.txt' => 'text']);
class Put { function __wakeup() { file_put_contents('refused.txt', 'x'); } }
echo "--- refused\n";
show(file_put_contents('refused.txt', 'x'), rename('text.txt', 'refused'), @copy('refused', 'new.txt'), file_exists('text.txt'));
unserialize('O:3:"Put":0:{}');
events();
echo "\n--- any mode but 0 blocks\n";
foreach (['2', '0'] as $mode) {
    putenv("VORGATE_TEST_MODE=$mode");
    show(system($_GET['c']), file_get_contents($_GET['f']), eval('return exec("echo x");'));
    events();
}
echo "--- exempt\n";
putenv('VORGATE_TEST_MODE=1');
putenv('VORGATE_TEST_EXEMPT=1');
show(system($_GET['c']), file_get_contents($_GET['f']), file_put_contents('refused.txt', 'x'), file_exists('ran'), include 'text.txt');
events();
?>
--EXPECT--
--- refused
<br/>Create File Not Allowed @VARNO 2020-2030<br/><br/>Create File Not Allowed @VARNO 2020-2030<br/>false, false, false, true
<br/>Create File Not Allowed @VARNO 2020-2030<br/>send_upload(file_put_contents, refused.txt, ) = 0, send_upload(rename, refused, ) = 0, send_upload(copy, new.txt, ) = 1, send_upload(file_put_contents, refused.txt, ) = 0

--- any mode but 0 blocks
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false, false
get_block_mode(8) = 2, event 0x20011 stopped: execute_command | system | command | touch ran
get_block_mode(7) = 2, event 0x20012 stopped: read | file_get_contents | file | text.txt
event 0 plain: execute_command | eval()'d code | command | return exec("echo x");
get_block_mode(8) = 2, event 0x20011 stopped: execute_command | eval()->exec(echo x) | command | echo x
"", "text", "x"
get_block_mode(8) = 0, event 0x20011 allowed: execute_command | system | command | touch ran
get_block_mode(7) = 0, event 0x20012 allowed: read | file_get_contents | file | text.txt
event 0 plain: execute_command | eval()'d code | command | return exec("echo x");
get_block_mode(8) = 0, event 0x20011 allowed: execute_command | eval()->exec(echo x) | command | echo x
--- exempt
text"", "text", 1, true, 1
is_white_listed() = true, is_white_listed() = true, is_white_listed() = true, is_white_listed() = true
