--TEST--
An LDAP filter that a parameter reshapes and a YAML document that makes an object are refused
--EXTENSIONS--
ldap
yaml
--INI--
yaml.decode_php=1
--POST--
user=*)(uid=*&word=jdoe&doc=!php/object+"O:4:%5C"Made%5C":0:%7B%7D"&plain=key:+value&upper=!PHP/OBJECT+x
--COOKIE--
cookie=(uid=eve)
--FILE--
<?php
require __DIR__ . '/../events.inc';
class Made { function __wakeup() { echo 'made '; } }
$link = ldap_connect('ldap://127.0.0.1:9');
told(ldap_search($link, 'dc=x', "(&(uid=$_POST[user])(sn=*))"), yaml_parse($_POST['doc']));
foreach (["(uid=$_POST[word])", $_COOKIE['cookie'], '(uid=' . ldap_escape($_POST['user']) . ')'] as $filter) {
    told(outcome(fn () => ldap_search($link, 'dc=x', $filter, ['cn'], 0, 0)));
}
told(yaml_parse("# the script's own\n" . $_POST['doc']), yaml_parse($_POST['plain']), yaml_parse($_POST['upper']));
--EXPECT--
[Command][Command]false, false <- ldap_injection blocked: ldap_search | (&(uid=*)(uid=*)(sn=*))
    + yaml_object blocked: unserialize:yaml_parse | !php/object "O:4:\"Made\":0:{}"
"ldap_search(): Search: Can't contact LDAP server; false"
"ldap_search(): Search: Can't contact LDAP server; false"
"ldap_search(): Search: Can't contact LDAP server; false"
made Made, {"key":"value"}, "x"
