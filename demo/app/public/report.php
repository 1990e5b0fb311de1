<?php
require __DIR__ . '/../lib/page.php';

// For the templates.
function figure(string $command): string
{
    $pipe = popen($command, 'r');
    if (!is_resource($pipe)) {
        return 'no figure';
    }
    $figure = (string) stream_get_contents($pipe);
    pclose($pipe);
    return trim($figure);
}

page_start();
$name = preg_replace('/[^a-z]/', '', $_GET['name'] ?? 'weekly');
$template = (string) file_get_contents(__DIR__ . "/../templates/$name.tpl");
$staff = 12;
$sick = 1;
echo '<pre>';
// Wrong: a template is code, and whoever can write to its folder can run some.
eval('?>' . preg_replace('/{{(.+?)}}/', '<?= $1 ?>', $template));
echo "</pre>\n";
page_end();
