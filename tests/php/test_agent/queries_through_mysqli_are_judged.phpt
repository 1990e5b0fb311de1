--TEST--
Queries through mysqli's functions and methods, called directly, by name and on subclasses
--EXTENSIONS--
mysqli
--SKIPIF--
<?php is_executable('/usr/sbin/mariadbd') || die('skip needs the program /usr/sbin/mariadbd (package mariadb-server)'); ?>
--FILE--
<?php
require __DIR__ . '/../events.inc';
require __DIR__ . '/../fixtures/mariadb.inc';
class Database extends mysqli {}
class Own { function query($sql) { return "own query"; } }
$socket = start_mariadb(own_folder());
$db = mysqli_connect(null, 'root', '', null, 0, $socket);
$sub = new Database(null, 'root', '', null, 0, $socket);
$bad = 'SELECT 1 /*value*/';
$calls = [
    'mysqli_query' => fn ($sql) => mysqli_query($db, $sql),
    'mysqli::query' => fn ($sql) => $db->query($sql, MYSQLI_USE_RESULT),
    'real query function' => fn ($sql) => mysqli_real_query($db, $sql),
    'real query method' => fn ($sql) => $db->real_query($sql),
    'multi query function' => fn ($sql) => mysqli_multi_query($db, $sql),
    'multi query method' => fn ($sql) => $db->multi_query($sql),
    'subclass' => fn ($sql) => $sub->query($sql),
    'by name' => fn ($sql) => array_map('mysqli_query', [$db], [$sql])[0],
    'by method name' => fn ($sql) => call_user_func_array([$sub, 'query'], ['query' => $sql]),
    'not watched: prepare' => fn ($sql) => $db->prepare($sql)->execute(),
    'not watched: execute' => fn ($sql) => $db->execute_query($sql)->fetch_row()[0],
    'not watched: no database' => fn ($sql) => (new Own())->query($sql),
];
foreach ($calls as $name => $call) {
    ob_start();
    $outcome = outcome(fn () => $call($bad));
    events();
    $reported = strstr(ob_get_clean(), 'event ') ?: "no event\n";
    echo "$name: $outcome, $reported";
}
echo "--- harmless\n", mysqli_query($db, 'SELECT 40 + 2')->fetch_row()[0], "\n";
show($db->multi_query('SELECT 1; SELECT 2'), $db->store_result()->fetch_row()[0], $db->next_result(), $db->store_result()->fetch_row()[0]);
events();
?>
--EXPECT--
mysqli_query: null, event 0x20001 stopped: sql_query_lib | mysqli_query | command | SELECT 1 /*value*/
mysqli::query: null, event 0x20001 stopped: sql_query_lib | mysqli::query | command | SELECT 1 /*value*/
real query function: null, event 0x20001 stopped: sql_query_lib | mysqli_real_query | command | SELECT 1 /*value*/
real query method: null, event 0x20001 stopped: sql_query_lib | mysqli::real_query | command | SELECT 1 /*value*/
multi query function: null, event 0x20001 stopped: sql_query_lib | mysqli_multi_query | command | SELECT 1 /*value*/
multi query method: null, event 0x20001 stopped: sql_query_lib | mysqli::multi_query | command | SELECT 1 /*value*/
subclass: null, event 0x20001 stopped: sql_query_lib | mysqli::query | command | SELECT 1 /*value*/
by name: null, event 0x20001 stopped: sql_query_lib | mysqli_query | command | SELECT 1 /*value*/
by method name: null, event 0x20001 stopped: sql_query_lib | mysqli::query | command | SELECT 1 /*value*/
not watched: prepare: true, no event
not watched: execute: 1, no event
not watched: no database: "own query", no event
--- harmless
42
true, "1", true, "2"
get_block_mode(3) = 1, lookup_sql(SELECT 40 + 2) = false, match_sql(SELECT 40 + 2, ) = false, get_block_mode(3) = 1, lookup_sql(SELECT 1; SELECT 2) = false, match_sql(SELECT 1; SELECT 2, ) = false
