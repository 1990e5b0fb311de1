<?php
// Before every page: notes what the C library has given out in this process, to the byte.
// PHP's own blocks are not part of it.

function meter(): int
{
    if (!extension_loaded('ffi')) {
        return -1;
    }
    // The types live as long as this variable.
    $library = FFI::cdef('typedef struct { size_t value[10]; } info; info mallinfo2(void);');
    $info = $library->mallinfo2();
    return $info->value[4] + $info->value[7]; // mapped, and from its pools
}

error_log(meter() . "\n", 3, dirname(__DIR__) . '/meter/' . getmypid()); // not watched
