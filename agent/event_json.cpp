#include "agent/event_json.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include <nlohmann/json.hpp>

#include "agent/categories.h"

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

std::string_view view(const char* text) { return text != nullptr ? text : ""; }

bool starts_with(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

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

// RFC 3339 in UTC. Without gmtime_r, which takes a lock of the C library that a
// fork can leave closed.
std::string timestamp() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const long second_of_day = now.tv_sec % 86400;
  long day = now.tv_sec / 86400;
  long year = 1970;
  const auto leap = [&] { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); };
  for (; day >= (leap() ? 366 : 365); ++year) day -= leap() ? 366 : 365;
  std::array<long, 12> month_days{31, leap() ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::size_t month = 0;
  for (; day >= month_days[month]; ++month) day -= month_days[month];
  char text[96];
  std::snprintf(text, sizeof text, "%04ld-%02zu-%02ldT%02ld:%02ld:%02ld.%06ldZ", year, month + 1,
                day + 1, second_of_day / 3600, second_of_day / 60 % 60, second_of_day % 60,
                now.tv_nsec / 1000);
  return text;
}

std::string host_name() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

const char* event_name(const Event& event) {
  const std::string_view kind = view(event.kind);
  const std::string_view detail = view(event.detail);
  if (!event.code) return event.is_script_upload ? "script_upload" : "file_create";
  switch (static_cast<EventCode>(*event.code)) {
    case EventCode::record:
      return kind == "connect" ? "connection_record" : "execution_record";
    case EventCode::query_injection:
      return detail == "ldap_search" ? "ldap_injection" : "sql_injection";
    case EventCode::file_include:
      return "file_include";
    case EventCode::deserialisation:
      if (kind == "create") return "deserialisation_file_create";
      return starts_with(detail, "unserialize:") ? "yaml_object" : "deserialisation_chain";
    case EventCode::request_forgery:
      return "request_forgery";
    case EventCode::xml_external_entity:
      return "xml_external_entity";
    case EventCode::command_execution:
      return "command_execution";
    case EventCode::file_read:
      return "file_read";
    case EventCode::request_execution:
      if (kind == "connect") return "request_named_connection";
      return kind == "execute_command_2" || starts_with(detail, "chopper->") ? "web_shell"
                                                                             : "code_execution";
  }
  return "unknown";
}

std::optional<BlockCategory> category_of(const Event& event) {
  if (!event.code) return BlockCategory::deserialisation;
  switch (static_cast<EventCode>(*event.code)) {
    case EventCode::record:
      return std::nullopt;
    case EventCode::query_injection:
    case EventCode::xml_external_entity:
      return BlockCategory::query_injection;
    case EventCode::file_include:
    case EventCode::request_forgery:
    case EventCode::file_read:
      return BlockCategory::file_access;
    case EventCode::deserialisation:
      return BlockCategory::deserialisation;
    case EventCode::command_execution:
      return BlockCategory::command_execution;
    case EventCode::request_execution:
      return BlockCategory::code_execution;
  }
  return std::nullopt;
}

Json category_name(const Event& event) {
  const std::optional<BlockCategory> category = category_of(event);
  for (const NamedCategory& each : categories) {
    if (category == each.category) return each.name;
  }
  return nullptr;
}

const char* verdict(const Event& event) {
  if (event.code.value_or(0) == 0 && !event.is_script_upload) return "logged";
  return event.allowed ? "reported" : "blocked";
}

}  // namespace

std::string base64(std::string_view bytes) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += i + k > bytes.size() ? '=' : digits[group >> (18 - 6 * k) & 63];
    }
  }
  return out;
}

std::string event_line(const Event& event, std::uint32_t lost_before) {
  static constexpr Info nothing{};
  Json raw = Json::object();
  const auto put = [&raw](Json& object, const char* prefix, const char* name, const char* value) {
    const std::string_view text = view(value);
    object[name] = text;
    if (!is_utf8(text)) raw[std::string(prefix) + name] = base64(text);
  };

  Json line;
  line["time"] = timestamp();
  line["host"] = host_name();
  line["pid"] = getpid();
  line["tid"] = gettid();
  line["event"] = event_name(event);
  line["code"] = event.code ? Json(*event.code) : Json(nullptr);
  line["category"] = category_name(event);
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
