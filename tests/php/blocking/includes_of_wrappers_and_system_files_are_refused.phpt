--TEST--
Inclusion through a wrapper and of system files is refused, whatever the request holds
--INI--
allow_url_include=1
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['text.txt' => "text.txt\n", 'code.php' => "<?php echo 'code.php', \"\\n\";", 'log.PHP' => "log.PHP\n"]);
$code = base64_encode("<?php echo 'run';");
$names = ['/etc/passwd', '../../../../../../etc/passwd', "data://text/plain;base64,$code",
    'php://filter/read=convert.base64-encode/resource=code.php', 'file://' . realpath('code.php')];
foreach ($names as $name) {
    echo "\n", var_export(@include $name, true);
}
echo "\n--- untouched\n";
foreach (['text.txt', 'code.php', 'log.PHP', 'data:text/plain,data%0a'] as $name) {
    include $name;
}
events();
?>
--EXPECT--
Deprecated: Directive 'allow_url_include' is deprecated in Unknown on line 0

<br/>File Include Not Allowed @VARNO 2020-2030<br/>false
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false
<br/>File Include Not Allowed @VARNO 2020-2030<br/>false
--- untouched
text.txt
code.php
log.PHP
data
file_include 0x20004 blocked: file_include | safe_compile_file | file | /etc/passwd
file_include 0x20004 blocked: file_include | safe_compile_file | file | ../../../../../../etc/passwd
file_include 0x20004 blocked: file_include | safe_compile_file | file | data://text/plain;base64,PD9waHAgZWNobyAncnVuJzs=
file_include 0x20004 blocked: file_include | safe_compile_file | file | php://filter/read=convert.base64-encode/resource=code.php
file_include 0x20004 blocked: file_include | safe_compile_file | file | file://FOLDER/code.php
