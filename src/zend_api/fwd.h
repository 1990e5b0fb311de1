#ifndef VORGATE_ZEND_API_FWD_H
#define VORGATE_ZEND_API_FWD_H

// The names of the engine's records, for headers that only point at them.

#ifdef VORGATE_ENGINE_INSTALLED
struct _zend_execute_data;
struct _zval_struct;
using zend_execute_data = _zend_execute_data;
using zval = _zval_struct;
#else
struct zend_execute_data;
struct zval;
#endif

#endif  // VORGATE_ZEND_API_FWD_H
