--TEST--
Without an agent everything runs, whatever the request holds, and phpinfo shows the module
--EXTENSIONS--
pdo_sqlite
--GET--
c=echo+ran&page=page.inc&code=return+"evaluated";&ask=phpinfo()
--INI--
error_log=/dev/null
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['page.inc' => "<?php return 'included';"]);
class First { function __wakeup() { echo exec('echo awake'), file_put_contents('put.txt', "x\n"), "\n"; } }
show(exec($_GET['c']), include $_GET['page'], eval($_GET['code']), file_get_contents($_GET['page']));
unserialize('O:5:"First":0:{}');
echo (new PDO('sqlite::memory:'))->query("SELECT '1 OR 1=1' -- x")->fetchColumn(), "\n";
ob_start();
phpinfo(INFO_MODULES);
preg_match_all('~<tr class="h"><th>vorgate support</th><th>enabled</th></tr>~', ob_get_clean(), $rows);
echo count($rows[0]), " row\n";
?>
--EXPECT--
"ran", "included", "evaluated", "<?php return 'included';"
awake2
1 OR 1=1
1 row
