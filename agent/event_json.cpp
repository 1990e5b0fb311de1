#include "agent/event_json.h"

#include <unistd.h>

#include <array>
#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

#include "agent/base64.h"
#include "agent/categories.h"
#include "agent/text.h"
#include "agent/utc.h"

namespace vorgate::agent {
namespace {

using Json = nlohmann::ordered_json;
using Info = IPhpHelp::MQ_HttpInfo;

struct InfoField {
  const char* name;
  const char* Info::*text;
};

constexpr std::array<InfoField, 14> info_fields{{
    {"server_name", &Info::server_name},
    {"script_path", &Info::script_path},
    {"request_uri", &Info::request_uri},
    {"query_string", &Info::query_string},
    {"request_method", &Info::request_method},
    {"remote_addr", &Info::remote_addr},
    {"user_agent", &Info::user_agent},
    {"referer", &Info::referer},
    {"cookie", &Info::cookie},
    {"forwarded_for", &Info::forwarded_for},
    {"content_type", &Info::content_type},
    {"reserved", &Info::reserved},
    {"upload_file_name", &Info::upload_file_name},
    {"stack_trace", &Info::stack_trace},
}};

// Strict: no overlong forms, no surrogates, nothing above U+10FFFF.
bool is_utf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    if (lead < 0x80) continue;
    const int more = lead >= 0xf0 ? 3 : lead >= 0xe0 ? 2 : 1;
    if (lead < 0xc2 || lead > 0xf4) return false;
    for (int k = 0; k < more; ++k, ++i) {
      if (i == text.size()) return false;
      const auto next = static_cast<unsigned char>(text[i]);
      unsigned int least = 0x80;
      unsigned int most = 0xbf;
      if (k == 0) {
        if (lead == 0xe0) least = 0xa0;
        if (lead == 0xed) most = 0x9f;
        if (lead == 0xf0) least = 0x90;
        if (lead == 0xf4) most = 0x8f;
      }
      if (next < least || next > most) return false;
    }
  }
  return true;
}

std::string host_name() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

// Of the rows for a code, the first that fits names the event and its category. Only
// texts that come from code are compared, and from their first byte to their last: a
// call chain holds what a visitor sent.
struct NamedEvent {
  EventCode code;
  const char* kind;    // null: any
  const char* detail;  // null: any; else how it begins
  const char* rest;    // how the detail goes on; null: with any name of the agent's own
  const char* name;
  std::optional<BlockCategory> category;
};

constexpr std::array<NamedEvent, 17> named_events{{
    {EventCode::record, event_kind::connect, nullptr, nullptr, event_name::connection_record, {}},
    {EventCode::record, nullptr, nullptr, nullptr, event_name::execution_record, {}},
    {EventCode::query_injection, nullptr, "ldap_search", "", event_name::ldap_injection,
     BlockCategory::query_injection},
    {EventCode::query_injection, nullptr, nullptr, nullptr, event_name::sql_injection,
     BlockCategory::query_injection},
    {EventCode::file_include, nullptr, nullptr, nullptr, event_name::file_include,
     BlockCategory::file_access},
    {EventCode::deserialisation, event_kind::create, nullptr, nullptr,
     event_name::deserialisation_file_create, BlockCategory::deserialisation},
    {EventCode::deserialisation, nullptr, event_detail::yaml_object_prefix, "yaml_parse",
     event_name::yaml_object, BlockCategory::deserialisation},
    {EventCode::deserialisation, nullptr, nullptr, nullptr, event_name::deserialisation_chain,
     BlockCategory::deserialisation},
    {EventCode::request_forgery, nullptr, nullptr, nullptr, event_name::request_forgery,
     BlockCategory::file_access},
    {EventCode::xml_external_entity, nullptr, nullptr, nullptr, event_name::xml_external_entity,
     BlockCategory::query_injection},
    {EventCode::command_execution, nullptr, nullptr, nullptr, event_name::command_execution,
     BlockCategory::command_execution},
    {EventCode::file_read, nullptr, nullptr, nullptr, event_name::file_read,
     BlockCategory::file_access},
    {EventCode::request_execution, event_kind::connect, nullptr, nullptr,
     event_name::request_named_connection, BlockCategory::code_execution},
    {EventCode::request_execution, event_kind::run_web_shell, nullptr, nullptr,
     event_name::web_shell, BlockCategory::code_execution},
    {EventCode::request_execution, nullptr, event_detail::web_shell_family_prefix,
     event_detail::unscanned, event_name::script_unscanned, BlockCategory::code_execution},
    {EventCode::request_execution, nullptr, event_detail::web_shell_family_prefix, nullptr,
     event_name::web_shell, BlockCategory::code_execution},
    {EventCode::request_execution, nullptr, nullptr, nullptr, event_name::code_execution,
     BlockCategory::code_execution},
}};

bool fits(std::string_view detail, const NamedEvent& row) {
  if (row.detail == nullptr) return true;
  if (!starts_with(detail, row.detail)) return false;
  return row.rest == nullptr || detail.substr(std::string_view(row.detail).size()) == row.rest;
}

NamedEvent named(const Event& event) {
  constexpr auto other = EventCode::record;
  if (!event.code) {
    const char* const name =
        event.is_script_upload ? event_name::script_upload : event_name::file_create;
    return {other, nullptr, nullptr, nullptr, name, BlockCategory::deserialisation};
  }
  for (const NamedEvent& row : named_events) {
    if (static_cast<unsigned int>(row.code) != *event.code) continue;
    if (row.kind != nullptr && view(event.kind) != row.kind) continue;
    if (fits(view(event.detail), row)) return row;
  }
  return {other, nullptr, nullptr, nullptr, event_name::unknown, {}};
}

Json category_name(std::optional<BlockCategory> category) {
  for (const NamedCategory& each : categories) {
    if (category == each.category) return each.name;
  }
  return nullptr;
}

const char* verdict(const Event& event) {
  if (event.code.value_or(0) == 0 && !event.is_script_upload) return event_verdict::logged;
  return event.allowed ? event_verdict::reported : event_verdict::blocked;
}

}  // namespace

std::string event_line(const Event& event, std::uint32_t lost_before) {
  static constexpr Info nothing{};
  Json raw = Json::object();
  const auto put = [&raw](Json& object, const char* prefix, const char* name, const char* value) {
    const std::string_view text = view(value);
    object[name] = text;
    if (!is_utf8(text)) raw[std::string(prefix) + name] = to_base64(text);
  };

  Json line;
  line["time"] = utc_text(now_us());
  line["host"] = host_name();
  line["pid"] = getpid();
  line["tid"] = gettid();
  const NamedEvent name = named(event);
  line["event"] = name.name;
  line["code"] = event.code ? Json(*event.code) : Json(nullptr);
  line["category"] = category_name(name.category);
  line["verdict"] = verdict(event);
  put(line, "", "kind", event.kind);
  put(line, "", "detail", event.detail);
  put(line, "", "target", event.target);
  put(line, "", "subject", event.subject);
  const Info& info = event.info != nullptr ? *event.info : nothing;
  Json& request = line["request"] = Json::object();
  for (const InfoField& field : info_fields) put(request, "request.", field.name, info.*field.text);
  if (!raw.empty()) line["raw"] = std::move(raw);
  if (lost_before > 0) line["lost_before"] = lost_before;
  return line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

}  // namespace vorgate::agent
