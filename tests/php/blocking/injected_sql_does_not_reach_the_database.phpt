--TEST--
Injected SQL through mysqli, PDO MySQL and SQLite is stopped, under the JIT as well; its ordinary twin is not
--EXTENSIONS--
mysqli
pdo_mysql
pdo_sqlite
Zend OPcache
--SKIPIF--
<?php is_executable('/usr/sbin/mariadbd') || die('skip needs /usr/sbin/mariadbd (package mariadb-server)'); ?>
--GET--
id=1+OR+2&nul=1%00+OR+2=2&name=O'Brien
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Database extends mysqli {}
class Own { function query($sql) { return 'own query'; } }
$socket = start_mariadb(own_folder());
$db = mysqli_connect(null, 'root', '', null, 0, $socket);
$sub = new Database(null, 'root', '', null, 0, $socket);
$pdo = new PDO("mysql:unix_socket=$socket", 'root');
$lite = new PDO('sqlite::memory:');
foreach (['CREATE DATABASE d', 'CREATE TABLE d.t (id INT)', 'INSERT INTO d.t VALUES (1), (2)'] as $sql) {
    $pdo->exec($sql);
    $lite->exec(strtr($sql, ['CREATE DATABASE d' => "ATTACH ':memory:' AS d"]));
}
$stored = fn ($ran) => $ran ? $db->store_result() : $ran;
$calls = [
    fn ($sql) => mysqli_query($db, $sql),
    fn ($sql) => $stored(mysqli_multi_query($db, $sql)),
    fn ($sql) => $stored($db->multi_query($sql)),
    fn ($sql) => $db->query($sql, MYSQLI_STORE_RESULT),
    fn ($sql) => $stored(mysqli_real_query($db, $sql)),
    fn ($sql) => $stored($db->real_query($sql)),
    fn ($sql) => call_user_func_array([$sub, 'query'], ['query' => $sql]),
    fn ($sql) => $pdo->query($sql, PDO::FETCH_NUM),
    fn ($sql) => $lite->query($sql),
];
foreach (array_chunk($calls, 3) as $some) {
    $ordinary = array_map(fn ($call) => count([...$call('SELECT id FROM d.t WHERE id=1')]), $some);
    told($ordinary, ...array_map(fn ($call) => $call("SELECT id FROM d.t WHERE id=$_GET[id]"), $some));
}
told($lite->query("SELECT id FROM d.t WHERE id=$_GET[nul]"), $db->query("SELECT LOAD_FILE('/x')"));
// Untouched: prepared, escaped, not a database.
told(count($db->execute_query('SELECT id FROM d.t WHERE id = ?', [$_GET['id']])->fetch_all()));
told($db->query("SELECT '" . $db->real_escape_string($_GET['name']) . "'")->fetch_row(),
    $lite->prepare("SELECT $_GET[id]")->execute(), (new Own())->query("SELECT $_GET[id]"));
// The JIT, where it runs, trusts that a query is never null.
put('query.php', '<?php
    function ask($link, $sql) { $rows = mysqli_query($link, $sql); return is_bool($rows) ? 0 : count([...$rows]); }
    function ask_pdo(PDO $link, $sql) { $rows = $link->query($sql); return is_bool($rows) ? 0 : count([...$rows]); }
    $link = mysqli_connect(null, "root", "", null, 0, "' . $socket . '");
    $pdo = new PDO("sqlite::memory:");
    if (!opcache_get_status()["jit"]["on"]) exit("no JIT: " . gettype(mysqli_query($link, "SELECT $_GET[id]")));
    echo ask($link, "SELECT 3"), ask($link, "SELECT $_GET[id]");
    echo ask_pdo($pdo, "SELECT 3"), ask_pdo($pdo, "SELECT $_GET[id]");');
foreach (['1205', 'disable'] as $jit) {
    $ini = "-d opcache.enable=1 -d opcache.jit=$jit -d opcache.jit_buffer_size=16M";
    [$request, $pid] = start_worker(getcwd(), $ini);
    show($request('query.php', 'id=1+OR+1=1'), $pid);
}
--EXPECT--
[Deny][Deny][Deny][1,1,1], null, null, null
    <- sql_injection blocked: mysqli_query, mysqli_multi_query, mysqli::multi_query | SELECT id FROM d.t WHERE id=1 OR 2
[Deny][Deny][Deny][1,1,1], null, null, null
    <- sql_injection blocked: mysqli::query, mysqli_real_query, mysqli::real_query | SELECT id FROM d.t WHERE id=1 OR 2
[Deny][Deny][Deny][1,1,1], null, null, null
    <- sql_injection blocked: mysqli::query, PDO::query (2 times) | SELECT id FROM d.t WHERE id=1 OR 2
[Deny][Deny]null, null <- sql_injection blocked: PDO::query | SELECT id FROM d.t WHERE id=1  OR 2=2
    + sql_injection blocked: file-read: a file of the database server read | SELECT LOAD_FILE('/x')
1
["O'Brien"], true, "own query"
1[Deny]01[Deny]0 <- sql_injection blocked: mysqli_query, PDO::query | SELECT 1 OR 1=1
[Deny]no JIT: NULL <- sql_injection blocked: mysqli_query | SELECT 1 OR 1=1
