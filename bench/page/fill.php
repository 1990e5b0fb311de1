<?php
// Installs WordPress into its empty database and writes a dozen posts with comments.
//
//   fill.php FOLDER-OF-WORDPRESS

(new mysqli('localhost', 'root', '', '', 0, getenv('BENCH_DATABASE')))->query('CREATE DATABASE wordpress');
define('WP_INSTALLING', true);
define('WP_DEBUG', true); // or it would fail in silence
$_SERVER += ['HTTP_HOST' => '127.0.0.1', 'REQUEST_URI' => '/'];
require "$argv[1]/wp-load.php";
require ABSPATH . 'wp-admin/includes/upgrade.php';

function wp_mail(): bool
{
    return true; // the benchmark sends no post
}

wp_install('The lamp shop', 'admin', 'admin@example.org', true, '', 'not a secret');
for ($i = 1; $i <= 12; $i++) {
    $text = str_repeat("<p>It's a lamp, number $i; \"bright\" &amp; <em>warm</em>, at 50% -- today only.</p>\n", 30);
    $post = wp_insert_post(['post_title' => "Lamp $i", 'post_content' => $text, 'post_status' => 'publish',
        'post_author' => 1, 'tags_input' => ['lamp', "kind $i"]], true);
    if (!is_int($post)) {
        throw new Exception($post->get_error_message());
    }
    for ($j = 1; $j <= 5; $j++) {
        wp_insert_comment(['comment_post_ID' => $post, 'comment_author' => "O'Brien $j", 'comment_content' => 'Nice.']);
    }
}
