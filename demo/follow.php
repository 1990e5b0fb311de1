<?php
// Prints the events of a log and those that come, one line each, until it is ended.
//
// Usage: php follow.php EVENT-LOG

declare(strict_types=1);

require __DIR__ . '/lib/events.php';
require __DIR__ . '/lib/terminal.php';

$log = new EventLog($argv[1], 0);
while (true) {
    foreach ($log->fresh() as $event) {
        $shade = ['blocked' => 'green', 'reported' => 'yellow'][$event['verdict']] ?? 'dim';
        $request = $event['request'];
        echo substr($event['time'], 11, 8), ' ', colour($shade, fit($event['verdict'], 8)), ' ',
            fit(event_title($event), 35), ' ', one_line($event['subject']), '  ',
            colour('dim', one_line("{$request['request_method']} {$request['request_uri']}"
                . " from {$request['remote_addr']}")), "\n";
    }
    usleep(100_000);
}
