<?php
// Writes seeds for the fuzzing targets, made of the tests' own cases:
//   php seeds.php CLONE FOLDER
// One folder for each target; an input's form is that of input.h.

[, $clone, $out] = $argv;

class Seed
{
    private array $texts = [];
    private string $choices = '';

    function choose(int ...$choices): static
    {
        $this->choices .= pack('C*', ...$choices);
        return $this;
    }

    function text(string ...$texts): static
    {
        foreach ($texts as $text) {
            $earlier = array_search($text, $this->texts, true);
            if ($earlier !== false) {
                $this->choose(1);
                if (count($this->texts) > 1) $this->choose($earlier);
                continue;
            }
            if ($this->texts) $this->choose(0);
            $this->texts[] = $text;
        }
        return $this;
    }

    function value(mixed $value, int $depth = 2): static
    {
        if (is_string($value)) return $this->choose(0)->text($value);
        if (is_bool($value)) return $this->choose(6, (int) $value);
        if (is_array($value) && isset($value['$'])) {
            return $this->choose(['object' => 2, 'resource' => 3, 'undef' => 4][$value['$']]);
        }
        if (is_array($value) && $depth > 0) return $this->choose(8)->entries($value, $depth - 1);
        if (!is_int($value)) return $this->choose(5);
        $this->choose(1);
        $this->choices .= pack('J', $value ^ PHP_INT_MIN);
        return $this;
    }

    function entries(array $entries, int $depth = 2): static
    {
        $this->choose(min(count($entries), 7));
        foreach (array_slice($entries, 0, 7, true) as $name => $value) {
            $this->text(is_int($name) ? "#$name" : $name)->value($value, $depth);
        }
        return $this;
    }

    function write(string $target): void
    {
        global $out;
        static $number = 0;
        if (!is_dir("$out/$target")) mkdir("$out/$target", recursive: true);
        $texts = array_map(fn ($text) => str_replace('\\', '\\\\', $text) . "\\\n", $this->texts);
        file_put_contents("$out/$target/" . $number++, implode($texts) . strrev($this->choices));
    }
}

function cases(string $file): array
{
    global $clone;
    $text = file_get_contents("$clone/tests/$file");
    if (!str_ends_with($file, '.jsonl')) return json_decode($text, true, flags: JSON_THROW_ON_ERROR);
    $lines = explode("\n", trim($text));
    return array_map(fn ($line) => json_decode($line, true, flags: JSON_THROW_ON_ERROR), $lines);
}

foreach (['injections', 'ordinary', 'values', 'lexer', 'normal_forms', 'rules'] as $file) {
    foreach (cases("data/sql/$file.jsonl") as $case) {
        $query = $case['query'] ?? $case['text'] ?? $case['match'];
        (new Seed)->text($query, $case['values'] ?? '')->write('sql');
    }
}

foreach (['agent/policies', 'agent/policy_faults', 'sql/rule_faults'] as $file) {
    foreach (cases("data/$file.jsonl") as $case) {
        foreach ($case['requests'] ?? [[]] as $asked) {
            $asked += ['server_name' => '', 'request_uri' => '', 'remote_addr' => '', 'forwarded_for' => ''];
            (new Seed)->text($case['policy'] ?? $case['text'], $asked['server_name'], $asked['request_uri'],
                $asked['remote_addr'], $asked['forwarded_for'])->write('policy');
        }
    }
}

foreach (cases('data/agent/events.jsonl') as $number => $case) {
    (new Seed)->choose($number % 12)->text($case['kind'], $case['detail'], "\xff\u{1f418}")->write('event');
}

foreach (cases('unit/data/rendered_frames.json') as [$frame]) {
    (new Seed)->choose(1)->value($frame, 1)->choose(...(is_array($frame) ? [0, 0, 0, 0] : []))
        ->choose(16, 0, 31)->write('stack');
}
foreach (cases('unit/data/chains.json') as [$text]) {
    (new Seed)->choose(0, 16, 0, 31)->text($text)->write('stack');
}

// Each call with its argument in the query, the form or a cookie, told and refused.
$functions = array_values(array_unique(array_column(cases('unit/data/watched_calls.json'), 0)));
foreach (cases('unit/data/watched_calls.json') as [$function, $arguments]) {
    foreach (range(0, 2) as $source) {
        $seed = (new Seed)->choose(array_search($function, $functions), min($source, 1), 0, count($arguments));
        foreach ($arguments as $argument) $seed->value($argument);
        for ($track = 0; $track < 5; ++$track) {
            $seed->entries($track == $source ? ['q' => '!php/object phpinfo()'] : []);
        }
        $seed->text('', '', 'multipart/form-data; boundary=x')->choose($source);
        foreach (array_slice(['__destruct', 'unserialize'], 0, $source) as $frame) $seed->text($frame)->entries([]);
        $seed->choose($source % 2)->write('calls');
        (new Seed)->entries(['q' => $function, 'a_b' => '', '0' => 'x', 'list' => $arguments])->write('request');
    }
}
// Queries, with the first value that came along.
foreach (array_slice(cases('data/sql/injections.jsonl'), 0, 40) as $number => $case) {
    [$name, $value] = explode('=', explode('&', $case['values'])[0], 2);
    (new Seed)->choose(count($functions) + $number % 3, 1, 0, 1)->value($case['query'])
        ->entries([$name => $value])->write('calls');
}
// Compilations.
foreach ([...cases('unit/data/detectors.json'), ...cases('unit/data/trace-7.1-ts.json')] as $case) {
    if (!in_array($case['check'], ['code', 'include', 'xxe'])) continue;
    $what = count($functions) + 3 + array_search($case['check'], ['include', 'code', 'xxe']);
    $text = $case['args'][$case['check'] == 'code' ? 1 : 0];
    $seed = (new Seed)->choose($what, 1, 0, 0)->entries(['q' => is_string($case['get'] ?? 0) ? $case['get'] : $text]);
    for ($track = 1; $track < 5; ++$track) $seed->entries([]);
    $seed->text($text, $case['args'][0], '');
    $frames = array_slice(array_filter($case['stack'] ?? [], is_array(...)), 0, 7);
    $seed->choose(count($frames));
    foreach ($frames as $frame) $seed->text($frame['function'] ?? '')->entries($frame['args'] ?? [], 1);
    $seed->choose(0, 0, 0, 0, 0, 0, 1)->write('calls');
}
