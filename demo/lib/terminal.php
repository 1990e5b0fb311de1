<?php
// Text for a terminal. What comes from a request is never printed as it is: it
// could hold control characters.

declare(strict_types=1);

/** On one line, with the characters that a terminal could obey made visible as "?". */
function one_line(string $text): string
{
    return preg_replace('/[^\x20-\x7e]/', '?', preg_replace('/\s+/', ' ', $text));
}

/** At exactly this width: cut, with a sign that it was, or filled up. */
function fit(string $text, int $width): string
{
    $text = one_line($text);
    return strlen($text) > $width ? substr($text, 0, $width - 1) . '…' : str_pad($text, $width);
}

/** In colour where the reader is at a terminal and has not asked for none. */
function colour(string $name, string $text): string
{
    static $coloured = null;
    $coloured ??= stream_isatty(STDOUT) && (string) getenv('NO_COLOR') === '';
    $codes = ['red' => '1;31', 'green' => '32', 'yellow' => '33', 'dim' => '2', 'bold' => '1'];
    return $coloured ? "\e[{$codes[$name]}m$text\e[0m" : $text;
}
