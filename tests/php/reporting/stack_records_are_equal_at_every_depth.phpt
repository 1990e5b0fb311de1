--TEST--
The stack record is what the engine's own backtrace says, at every depth and through every kind of call
--FILE--
<?php
require __DIR__ . '/../events.inc';
own_folder(['step.inc' => '<?php return step($left)($left - 1);']);
function step(int $left): callable
{
    global $steps, $shift;
    $number = $shift < 40 * count($steps) ? $shift : hexdec(substr(md5("$shift $left"), 0, 6));  // each alone, then mixed
    return $left ? $steps[$number % count($steps)] : 'leaf';
}
function leaf(int $left, ...$more): string
{
    $frames = array_map('frame', array_slice(debug_backtrace(0), 0, 15));
    $GLOBALS['expected'][] = "copy(missing, there)\n" . implode($frames);
    return @copy('missing', 'there') ? 'copied' : 'not copied';
}
function frame(array $frame): string
{
    $text = implode(array_map(fn ($value) => match (get_debug_type($value)) {
        'bool' => $value ? 'true, ' : 'false, ',
        'int' => unpack('l', pack('l', $value))[1] . ', ',
        'float' => 'tnull, ',
        'string' => substr($value, 0, 1024) . ', ',
        default => '',
    }, $frame['args'] ?? []));
    $text = preg_replace('~\n\z~', '', strlen($text) > 3 ? substr($text, 0, -2) : $text);
    return (isset($frame['class']) ? "$frame[class]::" : '') . "$frame[function]($text)\n";
}
#[Attribute, Kind]
class Kind
{
    static $at;
    public $left;
    function __construct() { [$left, self::$at] = [self::$at, null]; isset($left) && step($left)($left - 1); }
    static function with($left) { $kind = new Kind(); $kind->left = $left; return $kind; }
    function method($left) { return step($left)($left - 1); }
    static function fixed($left)
    {
        return step($left)($left - 1, true, null, 0.5, [], 1 << 33 | 7, str_repeat('x', 1100), "line\n");
    }
    function __call($name, $arguments) { return step($arguments[0])($arguments[0] - 1, "\n"); }
    function __toString(): string { step($this->left)($this->left - 1); return 'text'; }
    function __destruct() { $this->left !== null && step($this->left)($this->left - 1); }
}
function generated($left) { yield step($left)($left - 1); }
function delegated($left) { yield from generated($left); }
$steps = [
    fn ($left) => step($left)($left - 1),
    [new Kind(), 'method'],
    'Kind::fixed',
    fn ($left) => (new Kind())->missing($left),
    function ($left) { $dying = Kind::with($left); unset($dying); },
    function ($left) { $kind = Kind::with($left); strlen($kind); $kind->left = null; },
    fn ($left) => iterator_to_array(generated($left)),
    function ($left) { foreach (delegated($left) as $value); },
    fn ($left) => include 'step.inc',
    fn ($left) => eval('return step($left)($left - 1);'),
    fn ($left) => array_map(step($left), [$left - 1]),
    fn ($left) => call_user_func(step($left), $left - 1),
    fn ($left) => (new ReflectionMethod('Kind', 'fixed'))->invoke(null, $left),
    function ($left) {
        $fiber = new Fiber(fn () => step(Fiber::suspend())($left - 1));
        try { $fiber->start(); } catch (FiberError) { return leaf($left); }  // none may start in a destructor
        $fiber->resume($left);
    },
    fn ($left) => [Kind::$at = $left, (new ReflectionClass('Kind'))->getAttributes('Kind')[0]->newInstance()],
    function ($left) { $values = [$left, $left]; usort($values, fn ($one) => step($one)($one - 1) <=> 0); },
];
foreach (range(0, 1399) as $shift) {
    step($shift % 40 + 1)($shift % 40 + 1);
}
function deep($left) { return $left ? deep($left - 1) : step($left)($left); }
deep(10_000);
$told = array_filter(agent_lines(getmypid()), fn ($line) => $line['kind'] === 'create');
$records = array_map(fn ($line) => $line['request']['stack_trace'], array_values($told));
echo count($records), ' records, ', count(array_unique($records)), ' different, unexpected: ',
    short(array_diff_assoc($records, $expected)), "\n";
--EXPECT--
1401 records, 779 different, unexpected: []
