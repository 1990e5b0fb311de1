--TEST--
Inclusion through a wrapper and of system files is refused, whatever the request holds
--INI--
allow_url_include=1
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['text.txt' => 'text', 'code.php' => "<?php echo 'code';", 'log.PHP' => 'log']);
$code = base64_encode("<?php echo 'run';");
$names = ['/etc/passwd', '../../../../../../etc/passwd', "data://text/plain;base64,$code",
    'php://filter/read=convert.base64-encode/resource=code.php', 'file://' . realpath('code.php')];
foreach ($names as $name) {
    told(@include $name);
}
told(include 'text.txt', include 'code.php', include 'log.PHP', include 'data:text/plain,data');
--EXPECT--
Deprecated: Directive 'allow_url_include' is deprecated in Unknown on line 0
[File Include Not Allowed]false <- file_include 0x20004 blocked: file_include | safe_compile_file | file | /etc/passwd
[File Include Not Allowed]false <- file_include 0x20004 blocked: file_include | safe_compile_file | file | ../../../../../../etc/passwd
[File Include Not Allowed]false <- file_include 0x20004 blocked: file_include | safe_compile_file | file | data://text/plain;base64,PD9waHAgZWNobyAncnVuJzs=
[File Include Not Allowed]false <- file_include 0x20004 blocked: file_include | safe_compile_file | file | php://filter/read=convert.base64-encode/resource=code.php
[File Include Not Allowed]false <- file_include 0x20004 blocked: file_include | safe_compile_file | file | file://FOLDER/code.php
textcodelogdata1, 1, 1, 1
