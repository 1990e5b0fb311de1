--TEST--
Injected SQL through mysqli, PDO MySQL and SQLite is stopped, under the JIT as well; its ordinary twin is not
--EXTENSIONS--
mysqli
pdo_mysql
pdo_sqlite
Zend OPcache
--SKIPIF--
<?php is_executable('/usr/sbin/mariadbd') || die('skip needs the program /usr/sbin/mariadbd (package mariadb-server)'); ?>
--GET--
id=1+OR+1=1&nul=1%00+OR+2=2&name=O'Brien
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Database extends mysqli {} class Connection extends PDO {} class Own { function query($sql) { return 'own query'; } }
$socket = start_mariadb(own_folder());
$db = mysqli_connect(null, 'root', '', null, 0, $socket);
$sub = new Database(null, 'root', '', null, 0, $socket);
$pdo = new PDO("mysql:unix_socket=$socket", 'root');
$sub_pdo = new Connection("mysql:unix_socket=$socket", 'root');
$lite = new PDO('sqlite::memory:');
foreach (['CREATE DATABASE d', 'CREATE TABLE d.t (id INT)', 'INSERT INTO d.t VALUES (1), (2)'] as $sql) {
    $pdo->exec($sql);
    $lite->exec(strtr($sql, ['CREATE DATABASE d' => "ATTACH ':memory:' AS d"]));
}
$stored = fn ($ran) => $ran ? $db->store_result() : $ran;
$calls = [
    fn ($sql) => mysqli_query($db, $sql),
    fn ($sql) => $db->query($sql, MYSQLI_STORE_RESULT),
    fn ($sql) => $stored(mysqli_real_query($db, $sql)),
    fn ($sql) => $stored($db->real_query($sql)),
    fn ($sql) => $stored(mysqli_multi_query($db, $sql)),
    fn ($sql) => $stored($db->multi_query($sql)),
    fn ($sql) => $sub->query($sql),
    fn ($sql) => array_map('mysqli_query', [$db], [$sql])[0],
    fn ($sql) => call_user_func_array([$sub, 'query'], ['query' => $sql]),
    fn ($sql) => $pdo->query($sql),
    fn ($sql) => $sub_pdo->query($sql, PDO::FETCH_NUM),
    fn ($sql) => $lite->query($sql),
];
foreach (array_chunk($calls, 3) as $some) {
    $ordinary = array_map(fn ($call) => count([...$call('SELECT id FROM d.t WHERE id = 1')]), $some);
    told($ordinary, ...array_map(fn ($call) => $call("SELECT id FROM d.t WHERE id = $_GET[id]"), $some));
}
told($lite->query("SELECT id FROM d.t WHERE id = $_GET[nul]"), $db->query('SELECT id FROM d.t UNION SELECT table_name FROM information_schema.tables'));
// Untouched: prepared, escaped, not a database.
told(count($db->execute_query('SELECT id FROM d.t WHERE id = ?', [$_GET['id']])->fetch_all()), $lite->prepare("SELECT $_GET[id]")->execute(),
    $db->query("SELECT '" . $db->real_escape_string($_GET['name']) . "'")->fetch_row(), (new Own())->query("SELECT $_GET[id]"));
// The JIT trusts that a query is never null.
put('query.php', '<?php
    function ask($link, $sql) { $result = mysqli_query($link, $sql); if (is_bool($result)) return 0; return $result->fetch_row()[0]; }
    function ask_pdo(PDO $link, $sql) { $result = $link->query($sql); if (is_bool($result)) return 0; return $result->fetchColumn(); }
    $links = ["ask" => mysqli_connect(null, "root", "", null, 0, "' . $socket . '"), "ask_pdo" => new PDO("sqlite::memory:")];
    foreach ($links as $ask => $link) echo $ask($link, "SELECT 3"), $ask($link, "SELECT $_GET[id]"), " ";
    echo opcache_get_status()["jit"]["on"] ? "JIT" : "no JIT";');
[$request, $pid] = start_worker(getcwd(), '-d opcache.enable=1 -d opcache.jit=1205 -d opcache.jit_buffer_size=16M');
echo $request('query.php', 'id=1+OR+1=1'), heard($pid), "\n";
--EXPECT--
[Deny SQL injection Attack][Deny SQL injection Attack][Deny SQL injection Attack][1,1,1], null, null, null <- sql_injection 0x20001 blocked: sql_query_lib | mysqli_query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | mysqli::query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | mysqli_real_query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1
[Deny SQL injection Attack][Deny SQL injection Attack][Deny SQL injection Attack][1,1,1], null, null, null <- sql_injection 0x20001 blocked: sql_query_lib | mysqli::real_query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | mysqli_multi_query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | mysqli::multi_query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1
[Deny SQL injection Attack][Deny SQL injection Attack][Deny SQL injection Attack][1,1,1], null, null, null <- sql_injection 0x20001 blocked: sql_query_lib | mysqli::query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | mysqli_query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | mysqli::query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1
[Deny SQL injection Attack][Deny SQL injection Attack][Deny SQL injection Attack][1,1,1], null, null, null <- sql_injection 0x20001 blocked: sql_query_lib | PDO::query | command | SELECT id FROM d.t WHERE id = 1 OR 1=1 (3 times)
[Deny SQL injection Attack][Deny SQL injection Attack]null, null <- sql_injection 0x20001 blocked: sql_query_lib | PDO::query | command | SELECT id FROM d.t WHERE id = 1  OR 2=2 + sql_injection 0x20001 blocked: sql_query_regex | union-catalogue: UNION with a table that describes the database | command | SELECT id FROM d.t UNION SELECT table_name FROM information_schema.tables
1, true, ["O'Brien"], "own query"
3[Deny SQL injection Attack]0 3[Deny SQL injection Attack]0 JIT <- sql_injection 0x20001 blocked: sql_query_lib | mysqli_query | command | SELECT 1 OR 1=1 + sql_injection 0x20001 blocked: sql_query_lib | PDO::query | command | SELECT 1 OR 1=1
