--TEST--
In report mode commands, code and files of the request run, with the same events
--GET--
c=echo+ran&code=return+"evaluated";&page=page.inc
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['page.inc' => "<?php return 'included';"]);
class First { function __wakeup() { echo shell_exec('echo awake'); } }
system($_GET['c']);
show(exec($_GET['c']), fgets(popen($_GET['c'], 'r')), eval($_GET['code']), include $_GET['page']);
show(include 'php://filter/read=convert.base64-encode/resource=page.inc');
unserialize('O:5:"First":0:{}');
eval('system("echo evaluated");');
ob_start();
eval('phpinfo(INFO_LICENSE);');
echo strlen(ob_get_clean()) > 100 ? "phpinfo\n" : "nothing\n";
events();
?>
--EXPECT--
ran
"ran", "ran\n", "evaluated", "included"
PD9waHAgcmV0dXJuICdpbmNsdWRlZCc71
awake
evaluated
phpinfo
command_execution 0x20011 reported: execute_command | system | command | echo ran
command_execution 0x20011 reported: execute_command | exec | command | echo ran
command_execution 0x20011 reported: execute_command | popen | command | echo ran
code_execution 0x40000 reported: execute_command | eval()'d code | command | return "evaluated";
file_include 0x20004 reported: file_include | safe_compile_file | file | page.inc
file_include 0x20004 reported: file_include | safe_compile_file | file | php://filter/read=convert.base64-encode/resource=page.inc
deserialisation_chain 0x20008 reported: execute_command | unserialize(O:5:"First":0:{})->First::__wakeup()->shell_exec(echo awake) | command | echo awake
execution_record 0 logged: execute_command | eval()'d code | command | system("echo evaluated");
command_execution 0x20011 reported: execute_command | eval()->system(echo evaluated) | command | echo evaluated
execution_record 0 logged: execute_command | eval()'d code | command | phpinfo(INFO_LICENSE);
command_execution 0x20011 reported: execute_command | eval()->phpinfo(64) | command | phpinfo()
