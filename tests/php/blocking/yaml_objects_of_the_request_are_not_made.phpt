--TEST--
A YAML document of the request that makes an object is not parsed
--EXTENSIONS--
yaml
--INI--
yaml.decode_php=1
--POST--
doc=!php/object+"O:4:%5C"Made%5C":0:%7B%7D"&plain=key:+value&upper=!PHP/OBJECT+x
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Made { function __wakeup() { echo 'made '; } }
told(yaml_parse($_POST['doc']));
told(yaml_parse("# the script's own\n" . $_POST['doc']), yaml_parse($_POST['plain']), yaml_parse($_POST['upper']));
--EXPECT--
[Command Execute Not Allowed]false <- yaml_object 0x20008 blocked: execute_command | unserialize:yaml_parse | command | !php/object "O:4:\"Made\":0:{}"
made Made, {"key":"value"}, "x"
