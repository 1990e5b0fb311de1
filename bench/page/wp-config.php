<?php
// WordPress as the benchmark runs it: a database of its own behind a socket.

define('DB_NAME', 'wordpress');
define('DB_USER', 'root');
define('DB_PASSWORD', '');
define('DB_HOST', 'localhost:' . getenv('BENCH_DATABASE'));
define('DB_CHARSET', 'utf8mb4');
define('DB_COLLATE', '');
define('WP_HOME', 'http://127.0.0.1:' . ($_SERVER['SERVER_PORT'] ?? '80'));
define('WP_SITEURL', WP_HOME);
define('WP_HTTP_BLOCK_EXTERNAL', true);
define('DISABLE_WP_CRON', true);
define('AUTOMATIC_UPDATER_DISABLED', true);
foreach (['AUTH', 'SECURE_AUTH', 'LOGGED_IN', 'NONCE'] as $name) {
    define($name . '_KEY', 'one of a benchmark');
    define($name . '_SALT', 'the other of a benchmark');
}
$table_prefix = 'wp_';
require ABSPATH . 'wp-settings.php';
