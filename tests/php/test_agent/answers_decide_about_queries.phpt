--TEST--
The agent's answers decide: the mode, the exemption, the first text that is caught
--EXTENSIONS--
pdo_sqlite
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Rows { public $id; function __construct(...$arguments) {} }
$db = new PDO('sqlite::memory:');
$query = function (string $sql, ...$more) use ($db) {
    $result = $db->query($sql, ...$more);
    echo $result ? 'runs: ' . json_encode($result->fetchAll()) : var_export($result, true), "\n";
    events();
};
foreach ([0, 1, 2] as $mode) {
    echo "--- mode $mode\n";
    putenv("VORGATE_TEST_MODE=$mode");
    $query('SELECT 1 /*pattern*/ /*value*/', PDO::FETCH_NUM);
}
putenv('VORGATE_TEST_MODE');
echo "--- the value test comes second\n";
$query('SELECT 1 /*value*/', PDO::FETCH_NUM);
echo "--- arguments in their order, texts only\n";
$query('SELECT 1 AS id', PDO::FETCH_CLASS, 'Rows', ['/*pattern*/']);
$query('SELECT 2 AS id', PDO::FETCH_CLASS, 'Rows/*pattern*/');
echo outcome(fn () => $db->query(7)), "\n", outcome(fn () => $db->query()), "\n", outcome(fn () => $db->query(['/*pattern*/'])), "\n";
events();
echo "--- only the first 4096 bytes\n";
echo $db->query('SELECT 3' . str_repeat(' ', 4100) . '/*pattern*/')->fetchColumn(), "\n";
events();
echo "--- an exempt request\n";
putenv('VORGATE_TEST_EXEMPT=1');
$query('SELECT 1 /*pattern*/', PDO::FETCH_NUM);
?>
--EXPECT--
--- mode 0
runs: [[1]]
get_block_mode(3) = 0, lookup_sql(SELECT 1 /*pattern*/ /*value*/) = true, event 0x20001 allowed: sql_query_regex | the pattern found | command | SELECT 1 /*pattern*/ /*value*/
--- mode 1
<br/>Deny SQL injection Attack @VARNO 2020-2030<br/>NULL
get_block_mode(3) = 1, lookup_sql(SELECT 1 /*pattern*/ /*value*/) = true, event 0x20001 stopped: sql_query_regex | the pattern found | command | SELECT 1 /*pattern*/ /*value*/
--- mode 2
runs: [[1]]
get_block_mode(3) = 2, lookup_sql(SELECT 1 /*pattern*/ /*value*/) = true, event 0x20001 stopped: sql_query_regex | the pattern found | command | SELECT 1 /*pattern*/ /*value*/
--- the value test comes second
<br/>Deny SQL injection Attack @VARNO 2020-2030<br/>NULL
get_block_mode(3) = 1, lookup_sql(SELECT 1 /*value*/) = false, match_sql(SELECT 1 /*value*/, ) = true, event 0x20001 stopped: sql_query_lib | PDO::query | command | SELECT 1 /*value*/
--- arguments in their order, texts only
runs: [{"id":1}]
get_block_mode(3) = 1, lookup_sql(SELECT 1 AS id) = false, match_sql(SELECT 1 AS id, ) = false, lookup_sql(Rows) = false, match_sql(Rows, ) = false
<br/>Deny SQL injection Attack @VARNO 2020-2030<br/>NULL
get_block_mode(3) = 1, lookup_sql(SELECT 2 AS id) = false, match_sql(SELECT 2 AS id, ) = false, lookup_sql(Rows/*pattern*/) = true, event 0x20001 stopped: sql_query_regex | the pattern found | command | Rows/*pattern*/
PDOException: SQLSTATE[HY000]: General error: 1 near "7": syntax error
ArgumentCountError: PDO::query() expects at least 1 argument, 0 given
TypeError: PDO::query(): Argument #1 ($query) must be of type string, array given
get_block_mode(3) = 1, get_block_mode(3) = 1, get_block_mode(3) = 1
--- only the first 4096 bytes
3
get_block_mode(3) = 1, lookup_sql(SELECT 3                                                                                            ... of 4096 bytes) = false, match_sql(SELECT 3                                                                                            ... of 4098 bytes) = false
--- an exempt request
runs: [[1]]
get_block_mode(3) = 1, lookup_sql(SELECT 1 /*pattern*/) = true, is_white_listed() = true
