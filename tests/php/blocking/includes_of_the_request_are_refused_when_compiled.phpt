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
        echo json_encode(include $page), json_encode(require $page);
        echo json_encode(include_once $page), json_encode(require_once $page);');
    put('one.inc', '<?php include $_GET["page"] ?? "page.inc"; eval($_GET["code"] ?? "");');
    [$request, $pid] = start_worker($root, "-d opcache.enable=$enabled");
    foreach ($enabled ? [] : ['page.inc', "$root/page.inc", 'page.php', "$root/all.inc"] as $page) {
        show(printable($page) . ': ' . $request('all.inc', "page=$page"), $pid);
    }
    foreach (['', 'page=page.inc', 'page=fresh.inc', 'page=fresh.inc', 'code=echo+1;'] as $query) {
        show("$query: " . $request('one.inc', $query), $pid);
    }
}
--EXPECT--
--- opcache.enable=0
page.inc: [File]false[File]falsepage 1true <- file_include blocked: safe_compile_file (2 times) | page.inc
FOLDER/page.inc: [File]false[File]false[File]falsetrue
    <- file_include blocked: safe_compile_file (3 times) | FOLDER/page.inc
page.php: page.php 1page.php 1truetrue
FOLDER/all.inc: [File] <- file_include blocked: safe_compile_file | FOLDER/all.inc
: page 
page=page.inc: [File] <- file_include blocked: safe_compile_file | page.inc
page=fresh.inc: [File] <- file_include blocked: safe_compile_file | fresh.inc
page=fresh.inc: [File] <- file_include blocked: safe_compile_file | fresh.inc
code=echo+1;: page [Command] <- code_execution blocked: eval()'d code | echo 1;
--- opcache.enable=1
: page 
page=page.inc: page 
page=fresh.inc: [File] <- file_include blocked: safe_compile_file | fresh.inc
page=fresh.inc: [File] <- file_include blocked: safe_compile_file | fresh.inc
code=echo+1;: page [Command] <- code_execution blocked: eval()'d code | echo 1;
