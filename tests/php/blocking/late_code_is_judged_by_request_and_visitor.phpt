--TEST--
The last code of a request that never asked for its visitor and gave its arrays away
--GET--
c=echo+taken
--ENV--
REMOTE_ADDR=192.0.2.7
--FILE--
<?php
require __DIR__ . '/../events.inc';
require __DIR__ . '/../fixtures/stream.inc';
unset($_GET, $_POST, $_COOKIE, $_REQUEST, $_FILES);
ScenarioStream::$on = ['close' => fn () => told(exec('echo taken'), request_field('remote_addr'))];
$global = fopen('scenario://late', 'r');
--EXPECT--
<br/>Command Execute Not Allowed @VARNO 2020-2030<br/>false, "192.0.2.7" <- command_execution blocked: exec | echo taken
