#ifndef VORGATE_ZEND_API_INSTALLED_H
#define VORGATE_ZEND_API_INSTALLED_H

// The installed PHP's own headers (7.1 and later, thread-safe or not) behind the
// names that the rest of the module uses. Included through engine.h only.

extern "C" {
#include <SAPI.h>
#include <ext/standard/info.h>
#include <main/snprintf.h>
#include <php.h>

#include <zend_builtin_functions.h>
#include <zend_compile.h>
#include <zend_extensions.h>
}

// What differs from engine to engine in the signature of the compile hooks.
#if PHP_VERSION_ID < 80000
using zend_result = int;
#endif
#if PHP_VERSION_ID < 70200
using zif_handler = void (*)(INTERNAL_FUNCTION_PARAMETERS);
#endif
#if PHP_VERSION_ID >= 80000
using zend_api_compiled_source = zend_string;
using zend_api_compiled_name = const char*;
#else
using zend_api_compiled_source = zval;
using zend_api_compiled_name = char*;
#endif
#if PHP_VERSION_ID >= 80200
#define ZEND_API_COMPILE_POSITION_PARAMETER , zend_compile_position position
#define ZEND_API_COMPILE_POSITION_ARGUMENT , position
#else
#define ZEND_API_COMPILE_POSITION_PARAMETER
#define ZEND_API_COMPILE_POSITION_ARGUMENT
#endif

#endif  // VORGATE_ZEND_API_INSTALLED_H
