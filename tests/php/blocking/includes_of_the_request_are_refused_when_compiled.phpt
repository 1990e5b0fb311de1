--TEST--
Each inclusion of a request-named file is refused, the main script's included, unless it comes from an opcode cache
--EXTENSIONS--
Zend OPcache
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder(['page.php' => "<?php echo 'page.php ';"]);
foreach (['0', '1'] as $enabled) {
    echo "--- opcache.enable=$enabled\n";
    // Written anew, they are no longer in the cache.
    put('page.inc', "<?php echo 'page ';");
    put('fresh.inc', "<?php echo 'fresh ';");
    put('all.inc', '<?php
        $page = $_GET["page"] ?? "page.inc";
        foreach ([fn () => include $page, fn () => require $page, fn () => include_once $page, fn () => require_once $page] as $include) {
            echo json_encode($include()), " ";
        }');
    put('one.inc', '<?php include $_GET["page"] ?? "page.inc"; eval($_GET["code"] ?? "");');
    [$request, $pid] = start_worker($root, "-d opcache.enable=$enabled");
    foreach ($enabled ? [] : ['page=page.inc', "page=$root/page.inc", 'page=page.php', "page=$root/all.inc"] as $query) {
        echo printable($query), ': ', $request('all.inc', $query), heard($pid), "\n";
    }
    foreach (['', 'page=page.inc', 'page=fresh.inc', 'page=fresh.inc', 'code=echo+1;'] as $query) {
        echo "$query: ", $request('one.inc', $query), heard($pid), "\n";
    }
}
--EXPECT--
--- opcache.enable=0
page=page.inc: [File Include Not Allowed]false [File Include Not Allowed]false page 1 true  <- file_include 0x20004 blocked: file_include | safe_compile_file | file | page.inc (2 times)
page=FOLDER/page.inc: [File Include Not Allowed]false [File Include Not Allowed]false [File Include Not Allowed]false true  <- file_include 0x20004 blocked: file_include | safe_compile_file | file | FOLDER/page.inc (3 times)
page=page.php: page.php 1 page.php 1 true true 
page=FOLDER/all.inc: [File Include Not Allowed] <- file_include 0x20004 blocked: file_include | safe_compile_file | file | FOLDER/all.inc
: page 
page=page.inc: [File Include Not Allowed] <- file_include 0x20004 blocked: file_include | safe_compile_file | file | page.inc
page=fresh.inc: [File Include Not Allowed] <- file_include 0x20004 blocked: file_include | safe_compile_file | file | fresh.inc
page=fresh.inc: [File Include Not Allowed] <- file_include 0x20004 blocked: file_include | safe_compile_file | file | fresh.inc
code=echo+1;: page [Command Execute Not Allowed] <- code_execution 0x40000 blocked: execute_command | eval()'d code | command | echo 1;
--- opcache.enable=1
: page 
page=page.inc: page 
page=fresh.inc: [File Include Not Allowed] <- file_include 0x20004 blocked: file_include | safe_compile_file | file | fresh.inc
page=fresh.inc: [File Include Not Allowed] <- file_include 0x20004 blocked: file_include | safe_compile_file | file | fresh.inc
code=echo+1;: page [Command Execute Not Allowed] <- code_execution 0x40000 blocked: execute_command | eval()'d code | command | echo 1;
