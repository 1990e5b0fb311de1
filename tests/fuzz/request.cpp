// The request's arrays: parameters, texts of pairs, entries of _SERVER, uploads.

#include "fuzz/input.h"
#include "request/http_info.h"
#include "request/parameters.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::request(nullptr, [&](CCommonUtil& engine) {
    fuzz::Input input(data, size);
    for (const int track : {TRACK_VARS_GET, TRACK_VARS_POST, TRACK_VARS_COOKIE}) {
      host::set_request_array(track, input.entries());
      const std::string whole = php_request_raw_strings(track);
      const std::size_t limit = input.choice(256);
      HOLDS(php_request_raw_strings(track, limit) == whole.substr(0, limit));
    }
    HOLDS(php_request_value_strings().size() <=
          php_request_raw_strings(TRACK_VARS_GET).size() +
              php_request_raw_strings(TRACK_VARS_POST).size() + 1);

    // The taint tests look at the same as is gathered.
    const std::string needle = input.text();
    const auto some = [&](eParamType type, auto test) {
      host::Lines parameters;
      engine.get_all_parameters(parameters, type);
      return std::any_of(parameters.begin(), parameters.end(), test);
    };
    HOLDS(engine.is_param_equal_str(needle) ==
          some(PARAM_ALL, [&](const std::string& each) { return each == needle; }));
    HOLDS(engine.is_param_contain_str(needle) ==
          some(PARAM_GET_POST, [&](auto& each) { return each.find(needle) != each.npos; }));

    host::globals.core.auto_globals_jit = input.flag() ? 1 : 0;
    host::state.server = input.entries();
    host::set_request_array(TRACK_VARS_FILES, input.entries());
    if (input.flag()) host::state.leaves_at = "server";
    const std::string method = input.flag() ? "POST" : input.text();
    std::string query = input.text();
    host::globals.sapi.request_info.request_method = method.c_str();
    host::globals.sapi.request_info.query_string = query.data();
    HttpInfo info;
    const bool back = host::comes_back([&] {
      php_get_part_http_info(info);
      php_get_left_http_info(info, true);
      info.upload_file_name = php_get_upload_file_name();
      zend_api::resume_bailout();
    });
    HOLDS(back == (host::state.leaves_at.empty() || host::state.server_requests == 0));
    HOLDS(info.query_string.size() <= query.size() + 4097);
  });
  return 0;
}
