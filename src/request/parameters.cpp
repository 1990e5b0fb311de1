#include "request/parameters.h"

#include <set>
#include <string_view>

#include "engine/common_util.h"
#include "request/superglobals.h"
#include "text/text.h"
#include "zend_api/engine.h"

namespace {

// The sources of a set of parameters, in gathering order.
std::vector<int> sources(eParamType type) {
  switch (type) {
    case PARAM_GET:
      return {TRACK_VARS_GET};
    case PARAM_POST:
      return {TRACK_VARS_POST};
    case PARAM_COOKIE:
      return {TRACK_VARS_COOKIE};
    case PARAM_GET_POST:
      return {TRACK_VARS_GET, TRACK_VARS_POST};
    default:
      return {TRACK_VARS_GET, TRACK_VARS_POST, TRACK_VARS_COOKIE};
  }
}

// The forms of a GET name that came without a value.
std::vector<std::string> bare_name_forms(std::string_view name) {
  std::vector<std::string> forms{std::string(name)};
  const std::size_t underscore = name.find('_');
  if (underscore == name.npos) return forms;
  for (const char original : {' ', '.'}) forms.emplace_back(name)[underscore] = original;
  return forms;
}

// Calls visit(parameter) for each parameter of one source, without copying it,
// until it answers false; answers whether it never did.
template <typename Visit>
bool for_each_parameter(int track, Visit&& visit) {
  HashTable* source = getHashTable(track);
  if (source == nullptr) return true;
  bool go_on = true;
  zend_api::for_each(source, [&](const zend_string* name, const zval* value) {
    if (name == nullptr || zend_api::type_of(value) != IS_STRING) return true;
    const std::string_view text = zend_api::text(value);
    if (!text.empty()) {
      go_on = visit(text);
    } else if (track == TRACK_VARS_GET) {
      for (const std::string& form : bare_name_forms(zend_api::text(name))) {
        go_on = go_on && visit(std::string_view(form));
      }
    }
    return go_on;
  });
  return go_on;
}

// Whether the test holds for some parameter of the set.
template <typename Test>
bool any_parameter(eParamType type, Test&& test) {
  for (const int track : sources(type)) {
    if (!for_each_parameter(track, [&](std::string_view parameter) { return !test(parameter); })) {
      return true;
    }
  }
  return false;
}

}  // namespace

void php_request_ht_strings(int track, std::vector<std::string>& out) {
  for_each_parameter(track, [&](std::string_view parameter) {
    out.emplace_back(parameter);
    return true;
  });
}

std::string php_request_raw_strings(int track, std::size_t max_len) {
  std::string query;
  HashTable* source = getHashTable(track);
  if (source == nullptr) return query;
  bool first = true;
  zend_api::for_each(source, [&](const zend_string* name, const zval* value) {
    if (name == nullptr) return true;
    if (!first) query += '&';
    first = false;
    query += zend_api::text(name);
    if (zend_api::type_of(value) == IS_STRING) {
      query += '=';
      query += zend_api::text(value).substr(0, max_len);
    }
    return query.size() < max_len;
  });
  reserve_custom_len(query, max_len);
  return query;
}

std::string php_request_value_strings() {
  std::string query;
  bool first = true;
  for (const int track : {TRACK_VARS_GET, TRACK_VARS_POST}) {
    HashTable* source = getHashTable(track);
    if (source == nullptr) continue;
    zend_api::for_each(source, [&](const zend_string* name, const zval* value) {
      if (name == nullptr || zend_api::type_of(value) != IS_STRING) return true;
      if (!first) query += '&';
      first = false;
      query += zend_api::text(name);
      query += '=';
      query += zend_api::text(value);
      return true;
    });
  }
  return query;
}

void CCommonUtil::get_all_parameters(std::vector<std::string>& out, eParamType type) {
  for (const int track : sources(type)) php_request_ht_strings(track, out);
}

bool CCommonUtil::is_param_contain_str(const std::string& s) {
  return any_parameter(PARAM_GET_POST,
                       [&](std::string_view parameter) { return contains(parameter, s); });
}

bool CCommonUtil::is_param_equal_str(const std::string& s) {
  return any_parameter(PARAM_ALL, [&](std::string_view parameter) { return parameter == s; });
}

bool CCommonUtil::find_str_in_parameters(std::vector<std::string>& params, const char* needle,
                                         std::set<std::string>& found, bool first_only) {
  bool any = false;
  for (const std::string& parameter : params) {
    if (!contains_c_string(parameter.c_str(), needle)) continue;
    any = true;
    if (first_only) break;
    found.insert(parameter);
  }
  return any;
}
