--TEST--
Code that equals a parameter does not run, nor does phpinfo; what it declares may be declared by others
--GET--
code=function+evaluated(){}+class+Evaluated{}+echo+"run";&part=xx+echo+2;+yy&no=if+(&ask=1;phpinfo();&page=page.inc
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
told(include $_GET['page'], require $_GET['page'], include 'php://filter/string.rot13/resource=page.inc');
told(phpinfo(), call_user_func('phpinfo', INFO_MODULES));
told(array_filter(['early', 'conditional', 'evaluated'], 'function_exists'),
    array_filter(['Early', 'Kin', 'Choice', 'Later', 'Evaluated'], 'class_exists'),
    outcome(fn () => new Kin()), preg_grep('~/page.inc$~', get_included_files()));
eval('function early() { return 1; } class Kin {} enum Choice { case No; }');
told(early(), new Kin(), Choice::cases()[0]->name);
told(eval(' echo 2;'), eval($_POST['form'] . ' '));  // stands in a parameter, is more than was sent
told(outcome(fn () => eval($_GET['no'])));
--EXPECT--
[Command][Command][Command]false, false, false
    <- code_execution blocked: eval()'d code | function evaluated(){} class Evaluated{} echo "run";
    + code_execution blocked: eval()'d code | return 3; + code_execution blocked: eval()'d code | return 4;
[File][File][File]false, false, false <- file_include blocked: safe_compile_file (2 times) | page.inc
    + file_include blocked: safe_compile_file | php://filter/string.rot13/resource=page.inc
[Command][Command]false, false <- command_execution blocked: phpinfo (2 times) | phpinfo()
[], [], "Error: Class \"Kin\" not found", []
1, Kin, "No"
    <- execution_record logged: eval()'d code | function early() { return 1; } class Kin {} enum Choice { case No; }
2null, 3 <- execution_record logged: eval()'d code |  echo 2; + execution_record logged: eval()'d code | return 3; 
"ParseError: Unclosed '('"
