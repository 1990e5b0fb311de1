<?php
// The frame around every page of the toolbox.

declare(strict_types=1);

/** The pages in the order of the navigation: file => [title, what it is for]. */
const PAGES = [
    'index.php' => ['Intranet toolbox', 'Small helpers for the office, grown over the years.'],
    'lookup.php' => ['Host lookup', 'The addresses behind a host name.'],
    'weekday.php' => ['Weekday', 'On which day of the week does a date fall?'],
    'status.php' => ['System facts', 'One fact about the machine at a time.'],
    'words.php' => ['Word count', 'Counts the words of a text.'],
    'disk.php' => ['Disk usage', 'How much space a shared folder takes.'],
    'jobs.php' => ['Jobs', 'Queues a job for the night.'],
    'console.php' => ['Console', 'Left over from the last migration.'],
    'help.php' => ['Help', 'Explains a topic.'],
    'greeting.php' => ['Greeting', 'Greets you the way you like it.'],
    'view.php' => ['Saved view', 'Your list, sorted as you left it.'],
    'report.php' => ['Reports', 'Figures in the form of a template.'],
    'calculator.php' => ['Calculator', 'Sums, and small scripts of the accounts department.'],
    'board.php' => ['Notice board', 'One notice at a time, each a template.'],
    'search.php' => ['Staff search', 'Who sits where?'],
    'directory.php' => ['Directory', 'The telephone number behind a short name.'],
    'document.php' => ['Documents', 'The handbook, page by page.'],
    'upload.php' => ['Upload', 'Keeps a file for the others.'],
    'picture.php' => ['Pictures', 'A picture of the intranet, or of another place.'],
    'reach.php' => ['Reachable?', 'Does the intranet answer?'],
    'settings.php' => ['Settings', 'Imports your settings.'],
    'server.php' => ['Server', 'What the server runs on.'],
];

function text(string $value): string
{
    return htmlspecialchars($value, ENT_QUOTES | ENT_SUBSTITUTE);
}

/** The folder of what visitors keep here. */
function keeping_folder(): string
{
    return getenv('TOOLBOX_FOLDER') ?: sys_get_temp_dir();
}

/** Prints everything above the page's own content. */
function page_start(): void
{
    $current = basename($_SERVER['SCRIPT_NAME']);
    [$title, $purpose] = PAGES[$current];
    echo "<!doctype html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\">",
        '<meta name="viewport" content="width=device-width, initial-scale=1"><title>', text($title),
        "</title><link rel=\"stylesheet\" href=\"style.css\"></head>\n<body>\n<nav>";
    foreach (PAGES as $file => [$name]) {
        $class = $file === $current ? ' class="current"' : '';
        echo "<a href=\"$file\"$class>", text($name), '</a>';
    }
    echo "</nav>\n<main>\n<h1>", text($title), "</h1>\n<p>", text($purpose), "</p>\n";
}

/** Prints everything below it. */
function page_end(): void
{
    echo "</main>\n<footer>Vulnerable on purpose: never let anybody else reach this.</footer>\n",
        "</body>\n</html>\n";
}

/** Prints what a command answered. */
function output(string $result): void
{
    echo '<pre>', text($result), "</pre>\n";
}

/** Prints a form with one field. */
function form(string $field, string $label, string $value, string $method = 'get'): void
{
    echo "<form method=\"$method\"><label>", text($label), " <input name=\"$field\" value=\"",
        text($value), "\"></label> <button>Go</button></form>\n";
}
