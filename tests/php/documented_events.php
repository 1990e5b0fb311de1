<?php
// Holds the table of docs/events.md against the events that the scenarios wrote,
// and against the codes of the public header.
//
//   documented_events.php ROOT EVENT-LOG...

[, $root] = $argv;
$faults = [];

$documented = [];
$page = file_get_contents("$root/docs/events.md");
[, $table] = explode('<!-- events -->', $page);
foreach (explode("\n", explode('<!-- /events -->', $table)[0]) as $line) {
    $cells = array_map(fn($cell) => trim($cell, ' `'), explode('|', $line));
    if (count($cells) < 10 || $cells[1] === 'Event' || $cells[1][0] === '-') {
        continue;
    }
    [, $event, $code, $kind, , $target, , $category, , $produced] = $cells;
    $code = $code === 'none' ? null : intval($code, 0);
    $category = preg_match('/`(\w+)/', $category, $name) ? $name[1] : null;
    $documented["$event, $kind, $target"] = compact('code', 'category', 'produced');
}

$seen = [];
foreach (array_slice($argv, 2) as $log) {
    foreach (file($log) as $line) {
        $event = json_decode($line, true);
        if (isset($event['kind'])) {
            $seen["$event[event], $event[kind], $event[target]"] = $event;
        }
    }
}

foreach ($seen as $name => $event) {
    $row = $documented[$name] ?? null;
    if ($row === null) {
        $faults[] = "not in the table: $name";
        continue;
    }
    if ($row['code'] !== $event['code']) {
        $faults[] = "$name has code " . json_encode($event['code']);
    }
    // A plain record and a creation ask no category.
    if ($row['category'] !== null && $row['category'] !== $event['category']) {
        $faults[] = "$name has category " . json_encode($event['category']);
    }
}
foreach ($documented as $name => $row) {
    if ($row['produced'] === 'scenario' && !isset($seen[$name])) {
        $faults[] = "no scenario produces $name";
    }
}

preg_match('/enum class EventCode.*?};/s', file_get_contents("$root/include/vorgate/php_help.h"), $codes);
preg_match_all('/= (\w+),/', $codes[0], $codes);
$codes = array_map(fn($code) => intval($code, 0), $codes[1]);
$listed = array_filter(array_column($documented, 'code'), 'is_int');
foreach ([...array_diff($codes, $listed), ...array_diff($listed, $codes)] as $code) {
    $faults[] = sprintf('code 0x%x stands in the table or in php_help.h only', $code);
}

printf("%d kinds of events seen, %d documented\n", count($seen), count($documented));
foreach ($faults as $fault) {
    fwrite(STDERR, "docs/events.md: $fault\n");
}
exit($faults === [] && $seen !== [] ? 0 : 1);
