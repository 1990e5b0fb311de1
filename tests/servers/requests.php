<?php
// The requests of requests.json, and what became of them.
//
//   requests.php lua URL FOLDER       asks the unprotected server for the answers; writes
//                                     FOLDER/requests.lua and FOLDER/requests.ser
//   requests.php send URL FOLDER ROW  sends the first row named ROW; prints "refused" or
//                                     "done" for an attack, "same" or "changed" for another
//   requests.php get URL DO [V]       prints status and page of one request; V is posted, or
//                                     @FILE is posted as it is
//   requests.php events FOLDER        prints what is in FOLDER/events/events.jsonl, by name
//   requests.php check FOLDER [lost] [unanswered]
//                                     compares FOLDER/load.txt with FOLDER/events/events*.jsonl;
//                                     prints the figures. A fault allows what is named: lines
//                                     lost and counted, or requests without an answer
//   requests.php memory FOLDER BYTES  each worker between its 1,000th and its last request
//
// Exit status: 0 as it must be, 1 not so.

function get(string $url, string $method = 'GET', array $headers = [], string $body = ''): array
{
    $options = ['method' => $method, 'header' => $headers, 'content' => $body, 'ignore_errors' => true, 'timeout' => 60];
    $page = @file_get_contents($url, false, stream_context_create(['http' => $options]));
    return [(int) substr($http_response_header[0] ?? '', 9, 3), $page];
}

function send(string $url, array $row): array
{
    $headers = array_map(fn ($name, $value) => "$name: $value", array_keys($row['headers']), $row['headers']);
    return get($url . $row['path'], $row['method'], $headers, $row['body']);
}

function lua(string $text): string
{
    return '"' . preg_replace_callback('/[^ -!#-[\]-~]/', fn ($byte) => sprintf('\\%03d', ord($byte[0])), $text) . '"';
}

function prepare(string $url, string $folder): int
{
    [, $page] = get("$url/index.php");
    $rows = [];
    foreach (json_decode(strtr(file_get_contents(__DIR__ . '/requests.json'), ['{folder}' => $folder]), true, 8, JSON_THROW_ON_ERROR) as $row) {
        if (!preg_match('/ ' . ($row['needs'] ?? 'core') . '\b/i', $page)) {
            echo "left out, for want of {$row['needs']}: {$row['do']}\n";
            continue;
        }
        $encode = fn ($values) => http_build_query(array_map(!empty($row['base64']) ? 'base64_encode' : 'strval', $values));
        $row += ['get' => [], 'post' => [], 'cookie' => [], 'events' => [], 'times' => 1];
        $cookie = http_build_query($row['cookie'], '', '; ', PHP_QUERY_RFC3986);
        $row['headers'] = $cookie ? ['Cookie' => $cookie] : [];
        $row['body'] = $encode($row['post']);
        $row['method'] = $row['post'] ? 'POST' : 'GET';
        $row['headers'] += $row['post'] ? ['Content-Type' => 'application/x-www-form-urlencoded'] : [];
        $row['path'] = "/index.php?do={$row['do']}" . ($row['get'] ? '&' . $encode($row['get']) : '');
        [$status, $row['answer']] = send($url, $row);
        $row['attack'] = (bool) preg_grep('/blocked/', $row['events']);
        if ($status !== 200 || $row['attack'] && !str_contains($row['answer'], 'stolen')) {
            echo "unprotected, {$row['path']} gives $status: {$row['answer']}\n";
            return 1;
        }
        array_push($rows, ...array_fill(0, $row['times'], $row));
    }
    $text = "return {\n";
    foreach ($rows as $row) {
        $headers = array_map(fn ($name, $value) => '["' . $name . '"]=' . lua($value), array_keys($row['headers']), $row['headers']);
        $text .= sprintf("{method=%s,path=%s,body=%s,headers={%s},%s=%s},\n", lua($row['method']), lua($row['path']),
            lua($row['body']), implode(',', $headers), ...($row['attack'] ? ['evidence', '"stolen"'] : ['answer', lua($row['answer'])]));
    }
    file_put_contents("$folder/requests.lua", "$text}\n");
    file_put_contents("$folder/requests.ser", serialize($rows));
    return 0;
}

function name(array $event): string
{
    return sprintf(isset($event['code']) ? '0x%x %s %s' : 'none %2$s %3$s', $event['code'], $event['event'], $event['verdict']);
}

