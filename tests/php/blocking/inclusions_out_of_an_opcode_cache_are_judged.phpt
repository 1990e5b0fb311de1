--TEST--
Each inclusion of a cached file is judged, under every setting of the cache; to put a file there is no inclusion
--EXTENSIONS--
Zend OPcache
phar
--FILE--
<?php
require __DIR__ . '/../events.inc';
$kin = '<?php echo "kin "; function early() {} if (1) { function late() {} } class Early extends Known {} enum One {}';
$root = own_folder([
    'page.inc' => "<?php echo 'page ';",
    'kin.inc' => $kin,
    'fresh.inc' => $kin,
    'known.inc' => '<?php class Known {} opcache_compile_file(__DIR__ . "/page.inc");',
    'all.inc' => '<?php
        class_exists("Known") || require "known.inc";
        if (isset($_GET["cache"])) return print json_encode(opcache_compile_file($_GET["cache"]));
        if (isset($_GET["code"])) return [include "kin.inc", include "phar://a.tar/page.inc", eval($_GET["code"])];
        $page = $_GET["page"];
        echo json_encode(include $page), json_encode(require $page);
        echo json_encode(include_once $page), json_encode(require_once $page);
        $is_there = fn ($name) => function_exists($name) || class_exists($name);
        echo implode(array_filter(["early", "late", "Early", "One"], $is_there));',
]);
(new PharData('a.tar'))->addFromString('page.inc', "<?php echo 'archived ';");
mkdir('files');
putenv("VORGATE_AGENT_CONFIG=$root/policy.toml");
function enforce(string $enforcement): void
{
    put('policy.toml', "enforcement = '$enforcement'\n[log]\npath = '" . getenv('VORGATE_TEST_LOG') . "'\n");
    sleep(1);  // by then the agent looks at it again
}
enforce('report');
$workers = array_map(fn ($options) => start_worker($root, $options), [
    'plain' => '',
    'unchanging' => '-d opcache.validate_timestamps=0',
    'JIT' => '-d opcache.jit_buffer_size=8M -d opcache.jit=tracing',
    'files' => "-d opcache.file_cache='$root/files' -d opcache.file_cache_only=1",
    'preloaded' => "-d opcache.preload='$root/known.inc' -d opcache.preload_user=" . get_current_user(),
]);
function tell(string $query): void
{
    foreach ($GLOBALS['workers'] as $name => [$request, $pid]) {
        $page = $request('all.inc', $query);
        $events = array_map(fn ($line) => " $line[event] $line[verdict]", unheard($pid));
        foreach (array_count_values($events) as $event => $times) {
            $page .= " + $times$event";
        }
        $told[$page][] = $name;
    }
    foreach ($told as $page => $names) {
        echo printable($query), ', ', count($names) === 5 ? 'all' : implode(', ', $names), ": $page\n";
    }
}
tell('code=echo+1;');
tell("page=$root/page.inc");
enforce('block');
tell("page=$root/page.inc");
tell("page=$root/kin.inc");
tell('page=phar://a.tar/page.inc');
tell('cache=fresh.inc');
tell("page=$root/fresh.inc");
tell('code=echo+1;');
--EXPECT--
code=echo+1;, all: kin archived 1 + 1 code_execution reported
page=FOLDER/page.inc, all: page 1page 1truetrue + 2 file_include reported
page=FOLDER/page.inc, all: [File]false[File]falsetruetrue + 2 file_include blocked
page=FOLDER/kin.inc, all: [File]false[File]falsetruetrue + 2 file_include blocked
page=phar://a.tar/page.inc, plain, JIT, files, preloaded: [File]false[File]false[File]falsetrue + 3 file_include blocked
page=phar://a.tar/page.inc, unchanging: [File]false[File]falsetruetrue + 2 file_include blocked
cache=fresh.inc, all: true
page=FOLDER/fresh.inc, all: [File]false[File]falsetruetrue + 2 file_include blocked
code=echo+1;, all: kin archived [Command] + 1 code_execution blocked
