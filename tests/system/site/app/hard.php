<?php
// Pages that ask much of the module. A stream of the kind "hard" does something while a
// watched call opens it.

class Hard
{
    public $context;

    public function stream_open($path)
    {
        $kinds = [
            'exit' => function () { exit('left'); },
            'time' => function () { set_time_limit(1); for (;;); },
            'memory' => function () { ini_set('memory_limit', '8M'); for ($text = 'x';; $text .= $text); },
            'throw' => function () { throw new Error('thrown'); },
        ];
        $kinds[substr($path, 7)]();
    }
}

stream_wrapper_register('hard', 'Hard');

function deep(int $depth, string $v)
{
    return $depth ? deep($depth - 1, $v) : system("printf %s $v");
}

function run(string $code, string $v)
{
    return eval($code);
}

// Calls each watched function with a text in each of its places for strings, "{v}".
function torture(string $v)
{
    $things = ['{v}' => $v, '{socket}' => socket_create(AF_INET, SOCK_STREAM, SOL_TCP), '{curl}' => curl_init()];
    $things += ['{ldap}' => ldap_connect('ldap://127.0.0.1:1')];
    $calls = json_decode(file_get_contents(__DIR__ . '/calls.json'));
    foreach ($calls as $call) {
        try {
            ob_start();
            @array_shift($call)(...array_map(function ($argument) use ($things) {
                return is_string($argument) ? $things[$argument] ?? $argument : $argument;
            }, $call));
        } catch (Throwable $error) {
            // What the function itself thinks of it.
        } finally {
            ob_end_clean();
        }
    }
    return count($calls);
}

return [
    'hard' => function ($v) { echo $v === 'include' ? include 'hard://time' : file_get_contents("hard://$v"); },
    'deep' => function ($v) { deep(10000, $v); },
    'many' => function ($v) { echo count($_POST), ' '; system("printf %s $v"); },
    'big' => function ($v) { echo strlen($v), ' '; echo file_get_contents(__DIR__ . '/part.php'); },
    'long' => function ($v) { echo eval('return 1;' . str_repeat('#', 10 << 20)); },
    'code' => function ($v) { echo eval($v); },
    // The other way round it is not the request's.
    'torture' => function ($v) { echo torture($v) + torture(strrev($v)); },
    'pid' => function ($v) { echo getmypid(); },
];
