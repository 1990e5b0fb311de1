<?php
// The benchmark's whole script: calls, strings, arrays and objects, about as a long
// request of an ordinary application has them, and no watched call.

abstract class Shape
{
    public function __construct(protected float $size, private string $name)
    {
    }

    abstract public function area(): float;

    public function label(): string
    {
        return sprintf('%s of %.2f', ucfirst($this->name), $this->area());
    }
}

final class Square extends Shape
{
    public function area(): float
    {
        return $this->size ** 2;
    }
}

final class Circle extends Shape
{
    public function area(): float
    {
        return M_PI * $this->size ** 2;
    }
}

function fibonacci(int $n): int
{
    return $n < 2 ? $n : fibonacci($n - 1) + fibonacci($n - 2);
}

function count_words(string $text): array
{
    $counts = [];
    foreach (preg_split('/\W+/', strtolower($text), -1, PREG_SPLIT_NO_EMPTY) as $word) {
        $counts[$word] = ($counts[$word] ?? 0) + 1;
    }
    arsort($counts);
    return $counts;
}

function sieve(int $limit): int
{
    $prime = array_fill(2, $limit - 1, true);
    for ($i = 2; $i * $i <= $limit; $i++) {
        if ($prime[$i]) {
            for ($j = $i * $i; $j <= $limit; $j += $i) {
                $prime[$j] = false;
            }
        }
    }
    return count(array_filter($prime));
}

function matrix(int $n): float
{
    $a = $b = [];
    for ($i = 0; $i < $n; $i++) {
        for ($j = 0; $j < $n; $j++) {
            $a[$i][$j] = $i + $j;
            $b[$i][$j] = $i - $j;
        }
    }
    $sum = 0.0;
    for ($i = 0; $i < $n; $i++) {
        for ($j = 0; $j < $n; $j++) {
            $cell = 0;
            for ($k = 0; $k < $n; $k++) {
                $cell += $a[$i][$k] * $b[$k][$j];
            }
            $sum += $cell;
        }
    }
    return $sum;
}

function whole_script(): string
{
    $text = str_repeat('The quick brown fox jumps over the lazy dog; naturally, it does so twice. ', 200);
    $result = [fibonacci(22), sieve(60_000), matrix(40)];
    for ($i = 0; $i < 30; $i++) {
        $result[] = array_key_first(count_words($text));
        $result[] = strlen(str_replace(['fox', 'dog'], ['cat', 'bird'], $text));
        $result[] = md5(htmlspecialchars($text . $i));
        $result[] = strlen(json_encode(json_decode(json_encode(['list' => range(1, 300), 'text' => $text]), true)));
    }
    $shapes = [];
    for ($i = 1; $i <= 6_000; $i++) {
        $shapes[] = $i % 2 ? new Square($i / 7, 'square') : new Circle($i / 9, 'circle');
    }
    usort($shapes, fn ($a, $b) => $a->area() <=> $b->area());
    foreach ($shapes as $shape) {
        $result[] = $shape->label();
    }
    for ($i = 0, $line = ''; $i < 60_000; $i++) {
        $line .= chr(65 + $i % 26);
        if (strlen($line) > 70) {
            $result[] = strrev(trim(substr($line, 3, 60)));
            $line = '';
        }
    }
    return md5(implode("\n", $result));
}
