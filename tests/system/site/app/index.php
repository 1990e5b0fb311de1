<?php
// The application under load, for PHP 7.1 and later. Each `do` is one way to a watched
// call; what an attack is after is the word "stolen", which no request spells out.

class Job
{
    public $run;

    public function __destruct()
    {
        system($this->run);
    }
}

class Draft
{
    public $name;

    public function __wakeup()
    {
        echo file_put_contents(dirname(__DIR__) . "/meter/$this->name", 'x') ? 'stolen' : 'refused';
    }
}

function rows(string $v)
{
    $database = new PDO('sqlite::memory:');
    $database->exec("CREATE TABLE room (number INT, name TEXT); INSERT INTO room VALUES (12, 'Ada'), (13, 'sto' || 'len')");
    return $database->query("SELECT name FROM room WHERE number = $v") ?: [];
}

$pages = [
    '' => function ($v) { echo 'ready ', implode(' ', get_loaded_extensions()), "\n"; },
    'page' => function ($v) { echo str_repeat('<li>' . htmlspecialchars("row $v") . "</li>\n", 2000); },
    'echo' => function ($v) { echo bin2hex($v); },
    'fail' => function ($v) { trigger_error("as asked: $v", E_USER_WARNING); },
    'system' => function ($v) { system("printf %s $v"); },
    'exec' => function ($v) { echo exec("printf %s $v"); },
    'shell_exec' => function ($v) { echo shell_exec("printf %s $v"); },
    'passthru' => function ($v) { passthru("printf %s $v"); },
    'popen' => function ($v) { echo ($pipe = popen("printf %s $v", 'r')) ? stream_get_contents($pipe) : 'refused'; },
    'proc_open' => function ($v) { echo ($process = proc_open("printf %s $v", [1 => ['pipe', 'w']], $p)) ? fgets($p[1]) : 'refused'; },
    'cookie' => function ($v) { echo explode(',', $_COOKIE['taste'])[0](explode(',', $_COOKIE['taste'])[1]); },
    'eval' => function ($v) { echo strpos($v, 'return') === 0 ? eval($v) : eval("return $v;"); },
    'phpinfo' => function ($v) { ob_start(); eval("echo $v;"); echo strpos(ob_get_clean(), 'PHP Version') ? 'stolen' : 'refused'; },
    'unserialize' => function ($v) { echo gettype(unserialize(base64_decode($v))), "\n"; },
    'yaml' => function ($v) { echo gettype(yaml_parse($v)), "\n"; },
    'include' => function ($v) { include $v ?: __DIR__ . '/part.php'; },
    'read' => function ($v) { echo file_get_contents($v ?: __DIR__ . '/part.php'); },
    'fopen' => function ($v) { echo ($file = fopen($v ?: __DIR__ . '/part.php', 'r')) ? fgets($file) : 'refused'; },
    'curl_init' => function ($v) { echo curl_init($v ?: 'http://127.0.0.1:1/') ? 'stolen' : 'refused'; },
    'curl_setopt' => function ($v) { echo curl_setopt(curl_init(), CURLOPT_URL, $v ?: 'x:') ? 'stolen' : 'refused'; },
    'fsockopen' => function ($v) { @fsockopen($v ?: '127.0.0.1', 1, $error); echo $error ? 'stolen' : 'refused'; },
    'query' => function ($v) { foreach (rows($v) as $row) { echo "$row[0]\n"; } },
    'ldap' => function ($v) { @ldap_search($l = ldap_connect('ldap://127.0.0.1:1'), 'dc=x', "(uid=$v)"); echo ldap_errno($l) ? 'stolen' : 'refused'; },
];
$page = $pages[$_GET['do'] ?? ''] ?? (require __DIR__ . '/hard.php')[$_GET['do']];
$page($_POST['v'] ?? $_GET['v'] ?? '');
