--TEST--
What a refused file or string declares is gone, and may be declared by others
--GET--
page=page.inc&code=function+evaluated()+{}+class+Evaluated+{}+echo+"run";
--INI--
opcache.enable=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['page.inc' => '<?php echo "run";
    function early() {}
    class Early {}
    class Kin extends Known { function same(Kin $kin) {} }
    enum Choice { case Yes; }
    class Later extends Missing {}
    if (1) { function conditional() {} }']);
class Known {}
function kin(?Kin $kin) {}
show(include $_GET['page'], require $_GET['page'], eval($_GET['code']));
show(...array_filter(['early', 'conditional', 'evaluated'], 'function_exists'));
show(...array_filter(['Early', 'Kin', 'Choice', 'Later', 'Evaluated'], 'class_exists'));
echo outcome(fn () => new Kin()), "\n", outcome(fn () => new Early()), "\n";
show(preg_grep('~/page.inc$~', get_included_files()));
eval('function early() { return 1; } class Kin { public $is = 2; } enum Choice { case No; }');
show(early(), (new Kin())->is, Choice::cases()[0]->name);
?>
--EXPECT--
<br/>File Include Not Allowed @VARNO 2020-2030<br/><br/>File Include Not Allowed @VARNO 2020-2030<br/><br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, false, false


Error: Class "Kin" not found
Error: Class "Early" not found
[]
1, 2, "No"
