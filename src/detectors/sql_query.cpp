#include <algorithm>
#include <string>
#include <vector>

#include "detectors/finding.h"
#include "engine/channel.h"
#include "engine/common_util.h"
#include "request/parameters.h"
#include "stack/backtrace.h"

namespace {

// What the agent's two tests found in one argument of a query function.
struct QueryFinding {
  const char* kind = nullptr;  // null: nothing
  std::string detail;
};

// The agent's texts end at their first NUL byte: a visitor who sends one would hide
// all that follows. Blanks in their place keep query and values comparable.
std::string without_nul(std::string text) {
  std::replace(text.begin(), text.end(), '\0', ' ');
  return text;
}

QueryFinding test_query(IPhpHelp& agent, const std::string& function_name,
                        const std::string& query) {
  QueryFinding finding;
  if (agent.lookup_sql(query.c_str(), &finding.detail)) {
    finding.kind = vorgate::event_kind::query_by_shape;
  } else if (agent.match_sql(query.c_str(), without_nul(php_request_value_strings()).c_str())) {
    finding.kind = vorgate::event_kind::query_by_values;
    finding.detail = function_name;
  }
  return finding;
}

}  // namespace

bool CCommonUtil::is_safe_sql_query(const std::string& function_name) {
  if (sql_func_set.count(function_name) == 0) return true;
  std::vector<arginfo> arguments;
  get_args_info(arguments);
  IPhpHelp& agent = *reporting_object();
  const int mode = block_mode(vorgate::BlockCategory::query_injection);
  for (const arginfo& argument : arguments) {
    if (argument.type != arginfo::string) continue;
    const std::string query = without_nul(argument.sval);
    const QueryFinding found = test_query(agent, function_name, query);
    if (found.kind == nullptr) continue;

    HttpInfo info;
    if (!open_record(info, CallStack::without)) return true;
    send_finding({vorgate::EventCode::query_injection, vorgate::BlockCategory::query_injection,
                  found.kind, found.detail.c_str(), vorgate::event_target::command, query.c_str()},
                 mode, info);
    // Exactly 1, unlike everywhere else: any other mode lets the query run.
    return mode != 1;
  }
  return true;
}
