--TEST--
Queries through PDO and its MySQL driver, and what the agent is asked about each
--EXTENSIONS--
pdo_mysql
--SKIPIF--
<?php is_executable('/usr/sbin/mariadbd') || die('skip needs the program /usr/sbin/mariadbd (package mariadb-server)'); ?>
--GET--
id=1+OR+1=1&list[]=x&7=number&name
--POST--
id=2&text=a%26b=c
--COOKIE--
c=cookie
--FILE--
<?php
require __DIR__ . '/../events.inc';
require __DIR__ . '/../fixtures/mariadb.inc';
class Database extends PDO {}
$socket = start_mariadb(own_folder());
$db = new PDO("mysql:unix_socket=$socket", 'root');
$sub = new Database("mysql:unix_socket=$socket", 'root');
show($db->query("SELECT $_GET[id] /*value*/"), $sub->query('SELECT 1 /*value*/'));
echo $db->query('SELECT 42')->fetchColumn(), "\n";
events();
echo $db->prepare('SELECT 43 /*value*/')->execute(), $db->exec('DO 1 /*value*/'), "\n";
events();
?>
--EXPECT--
<br/>Deny SQL injection Attack @VARNO 2020-2030<br/><br/>Deny SQL injection Attack @VARNO 2020-2030<br/>null, null
42
get_block_mode(3) = 1, lookup_sql(SELECT 1 OR 1=1 /*value*/) = false, match_sql(SELECT 1 OR 1=1 /*value*/, id=1 OR 1=1&name=&id=2&text=a&b=c) = true, event 0x20001 stopped: sql_query_lib | PDO::query | command | SELECT 1 OR 1=1 /*value*/
get_block_mode(3) = 1, lookup_sql(SELECT 1 /*value*/) = false, match_sql(SELECT 1 /*value*/, id=1 OR 1=1&name=&id=2&text=a&b=c) = true, event 0x20001 stopped: sql_query_lib | PDO::query | command | SELECT 1 /*value*/
get_block_mode(3) = 1, lookup_sql(SELECT 42) = false, match_sql(SELECT 42, id=1 OR 1=1&name=&id=2&text=a&b=c) = false
10
