<?php
// Before every page: counts the requests of this process, and from time to time notes
// the memory that it holds. `heap` is what the C library has given out, to the byte
// (PHP's own blocks are not part of it); `pages` is what no other process shares.

function meter(string $file)
{
    error_log('.', 3, "$file.count"); // not watched
    $count = filesize("$file.count");
    if ($count % 100) {
        return;
    }
    $heap = -1;
    if (extension_loaded('ffi')) {
        // The types live as long as this variable.
        $library = FFI::cdef('typedef struct { size_t value[10]; } info; info mallinfo2(void);');
        $info = $library->mallinfo2();
        $heap = $info->value[4] + $info->value[7]; // mapped, and from its pools
    }
    preg_match_all('/^Private_\w+: +(\d+)/m', (string) @file_get_contents('/proc/self/smaps_rollup'), $pages);
    error_log("$count $heap " . array_sum($pages[1]) * 1024 . "\n", 3, $file);
}

meter(dirname(__DIR__) . '/meter/' . getmypid());