function check(string $folder, array $allowed): int
{
    $rows = unserialize(file_get_contents("$folder/requests.ser"));
    [$seen, $torn, $lost, $strange] = [[], 0, 0, 0];
    foreach (glob("$folder/events/events*.jsonl") as $log) {
        foreach (new SplFileObject($log) as $line) {
            $event = json_decode($line, true);
            if ($event === null) {
                $torn += $line !== '';
                continue;
            }
            $lost += $event['lost_before'] ?? 0;
            $id = $event['request']['user_agent'];
            if (str_starts_with($id, 'load ')) {
                $seen[substr($id, 5)][] = name($event);
            }
        }
    }
    preg_match_all('/^sent (\d+)\nwrong(.*)\nunanswered(.*)$/m', file_get_contents("$folder/load.txt"), $threads, PREG_SET_ORDER);
    [$requests, $attacks, $events, $missing, $open, $faults] = [0, 0, 0, 0, [], []];
    foreach ($threads as $number => [, $sent, $wrong, $unanswered]) {
        array_push($faults, ...array_map(fn ($id) => "wrong answer $id", preg_split('/ /', $wrong, 0, PREG_SPLIT_NO_EMPTY)));
        $open += array_flip(preg_split('/ /', $unanswered, 0, PREG_SPLIT_NO_EMPTY));
        for ($i = 1; $i <= $sent; $i++) {
            $place = ($i + 5 * ($number + 1)) % count($rows) + 1;
            $id = $number + 1 . "-$i-$place";
            $row = $rows[$place - 1];
            $got = $seen[$id] ?? [];
            unset($seen[$id]);
            [$requests, $attacks, $events] = [$requests + 1, $attacks + $row['attack'], $events + count($got)];
            $part = $got === array_values(array_intersect($row['events'], $got));
            if ($part && $got !== $row['events'] && !isset($open[$id]) && in_array('lost', $allowed)) {
                $missing += count($row['events']) - count($got);
            } elseif ($got !== $row['events'] && !($part && isset($open[$id]))) {
                $faults[] = "$id {$row['path']}: [" . implode(', ', $got) . '] in place of [' . implode(', ', $row['events']) . ']';
            }
        }
    }
    foreach ($open && !in_array('unanswered', $allowed) ? $open : [] as $id => $_) {
        $faults[] = "no answer to $id";
    }
    foreach ($seen as $id => $_) {
        $faults[] = "an event of nobody's request: $id";
    }
    if ($missing !== $lost) {
        $faults[] = "$missing events missing, $lost counted as lost";
    }
    if ($torn && !in_array('lost', $allowed) || $attacks < 20) {
        $faults[] = "$torn torn lines, $attacks attacks";
    }
    printf("%d requests, %d attacks, %d events, %d lost and counted, %d torn, %d unanswered, %d wrong",
        $requests, $attacks, $events, $lost, $torn, count($open), count($faults));
    fprintf(STDERR, '%s', implode("\n", array_slice($faults, 0, 10)) . ($faults ? "\n" : ''));
    return (int) (bool) $faults;
}

// Behind its 1,000th request a worker may hold 16 KiB and, for each further request, of which
// there must be 500 at least, $each bytes more than at it. Where the heap's exact figure is
// not to be had, pages are counted, and 1 MiB is allowed.
function memory(string $folder, int $each): int
{
    [$worst, $bad, $what, $counters] = [-INF, 0, 'nothing', glob("$folder/meter/*.count")];
    foreach ($counters as $counter) {
        $samples = array_map(fn ($line) => explode(' ', $line), @file(substr($counter, 0, -6)) ?: []);
        $samples = array_values(array_filter($samples, fn ($sample) => $sample[0] >= 1000));
        [$from, $to] = [$samples[0] ?? [0, 0, 0], end($samples) ?: [0, 0, 0]];
        $key = $from[1] < 0 ? 2 : 1;
        [$requests, $growth] = [$to[0] - $from[0], $to[$key] - $from[$key]];
        $bad += $requests < 500 || $growth > ($key === 1 ? 16384 : 1 << 20) + $each * $requests;
        if ($growth > $worst) {
            [$worst, $what] = [$growth, sprintf('%s %+d bytes, own pages %+d KiB in %d requests', ['', 'heap', 'pages'][$key],
                $growth, ($to[2] - $from[2]) / 1024, $requests)];
        }
    }
    printf('worst of %d workers %s', count($counters), $what);
    return (int) ($bad || !$counters);
}

[, $command, $url] = $argv;
switch ($command) {
    case 'lua':
        exit(prepare($url, $argv[3]));
    case 'check':
        exit(check($url, array_slice($argv, 3)));
    case 'events':
        foreach (@file("$url/events/events.jsonl") ?: [] as $line) {
            $events[] = name(json_decode($line, true, 8, JSON_THROW_ON_ERROR));
        }
        exit(implode(', ', $events ?? []));
    case 'memory':
        exit(memory($url, $argv[3]));
    case 'get':
        $value = $argv[4] ?? '';
        $body = str_starts_with($value, '@') ? file_get_contents(substr($value, 1)) : http_build_query(['v' => $value]);
        echo implode(' ', get("$url/index.php?do=$argv[3]", 'POST', ['Content-Type: application/x-www-form-urlencoded'], $body)), "\n";
        exit(0);
    case 'send':
        foreach (unserialize(file_get_contents("$argv[3]/requests.ser")) as $row) {
            if ($argv[4] === $row['do'] . ($row['attack'] ? '!' : '')) {
                [$status, $answer] = send($url, $row);
                $word = $row['attack'] ? (str_contains($answer, 'stolen') ? 'done' : 'refused') : ($answer === $row['answer'] ? 'same' : 'changed');
                echo $status === 200 ? $word : "status $status", "\n";
                exit(0);
            }
        }
        exit("no row $argv[4]\n");
}
