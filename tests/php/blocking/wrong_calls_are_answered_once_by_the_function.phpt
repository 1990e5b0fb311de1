--TEST--
A wrong call is answered by the function itself, exactly once
--GET--
c=zzz
--FILE--
<?php
require __DIR__ . '/../events.inc';
$curl = curl_init();
$calls = [
    'too few' => fn () => system(),
    'too few for the destination' => fn () => copy('a'),
    'too many' => fn () => shell_exec('true', 1),
    'an array' => fn () => exec(['true']),
    'no text' => fn () => system(new stdClass()),
    'null' => fn () => system(null),
    'null path' => fn () => file_get_contents(null),
    'a NUL byte' => fn () => system("echo\0x"),
    'a NUL byte in a path' => fn () => fopen("a\0b", 'r'),
    'an empty command' => fn () => exec(''),
    'an unknown name' => fn () => popen(commando: 'true'),
    'a wrong handle' => fn () => socket_connect(1, 'x'),
    'a wrong link' => fn () => ldap_search(1, 'x', 'y'),
    'a wrong option' => fn () => curl_setopt($curl, 'URL', 'x'),
    'a fraction for an option' => fn () => curl_setopt($curl, 1.5, 'x'),
    'an array for a URL' => fn () => curl_setopt($curl, CURLOPT_URL, ['x']),
    'null for a URL' => fn () => curl_setopt($curl, CURLOPT_URL, null),
    'null for an optional URL' => fn () => curl_init(null),
    'strict types' => fn () => eval('declare(strict_types=1); return system(1);'),
    'strict types, a number' => fn () => eval('declare(strict_types=1); return curl_setopt(curl_init(), 10002.0, "x");'),
    'weak types' => fn () => curl_setopt($curl, '10002', true),
];
foreach ($calls as $name => $call) {
    echo "$name: ", outcome($call), "\n";
}
?>
--EXPECT--
too few: ArgumentCountError: system() expects at least 1 argument, 0 given
too few for the destination: ArgumentCountError: copy() expects at least 2 arguments, 1 given
too many: ArgumentCountError: shell_exec() expects exactly 1 argument, 2 given
an array: TypeError: exec(): Argument #1 ($command) must be of type string, array given
no text: TypeError: system(): Argument #1 ($command) must be of type string, stdClass given
null: system(): Passing null to parameter #1 ($command) of type string is deprecated; ValueError: system(): Argument #1 ($command) cannot be empty
null path: <br/>Command Execute Not Allowed @VARNO 2020-2030<br/>file_get_contents(): Passing null to parameter #1 ($filename) of type string is deprecated; false
a NUL byte: ValueError: system(): Argument #1 ($command) must not contain any null bytes
a NUL byte in a path: ValueError: fopen(): Argument #1 ($filename) must not contain any null bytes
an empty command: ValueError: exec(): Argument #1 ($command) cannot be empty
an unknown name: Error: Unknown named parameter $commando
a wrong handle: TypeError: socket_connect(): Argument #1 ($socket) must be of type Socket, int given
a wrong link: TypeError: ldap_search(): Argument #1 ($ldap) must be of type LDAP|array, int given
a wrong option: TypeError: curl_setopt(): Argument #2 ($option) must be of type int, string given
a fraction for an option: Implicit conversion from float 1.5 to int loses precision; ValueError: curl_setopt(): Argument #2 ($option) is not a valid cURL option
an array for a URL: Array to string conversion; true
null for a URL: true
null for an optional URL: CurlHandle
strict types: TypeError: system(): Argument #1 ($command) must be of type string, int given
strict types, a number: TypeError: curl_setopt(): Argument #2 ($option) must be of type int, float given
weak types: true
