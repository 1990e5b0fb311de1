--TEST--
Each form of inclusion of a request-named file is refused and the script goes on
--FILE--
<?php
require __DIR__ . '/../events.inc';
$root = own_folder([
    'page.inc' => "<?php echo 'page ';",
    'page.php' => "<?php echo 'page.php ';",
    'index.php' => '<?php
        $page = $_GET["page"];
        foreach ([fn () => include $page, fn () => require $page, fn () => include_once $page, fn () => require_once $page] as $include) {
            echo json_encode($include()), " ";
        }
        echo getmypid();',
]);
[$server, $pid] = start_php_server($root, '-d opcache.enable=0');
foreach (['page.inc', "$root/page.inc", 'page.php', './page.inc'] as $page) {
    echo "--- ", printable($page), "\n";
    $answer = file_get_contents("{$server}index.php?page=" . urlencode($page));
    // The same process has answered all of them.
    echo str_replace("$pid", 'same process', $answer), "\n";
    events($pid);
}
?>
--EXPECT--
--- page.inc
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false <br/>File Include Not Allowed @VARNO 2020-2030<br/>false page 1 true same process
file_include 0x20004 blocked: file_include | safe_compile_file | file | page.inc (2 times)
--- FOLDER/page.inc
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false <br/>File Include Not Allowed @VARNO 2020-2030<br/>false <br/>File Include Not Allowed @VARNO 2020-2030<br/>false true same process
file_include 0x20004 blocked: file_include | safe_compile_file | file | FOLDER/page.inc (3 times)
--- page.php
page.php 1 page.php 1 true true same process
--- ./page.inc
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false <br/>File Include Not Allowed @VARNO 2020-2030<br/>false page 1 true same process
file_include 0x20004 blocked: file_include | safe_compile_file | file | ./page.inc (2 times)
