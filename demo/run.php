<?php
// Sends every request of a list to an unprotected and a protected application,
// compares, and prints the table.
//
// Usage: php run.php LIST UNPROTECTED-URL PROTECTED-URL EVENT-LOG
// Environment: COLUMNS (width of the table), NO_COLOR.
// Exit status: 0 when every attack worked on the unprotected application, caused
// its event and was stopped, and every ordinary request was answered alike by
// both and caused no finding; else 1.

declare(strict_types=1);

require __DIR__ . '/lib/events.php';
require __DIR__ . '/lib/http.php';
require __DIR__ . '/lib/terminal.php';

/** What became of one request. */
final class Outcome
{
    public string $worked = '';
    public string $protected = '';
    public ?array $event = null;
    /** @var list<string> what is not as it should be */
    public array $faults = [];
}

/** @param list<array> $events what the protected application's agent wrote meanwhile */
function judge(array $row, Answer $plain, Answer $protected, array $events): Outcome
{
    $outcome = new Outcome();
    $findings = array_values(array_filter($events, 'is_finding'));
    $outcome->event = $findings[0] ?? $events[0] ?? null;
    $evidence = $plain->find($row['evidence']);
    if ($evidence === null) {
        $outcome->faults[] = 'did nothing in the unprotected application';
    }
    $outcome->worked = $evidence ?? 'NOTHING';

    if (!isset($row['attack'])) {
        if ($findings) {
            $outcome->faults[] = 'an ordinary request, and reported';
        }
        if (!$plain->equals($protected)) {
            $outcome->faults[] = 'the protected application answered something else';
        }
        $outcome->protected = $outcome->faults ? 'DISTURBED' : 'left alone';
        return $outcome;
    }

    foreach ($findings as $finding) {
        if ($finding['event'] === $row['attack']) {
            $outcome->event = $finding;
        }
    }
    $event = $outcome->event;
    if (!$findings || $event['event'] !== $row['attack']) {
        $outcome->faults[] = "no event {$row['attack']}";
    }
    $verdict = $findings ? $event['verdict'] : 'left alone';
    if ($verdict !== 'blocked') {
        $outcome->faults[] = 'not stopped';
    } elseif ($protected->find($row['evidence']) !== null) {
        $outcome->faults[] = 'said to be blocked, and worked all the same';
    }
    $outcome->protected = $outcome->faults ? strtoupper($verdict) : $verdict;
    return $outcome;
}

/** A request for a reader: page and values as the application sees them. */
function request_text(array $row): string
{
    $values = [];
    foreach (['get', 'post', 'cookie'] as $source) {
        foreach ($row[$source] ?? [] as $name => $value) {
            $values[] = ($source === 'cookie' ? 'cookie ' : '') . "$name=$value";
        }
    }
    if (isset($row['file'])) {
        $values[] = "file {$row['file'][0]}";
    }
    $shown = $row['shown'] ?? $row['query'] ?? implode(' & ', $values);
    return (method($row) === 'GET' ? '' : 'POST ') . basename($row['page'], '.php') . ' ' . $shown;
}

/** @return list<int> the widths of the five columns, for the terminal at hand */
function column_widths(): array
{
    $total = min(max((int) getenv('COLUMNS') ?: 112, 104), 160);
    $about = 22;
    $fixed = [13, 10, 35];
    return [$about, $total - $about - array_sum($fixed) - 8, ...$fixed];
}

/** @param list<string> $cells one for each column */
function line(array $cells): array
{
    static $widths = null;
    $widths ??= column_widths();
    return array_map('fit', $cells, $widths);
}

function print_row(array $row, Outcome $outcome): void
{
    $attack = isset($row['attack']);
    $event = $outcome->event;
    $cells = line([
        $row['about'],
        request_text($row),
        $outcome->worked,
        $outcome->protected,
        $event === null ? '-' : event_title($event),
    ]);
    $shade = $outcome->faults ? 'red' : ($attack ? 'green' : 'dim');
    if ($attack || $outcome->faults) {
        $cells[2] = colour($outcome->faults ? 'red' : 'yellow', $cells[2]);
    }
    $cells[3] = colour($shade, $cells[3]);
    $cells[4] = $attack ? $cells[4] : colour('dim', $cells[4]);
    echo rtrim(implode('  ', $cells)), "\n";
    foreach ($outcome->faults as $fault) {
        echo colour('red', '  ! ' . one_line($fault . ': ' . request_text($row))), "\n";
    }
}

if ($argc !== 5) {
    fwrite(STDERR, "usage: php run.php LIST UNPROTECTED-URL PROTECTED-URL EVENT-LOG\n");
    exit(2);
}
[, $list, $plain_url, $protected_url, $log_path] = $argv;
$log = new EventLog($log_path);
$attacks = $stopped = $ordinary = $disturbed = $faults = 0;

echo colour('bold', rtrim(implode('  ', line(
    ['Request', '', 'Unprotected', 'Protected', 'Event']
)))), "\n";
foreach (require $list as $heading => $rows) {
    echo colour('bold', $heading), "\n";
    foreach ($rows as $row) {
        if (($row['left out'] ?? '') !== '') {
            echo colour('dim', one_line("{$row['about']}: left out, {$row['left out']}")), "\n";
            continue;
        }
        try {
            $plain = send($plain_url, $row);
            $protected = send($protected_url, $row);
        } catch (RuntimeException $gone) {
            fwrite(STDERR, "{$row['about']}: {$gone->getMessage()}\n");
            exit(1);
        }
        $outcome = judge($row, $plain, $protected, $log->fresh());
        print_row($row, $outcome);
        $sound = !$outcome->faults;
        $faults += $sound ? 0 : 1;
        if (isset($row['attack'])) {
            $attacks += 1;
            $stopped += $sound ? 1 : 0;
        } else {
            $ordinary += 1;
            $disturbed += $sound ? 0 : 1;
        }
    }
}
$summary = "$stopped of $attacks attacks stopped, $disturbed of $ordinary ordinary requests disturbed.";
echo "\n", colour($faults ? 'red' : 'green', $summary), "\n";
exit($faults ? 1 : 0);
