--TEST--
A wrong or odd call is answered as in an unwatched PHP, warning for warning
--EXTENSIONS--
curl
ldap
sockets
--FILE--
<?php
$curl = curl_init();
$calls = [
    fn () => system(), fn () => copy('a'), fn () => shell_exec('true', 1),              // too few, too many
    fn () => exec(['true']), fn () => system(new stdClass()), fn () => fopen([], 'r'),  // no text
    fn () => system(null), fn () => file_get_contents(null), fn () => curl_init(null),
    fn () => system("echo\0x"), fn () => fopen("a\0b", 'r'), fn () => exec(''),
    fn () => popen(commando: 'true'), fn () => socket_connect(1, 'x'), fn () => ldap_search(1, 'x', 'y'),
    fn () => curl_setopt($curl, 'URL', 'x'), fn () => curl_setopt($curl, 1.5, 'x'),
    fn () => curl_setopt($curl, '10002', true), fn () => curl_setopt($curl, 1e30, 'x'),
    fn () => curl_setopt($curl, CURLOPT_URL, ['x']), fn () => curl_setopt($curl, CURLOPT_URL, null),
    fn () => ldap_search([ldap_connect()], 'dc=x', ['(a=b)']), fn () => ldap_search(ldap_connect(), ['x'], ['a']),
    fn () => eval('declare(strict_types=1); return system(1);'),
    fn () => eval('declare(strict_types=1); return curl_setopt(curl_init(), 10002.0, "x");'),
];
require __DIR__ . '/../events.inc';
$said = array_map('outcome', $calls);
if (!extension_loaded('vorgate')) {
    exit(json_encode($said));
}
$output = own_folder() . '/unwatched';
proc_close(proc_open([getenv('TEST_PHP_EXECUTABLE'), __FILE__], [1 => ['file', $output, 'w']], $pipes));
$unwatched = json_decode(implode(file($output)), true);
echo count($said), ' calls, different: ', short(array_diff_assoc($said, $unwatched)), "\n";
--EXPECT--
25 calls, different: []
