--TEST--
Code that equals a parameter does not run, nor does phpinfo; what it declares is gone, and may be declared by others
--GET--
code=function+evaluated()+{}+class+Evaluated+{}+echo+"run";&part=xx+echo+2;+yy&broken=if+(&ask=1;phpinfo();&page=page.inc
--POST--
form=return+3;
--COOKIE--
cookie=return 4%3B
--INI--
opcache.enable=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['page.inc' => '<?php echo "run"; function early() {} if (1) { function conditional() {} } class Early {}
    class Kin extends Known { function same(Kin $kin) {} } class Later extends Missing {} enum Choice { case Yes; }']);
class Known {}
function kin(?Kin $kin) {}
told(eval($_GET['code']), eval($_POST['form']), eval($_COOKIE['cookie']));
told(include $_GET['page'], require $_GET['page']);
told(phpinfo(), call_user_func('phpinfo', INFO_MODULES));
told(array_filter(['early', 'conditional', 'evaluated'], 'function_exists'),
    array_filter(['Early', 'Kin', 'Choice', 'Later', 'Evaluated'], 'class_exists'),
    outcome(fn () => new Kin()), preg_grep('~/page.inc$~', get_included_files()));
eval('function early() { return 1; } class Kin { public $is = 2; } enum Choice { case No; }');
told(early(), (new Kin())->is, Choice::cases()[0]->name);
told(eval(' echo 2;'), eval($_POST['form'] . ' '));  // stands in a parameter, is more than was sent
told(outcome(fn () => eval($_GET['broken'])));
--EXPECT--
[Command Execute Not Allowed][Command Execute Not Allowed][Command Execute Not Allowed]false, false, false <- code_execution 0x40000 blocked: execute_command | eval()'d code | command | function evaluated() {} class Evaluated {} echo "run"; + code_execution 0x40000 blocked: execute_command | eval()'d code | command | return 3; + code_execution 0x40000 blocked: execute_command | eval()'d code | command | return 4;
[File Include Not Allowed][File Include Not Allowed]false, false <- file_include 0x20004 blocked: file_include | safe_compile_file | file | page.inc (2 times)
[Command Execute Not Allowed][Command Execute Not Allowed]false, false <- command_execution 0x20011 blocked: execute_command | phpinfo | command | phpinfo() (2 times)
[], [], "Error: Class \"Kin\" not found", []
1, 2, "No" <- execution_record logged: execute_command | eval()'d code | command | function early() { return 1; } class Kin { public $is = 2; } enum Choice { case No; }
2null, 3 <- execution_record logged: execute_command | eval()'d code | command |  echo 2; + execution_record logged: execute_command | eval()'d code | command | return 3; 
"ParseError: Unclosed '('"
