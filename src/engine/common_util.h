#ifndef VORGATE_ENGINE_COMMON_UTIL_H
#define VORGATE_ENGINE_COMMON_UTIL_H

// The one engine of a process. Its methods belong to many rooms; each body stands
// in the room of its subject, and this header, with forward declarations alone,
// may be included from anywhere.

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "zend_api/fwd.h"

class IPhpHelp;
struct HttpInfo;
enum eParamType : int;

// Its public methods are exported, for whoever hooks what the module does not. Out
// of one called from outside the module, the engine's long jumps (zend_api/engine.h)
// go on to the caller's own.
class __attribute__((visibility("default"))) CCommonUtil {
 public:
  // The handler of an internal function of the engine.
  using handler = void (*)(zend_execute_data*, zval*);

  // Threads: init may run on several request threads at once, and takes a lock
  // until the reporting object exists. func_set is written at module start-up and
  // shut-down only. All else is read without a lock: see php_help.

  // --- Life (engine/common_util.cpp) ---

  static CCommonUtil* get_instance();
  // Called at every request start-up: tries to get the reporting object until
  // there is one, opening the agent's library where start-up could not. One line
  // in PHP's error log for each failed attempt to open it.
  void init();
  void cmd_collection_init();
  // Closes the agent's library: what dlclose answers, or non-zero when none is
  // open. The object that came from it must not be used any more.
  int release();
  std::map<std::string, handler>& get_func_set();

  // --- Saved handlers (module/wrappers.cpp) ---

  // Remembers a handler; the first one of a name stays.
  void add_func(const std::string& name, handler h);
  // Null, and remembered as such, for a name without one.
  handler get_func_by_name(const std::string& name);

  // --- Internal calls (module/hooks.cpp) ---

  // Whether the call may run; if not, `message` becomes the notice to print.
  bool check_internal_functions(zend_execute_data* execute_data, std::string& message);

  // --- Reporting (engine/channel.cpp); php_help must be set for the first and
  //     the last ---

  // Sends one event; see IPhpHelp::send_event for the arguments and the answer.
  int report_event(unsigned int code, const char* s1, const char* s2, const char* s3,
                   const char* s4, int i1, int i2, HttpInfo& info);
  // Tells of a file about to be created by function `a` at path `b`. For an upload
  // the client's file name is put into `info`. True when the agent refuses it.
  bool report_create_file(const char* a, const char* b, HttpInfo& info);
  bool is_in_white_list(HttpInfo& info);

  // --- Request parameters (request/parameters.cpp) ---

  void get_all_parameters(std::vector<std::string>& out, eParamType type);
  // Does a GET or POST parameter contain `s`? Never the other way round.
  bool is_param_contain_str(const std::string& s);
  // Does a GET, POST or COOKIE parameter equal `s`?
  bool is_param_equal_str(const std::string& s);
  // Does an entry contain `needle`, both read up to their first NUL byte? Unless
  // `first_only`, all such entries are put into `found`.
  bool find_str_in_parameters(std::vector<std::string>& params, const char* needle,
                              std::set<std::string>& found, bool first_only);

  // --- Detectors (detectors/). True to block, unless said otherwise. Each is
  //     silent and allows without a reporting object or in an exempt request. ---

  bool check_command_exec(const std::string& func_name, const std::string& command);
  bool check_command_from_param(const std::string& func_name, const std::string& command);
  bool check_cmd_in_collection(const std::string& word);

  bool check_code_exec(const std::string& source_name, const std::string& code);
  // 0 no relation to the request, 1 the code is a parameter, 2 the object being
  // unserialised comes from the request.
  int check_self_and_unserialize(const std::string& detail, const std::string& stack_text,
                                 std::string& unserialize_arg);
  bool get_unserialize_argument(const std::string& stack_text, std::string& arg);
  // Whether this run-time code is worth judging; if so, its kind and the part of
  // it to judge.
  bool is_it_toxic(const std::string& source_name, const std::string& code, std::string& kind,
                   std::string& detail);
  bool webshell_scan(const std::string& code, std::string& kind);

  bool check_phpinfo(const std::string& func_name);

  bool check_file_include(const char* path);
  bool is_exclude_file(const char* path);
  bool is_dangerous_path(const char* path);

  bool check_create_file(const std::string& func_name, const std::string& path);
  bool check_read_file(const std::string& function_name, const std::string& file_name);
  bool check_curl_ssrf(const std::string& function_name, const std::string& url);
  bool check_socket_connect(const std::string& function_name, const std::string& host);
  bool check_yaml_parse(const std::string& function_name, const std::string& document);
  // Called by nothing in the module; needs the reporting object. `message` is set
  // when an event is reported. When the engine runs out of memory meanwhile, the
  // call is left by the engine's long jump, and what it held is lost.
  bool check_xxe(const std::string& function_name, std::string& message);
  // True when the query may run. Needs the reporting object.
  bool is_safe_sql_query(const std::string& function_name);
  bool check_ldap_search(const std::string& function_name, const std::string& filter);

  // --- Fields ---

  // The agent's object, not owned; null until init gets it. It is published last,
  // with release order, after the word tables are complete: a thread that reads a
  // non-null value with acquire order sees complete tables, and they are never
  // written again. Everybody but init reads it by reporting_object().
  std::atomic<IPhpHelp*> php_help{nullptr};
  std::map<std::string, handler> func_set;
  std::set<std::string> sql_func_set;
  std::set<std::string> cmd_collection;

 private:
  CCommonUtil() = default;
  ~CCommonUtil() = default;
};

#endif  // VORGATE_ENGINE_COMMON_UTIL_H
