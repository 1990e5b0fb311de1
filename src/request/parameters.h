#ifndef VORGATE_REQUEST_PARAMETERS_H
#define VORGATE_REQUEST_PARAMETERS_H

// The request's parameters: what a visitor sent by name in the query, the form
// and the cookies. Gathered afresh from the engine's arrays at every call.
//
// Only entries with a name count (?0=x has none), and arrays (a[]=x) are not
// looked into. A script's own writes to $_GET and the like go to a copy of the
// script's and are not seen here.
//
// The taint tests, CCommonUtil::is_param_contain_str and its kin, stand in
// parameters.cpp too.

#include <string>
#include <vector>

// Which parameters to gather, in which order.
enum eParamType : int {
  PARAM_GET = 0,
  PARAM_POST = 1,
  PARAM_COOKIE = 2,
  PARAM_GET_POST = 3,  // GET, then POST
  PARAM_ALL = 4,       // GET, then POST, then COOKIE
};

// Appends the non-empty values of one source (a TRACK_VARS_* index) to `out`. On
// GET a name without a value is a parameter itself: it is appended, and where it
// holds an underscore twice more, with the first one turned into the blank or
// the dot that the engine may have made it from.
void php_request_ht_strings(int track, std::vector<std::string>& out);

// One source as "name=value" joined by "&"; an array gives its name alone. With
// `max_len`, only that many bytes of it.
std::string php_request_raw_strings(int track, std::size_t max_len = std::string::npos);

// GET, then POST, as "name=value" joined by "&"; arrays are left out.
std::string php_request_value_strings();

#endif  // VORGATE_REQUEST_PARAMETERS_H
