<?php
// The agent's event log, one JSON object a line.

declare(strict_types=1);

/** Reads the events that were appended since it last looked. */
final class EventLog
{
    private int $position;

    /** From a position in the log, or from its end. */
    public function __construct(private readonly string $path, ?int $position = null)
    {
        $this->position = $position ?? $this->size();
    }

    /** @return list<array> the new events, oldest first; a line still being written waits */
    public function fresh(): array
    {
        if ($this->size() <= $this->position) {
            return [];
        }
        $text = (string) file_get_contents($this->path, false, null, $this->position);
        $end = strrpos($text, "\n");
        if ($end === false) {
            return [];
        }
        $this->position += $end + 1;
        $lines = explode("\n", substr($text, 0, $end));
        return array_map(fn ($line) => json_decode($line, true, 16, JSON_THROW_ON_ERROR), $lines);
    }

    private function size(): int
    {
        clearstatcache(true, $this->path);
        return is_file($this->path) ? filesize($this->path) : 0;
    }
}

/** A finding, as opposed to the record of an ordinary call. */
function is_finding(array $event): bool
{
    return $event['verdict'] !== 'logged';
}

/** The event's code and name, for a reader. */
function event_title(array $event): string
{
    $code = match ($event['code']) {
        null => '-',
        0 => '0',
        default => sprintf('0x%05x', $event['code']),
    };
    return "$code {$event['event']}";
}
