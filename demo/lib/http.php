<?php
// Sends one row of requests.php.

declare(strict_types=1);

/** What an application answered: status line, headers in order, body. */
final class Answer
{
    public function __construct(
        public readonly string $head,
        public readonly string $body,
    ) {
    }

    /** What the pattern finds in the body, its first group if it has one; null if nothing. */
    public function find(string $pattern): ?string
    {
        return preg_match($pattern, $this->body, $match) ? $match[1] ?? $match[0] : null;
    }

    public function equals(self $other): bool
    {
        return $this->head === $other->head && $this->body === $other->body;
    }
}

/** Sends a row to the application at this address; throws when nobody answers. */
function send(string $base, array $row): Answer
{
    $header = ['Connection: close', 'User-Agent: demonstration'];
    $cookies = [];
    foreach ($row['cookie'] ?? [] as $name => $value) {
        $cookies[] = $name . '=' . rawurlencode($value);
    }
    if ($cookies) {
        $header[] = 'Cookie: ' . implode('; ', $cookies);
    }
    $http = ['method' => method($row), 'timeout' => 30, 'ignore_errors' => true];
    if (isset($row['post'])) {
        $header[] = 'Content-Type: application/x-www-form-urlencoded';
        $http['content'] = http_build_query($row['post']);
    }
    if (isset($row['file'])) {
        [$name, $text] = $row['file'];
        $header[] = 'Content-Type: multipart/form-data; boundary=frontier';
        $http['content'] = "--frontier\r\nContent-Disposition: form-data; name=\"file\"; "
            . "filename=\"$name\"\r\n\r\n$text\r\n--frontier--\r\n";
    }
    $query = $row['query'] ?? http_build_query($row['get'] ?? []);
    $url = $base . '/' . $row['page'] . ($query === '' ? '' : "?$query");
    $context = stream_context_create(['http' => $http + ['header' => $header]]);
    $body = @file_get_contents($url, false, $context);
    if ($body === false) {
        throw new RuntimeException("no answer from $url");
    }
    // These two differ between any two servers, or any two moments.
    $head = preg_grep('/^(Host|Date):/', $http_response_header, PREG_GREP_INVERT);
    return new Answer(implode("\n", $head), $body);
}

function method(array $row): string
{
    return isset($row['post']) || isset($row['file']) ? 'POST' : 'GET';
}
