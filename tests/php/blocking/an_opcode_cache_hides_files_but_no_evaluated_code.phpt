--TEST--
With an opcode cache, a file is examined when it is compiled and not when it comes from the cache
--EXTENSIONS--
Zend OPcache
--FILE--
<?php
require __DIR__ . '/../events.inc';
foreach (['1', '0'] as $enabled) {
    echo "--- opcache.enable=$enabled\n";
    $root ??= own_folder();
    foreach (['seen', 'fresh'] as $name) {
        put("$name.inc", "<?php echo '$name ';");
    }
    put('index.php', '<?php include $_GET["page"] ?? "seen.inc"; eval($_GET["code"] ?? "");');
    [$server, $pid] = start_php_server($root, "-d opcache.enable=$enabled");
    foreach (['', '?page=seen.inc', '?page=fresh.inc', '?page=fresh.inc', '?code=echo+1;', '?code=echo+1;'] as $query) {
        echo file_get_contents("{$server}index.php$query"), "\n";
    }
    events($pid);
}
?>
--EXPECT--
--- opcache.enable=1
seen 
seen 
<br/>File Include Not Allowed @VARNO 2020-2030<br/>
<br/>File Include Not Allowed @VARNO 2020-2030<br/>
seen <br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
seen <br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
file_include 0x20004 blocked: file_include | safe_compile_file | file | fresh.inc (2 times)
code_execution 0x40000 blocked: execute_command | eval()'d code | command | echo 1; (2 times)
--- opcache.enable=0
seen 
<br/>File Include Not Allowed @VARNO 2020-2030<br/>
<br/>File Include Not Allowed @VARNO 2020-2030<br/>
<br/>File Include Not Allowed @VARNO 2020-2030<br/>
seen <br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
seen <br/>Command Execute Not Allowed @VARNO 2020-2030<br/>
file_include 0x20004 blocked: file_include | safe_compile_file | file | seen.inc
file_include 0x20004 blocked: file_include | safe_compile_file | file | fresh.inc (2 times)
code_execution 0x40000 blocked: execute_command | eval()'d code | command | echo 1; (2 times)
