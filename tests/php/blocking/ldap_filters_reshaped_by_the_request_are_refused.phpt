--TEST--
A search filter that a parameter reshapes is refused; arrays of links and filters are unharmed
--EXTENSIONS--
ldap
--SKIPIF--
<?php is_executable('/usr/sbin/slapd') || die('skip needs the program /usr/sbin/slapd (package slapd)'); ?>
--GET--
user=*)(uid=*&plain=jdoe&star=zz*
--COOKIE--
cookie=(uid=eve)
--FILE--
<?php
require __DIR__ . '/../events.inc';
$ldif = "dn: dc=example\nobjectClass: dcObject\nobjectClass: organization\no: x\n";
foreach (['jdoe', 'eve'] as $uid) {
    $ldif .= "\ndn: uid=$uid,dc=example\nobjectClass: inetOrgPerson\ncn: $uid\nsn: $uid\n";
}
$link = ldap_connect(start_slapd(own_folder(), $ldif));
ldap_set_option($link, LDAP_OPT_PROTOCOL_VERSION, 3);
$count = fn ($result) => $result ? ldap_count_entries($link, $result) : $result;
told($count(ldap_search($link, 'dc=example', "(&(uid=$_GET[user])(sn=*))")));
$escaped = ldap_escape($_GET['user'], '', LDAP_ESCAPE_FILTER);
$search = fn ($filter) => $count(ldap_search($link, 'dc=example', $filter, ['cn'], 0, 0));
told($search("(uid=$_GET[plain])"), $search($_COOKIE['cookie']), $search("(uid=$escaped)"));
told(array_map($count, ldap_search([$link, $link], ['dc=example', 'dc=example'], '(uid=*)')),
    array_sum(array_map($count, ldap_search([$link, $link], 'dc=example', ['(uid=*)', "(uid=$_GET[plain])"]))));
--EXPECT--
[Command Execute Not Allowed]false <- ldap_injection 0x20001 blocked: sql_query_regex | ldap_search | command | (&(uid=*)(uid=*)(sn=*))
1, 1, 0
[2,2], 3
