#ifndef VORGATE_REQUEST_SUPERGLOBALS_H
#define VORGATE_REQUEST_SUPERGLOBALS_H

// The arrays of the current request, as the engine keeps them. On the request's
// thread; what is missing is empty.

#include <cstddef>
#include <string>

#include "zend_api/engine.h"

// The request's array with the given TRACK_VARS_* index; null when there is none.
// Does not make _SERVER where the engine makes it on first use. The array stays
// the engine's.
HashTable* getHashTable(int track);

// The first string in _SERVER whose name equals the `name_len` bytes of `name`,
// ignoring ASCII case. Empty for every track but TRACK_VARS_SERVER.
std::string php_get_info(int track, const char* name, std::size_t name_len);

// The client's name of the first uploaded file; fields for several files are
// passed over.
std::string php_get_upload_file_name();

#endif  // VORGATE_REQUEST_SUPERGLOBALS_H
