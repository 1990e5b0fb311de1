--TEST--
Each inclusion of a request-named file is refused, the main script's included
--INI--
opcache.enable=0
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder(['page.php' => "<?php echo 'page.php ';", 'page.inc' => "<?php echo 'page ';", 'all.inc' => '<?php
    $page = $_GET["page"] ?? "page.inc";
    echo json_encode(include $page), json_encode(require $page);
    echo json_encode(include_once $page), json_encode(require_once $page);']);
[$request, $pid] = start_worker($root);
foreach (['', 'page=page.inc', "page=$root/page.inc", 'page=page.php', "page=$root/all.inc"] as $query) {
    show(printable($query) . ': ' . $request('all.inc', $query), $pid);
}
--EXPECT--
: page 1page 1truetrue
page=page.inc: [File]false[File]falsepage 1true <- file_include blocked: safe_compile_file (2 times) | page.inc
page=FOLDER/page.inc: [File]false[File]false[File]falsetrue
    <- file_include blocked: safe_compile_file (3 times) | FOLDER/page.inc
page=page.php: page.php 1page.php 1truetrue
page=FOLDER/all.inc: [File] <- file_include blocked: safe_compile_file | FOLDER/all.inc
