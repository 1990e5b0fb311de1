--TEST--
Without an agent everything runs, and the loader's message is logged at start-up and in each request
--EXTENSIONS--
pdo_sqlite
--INI--
error_log=/dev/null
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder(['page.inc' => "<?php return 'included';", 'index.php' => '<?php
    class First { function __wakeup() { echo exec("echo awake"), file_put_contents("put.txt", "x"), ", "; } }
    unserialize("O:5:\"First\":0:{}");
    echo implode(", ", [exec($_GET["c"]), include $_GET["page"], eval($_GET["code"])]), ", ";
    echo strlen(file_get_contents($_GET["page"])), ", ";
    echo (new PDO("sqlite::memory:"))->query("SELECT $_GET[id]")->fetchColumn(), ", ";
    ob_start();
    phpinfo(INFO_MODULES);
    echo preg_match_all("~<tr class=\"h\"><th>vorgate support</th><th>enabled</th></tr>~", ob_get_clean());']);
[$request] = start_worker($root, "-d error_log=$root/error.log");
foreach ([1, 2] as $time) {
    echo $request('index.php', 'c=echo+ran&page=page.inc&code=return+"evaluated";&id=3+OR+1=1&ask=phpinfo()'), "\n";
}
$message = '~ /usr/local/lib/vlib64/libmessage_queue_linux\.so: cannot open shared object file~';
echo count(file('error.log')), ' ', count(preg_grep($message, file('error.log'))), "\n";
--EXPECT--
awake1, ran, included, evaluated, 24, 1, 1
awake1, ran, included, evaluated, 24, 1, 1
3 3
