<?php
// Classes of the application. Harmless in its own hands: what makes them
// dangerous is that view.php and settings.php let a visitor say which objects come
// to life.

declare(strict_types=1);

/** A preview that is finished when nobody needs it any longer. */
class Preview
{
    public string $finish = "printf 'previews are up to date\\n'";

    public function __destruct()
    {
        echo '<pre>';
        system($this->finish);
        echo "</pre>\n";
    }
}

/** A place on a machine, which finds out where it is when it is loaded. */
class Workspace
{
    public string $probe = 'uname -n';
    public string $machine = '';

    public function __wakeup(): void
    {
        $this->machine = (string) shell_exec($this->probe);
    }
}

/** A text in the making, which is kept again whenever it is loaded. */
class Draft
{
    public string $name = 'draft.txt';
    public string $text = '';

    public function __wakeup(): void
    {
        $kept = (int) file_put_contents(keeping_folder() . "/$this->name", $this->text);
        echo "<p>Draft kept, $kept bytes.</p>\n";
    }
}
