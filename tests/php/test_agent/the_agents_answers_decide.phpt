--TEST--
The agent's answers decide about queries, created files and web shells
--EXTENSIONS--
pdo_sqlite
--GET--
id=1&list[]=x&7=number&name
--POST--
id=2&text=a%26b=c
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['text.txt' => 'text']);
class Put { function __wakeup() { told(file_put_contents('refused.txt', 'x')); } }
class Rows { public $id; function __construct(...$arguments) {} }
$db = new PDO('sqlite::memory:');
foreach ([0, 2, 1] as $mode) {
    putenv("VORGATE_TEST_MODE=$mode");
    told($db->query('SELECT 1 /*pattern*/ /*value*/'));
}
told($db->query('SELECT 1 /*value*/'));
// Arguments in their order, texts only, to the 4096th byte, without NUL bytes.
told($db->query('SELECT 1 AS id', PDO::FETCH_CLASS, 'Rows', ['/*pattern*/'])->fetch()->id);
told($db->query('SELECT 2 AS id', PDO::FETCH_CLASS, 'Rows/*pattern*/'));
told(outcome(fn () => $db->query(7)), outcome(fn () => $db->query(['/*pattern*/'])));
told(outcome(fn () => $db->query("SELECT 3 \0 /*value*/")));
told($db->query('SELECT 4' . str_repeat(' ', 4100) . '/*pattern*/'));
told(rename('text.txt', 'refused'), file_exists('text.txt'), @copy('text.txt', 'new.txt'));
unserialize('O:3:"Put":0:{}');
$long = str_repeat(' ', 5120);
told(eval('return 1; /*family*/'));
told(eval("return 2; /*shell*/$long"));
told(eval("return 4;$long"));
putenv('VORGATE_TEST_EXEMPT=1');
told($db->query('SELECT 5 /*pattern*/'));
--EXPECT--
PDOStatement <- get_block_mode(3) = 0 + lookup_sql(SELECT 1 /*pattern*/ /*value*/) = true + sql_injection 0x20001 reported: sql_query_regex | the pattern found | command | SELECT 1 /*pattern*/ /*value*/
PDOStatement <- get_block_mode(3) = 2 + lookup_sql(SELECT 1 /*pattern*/ /*value*/) = true + sql_injection 0x20001 blocked: sql_query_regex | the pattern found | command | SELECT 1 /*pattern*/ /*value*/
[Deny SQL injection Attack]null <- get_block_mode(3) = 1 + lookup_sql(SELECT 1 /*pattern*/ /*value*/) = true + sql_injection 0x20001 blocked: sql_query_regex | the pattern found | command | SELECT 1 /*pattern*/ /*value*/
[Deny SQL injection Attack]null <- get_block_mode(3) = 1 + lookup_sql(SELECT 1 /*value*/) = false + match_sql(SELECT 1 /*value*/, id=1&name=&id=2&text=a&b=c) = true + sql_injection 0x20001 blocked: sql_query_lib | PDO::query | command | SELECT 1 /*value*/
1 <- get_block_mode(3) = 1 + lookup_sql(SELECT 1 AS id) = false + match_sql(SELECT 1 AS id, id=1&name=&id=2&text=a&b=c) = false + lookup_sql(Rows) = false + match_sql(Rows, id=1&name=&id=2&text=a&b=c) = false
[Deny SQL injection Attack]null <- get_block_mode(3) = 1 + lookup_sql(SELECT 2 AS id) = false + match_sql(SELECT 2 AS id, id=1&name=&id=2&text=a&b=c) = false + lookup_sql(Rows/*pattern*/) = true + sql_injection 0x20001 blocked: sql_query_regex | the pattern found | command | Rows/*pattern*/
"PDOException: SQLSTATE[HY000]: General error: 1 near \"7\": syntax error", "TypeError: PDO::query(): Argument #1 ($query) must be of type string, array given" <- get_block_mode(3) = 1 (2 times)
[Deny SQL injection Attack]"null" <- get_block_mode(3) = 1 + lookup_sql(SELECT 3   /*value*/) = false + match_sql(SELECT 3   /*value*/, id=1&name=&id=2&text=a&b=c) = true + sql_injection 0x20001 blocked: sql_query_lib | PDO::query | command | SELECT 3   /*value*/
PDOStatement <- get_block_mode(3) = 1 + lookup_sql(SELECT 4                                ... of 4096 bytes) = false + match_sql(SELECT 4                                ... of 4124 bytes) = false
[Create File Not Allowed]false, true, true <- send_upload(rename, refused) = 0 + send_upload(copy, new.txt) = 1
[Create File Not Allowed]false <- send_upload(file_put_contents, refused.txt) = 0
[Command Execute Not Allowed]false <- scan_webshell(return 1; /*family*/) = true + get_block_mode(2) = 1 + web_shell 0x40000 blocked: execute_command | chopper->Family | command | return 1; /*family*/
[Command Execute Not Allowed]false <- scan_script(return 2; /*shell*/                     ... of 5142 bytes) = 2 + get_block_mode(2) = 1 + web_shell 0x40000 blocked: execute_command_2 | webshell | command | return 2; /*shell*/                     ... of 4096 bytes
4 <- scan_script(return 4;                               ... of 5132 bytes) = 0 + execution_record logged: execute_command | eval()'d code | command | return 4;                               ... of 5129 bytes
PDOStatement <- get_block_mode(3) = 1 + lookup_sql(SELECT 5 /*pattern*/) = true + is_white_listed() = true
