#include <string>
#include <vector>

#include "detectors/finding.h"
#include "engine/common_util.h"
#include "stack/backtrace.h"
#include "text/text.h"

namespace {

bool parses_xml_text(const std::string& function_name) {
  return function_name == "simplexml_load_string" || function_name == "DOMDocument::loadXML" ||
         function_name == "SimpleXMLElement::__construct";
}

bool declares_external_entity(const std::string& document) {
  return contains(document, " SYSTEM") && contains(document, "!DOCTYPE") &&
         contains(document, "!ENTITY");
}

}  // namespace

// No taint test either: the document's shape alone decides.
bool CCommonUtil::check_xxe(const std::string& function_name, std::string& message) {
  if (!parses_xml_text(function_name)) return false;
  std::vector<arginfo> arguments;
  get_args_info(arguments);
  for (const arginfo& argument : arguments) {
    if (argument.type != arginfo::string || !declares_external_entity(argument.sval)) continue;

    HttpInfo info;
    if (!open_record(info, CallStack::without)) return false;
    const bool block = report_finding(
        {vorgate::EventCode::xml_external_entity, vorgate::BlockCategory::query_injection,
         vorgate::event_kind::parse_xml, function_name.c_str(), vorgate::event_target::command,
         argument.sval.c_str()},
        info);
    message = "XXE injection detected @VARNO 2020-2030.";
    return block;
  }
  return false;
}
