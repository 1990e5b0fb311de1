#include <string>

#include "engine/channel.h"
#include "engine/common_util.h"
#include "text/text.h"
#include "vorgate/php_help.h"

namespace event_detail = vorgate::event_detail;

namespace {

constexpr std::size_t large_script = 5120;

// A function that WordPress creates at run time for plural forms: known to be
// harmless, and waved through by exact comparison only.
constexpr const char* wordpress_created_function =
    "function __lambda_func($n){\n\t\t\t$index = (int)(0);\n\t\t\treturn ($index < 1)? $index : 1 "
    "- 1;}";

// What the engine puts around the text of a script: a code of `floor` bytes or
// less holds nothing else.
struct Wrapping {
  std::size_t floor;
  std::size_t head;
};
constexpr std::size_t tail = 1;
constexpr Wrapping returned{8, 7};            // "return " ... ";"
constexpr Wrapping created_function{29, 25};  // "function __lambda_func(){" ... "}"

bool unwrap(const std::string& code, const Wrapping& wrapping, std::string& detail) {
  if (code.size() <= wrapping.floor) return false;
  detail = code.substr(wrapping.head, code.size() - wrapping.head - tail);
  return true;
}

}  // namespace

bool CCommonUtil::is_it_toxic(const std::string& source_name, const std::string& code,
                              std::string& kind, std::string& detail) {
  if (contains(source_name, event_detail::eval_code)) {
    kind = event_detail::eval_code;
    detail = code;
    if (webshell_scan(code, kind)) return true;
    if (code.size() <= large_script) return true;
    IPhpHelp* agent = reporting_object();
    if (agent != nullptr && agent->scan_script(code.c_str(), 1) != 0) {
      kind = event_detail::web_shell;
    }
    return true;
  }
  for (const char* returned_kind :
       {event_detail::assert_code, event_detail::regexp_code, event_detail::mbregex_code}) {
    if (!contains(source_name, std::string(": ") + returned_kind)) continue;
    kind = returned_kind;
    return unwrap(code, returned, detail);
  }
  if (contains(source_name, std::string(": ") + event_detail::created_function)) {
    kind = event_detail::created_function;
    if (code.size() <= created_function.floor || code == wordpress_created_function) return false;
    unwrap(code, created_function, detail);
    webshell_scan(code, kind);
    return true;
  }
  return false;
}

bool CCommonUtil::webshell_scan(const std::string& code, std::string& kind) {
  IPhpHelp* agent = reporting_object();
  std::string family;
  if (agent == nullptr || !agent->scan_webshell(code, &family)) return false;
  kind = event_detail::web_shell_family_prefix + family;
  return true;
}
