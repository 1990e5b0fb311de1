#include "event_json.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace vorgate::agent {
namespace {

using Json = nlohmann::ordered_json;

std::string decoded(const std::string& base64) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned int bits = 0;
  int count = 0;
  for (const char c : base64) {
    if (c == '=') break;
    bits = bits << 6 | static_cast<unsigned int>(digits.find(c));
    count += 6;
    if (count >= 8) bytes += static_cast<char>(bits >> (count -= 8) & 0xff);
  }
  return bytes;
}

// The exact bytes that were sent, as a reader gets them back.
std::string recovered(const Json& line, const std::string& name, const Json& shown) {
  if (!line.contains("raw") || !line["raw"].contains(name)) return shown.get<std::string>();
  EXPECT_NE(shown.get<std::string>().find("\xef\xbf\xbd"), std::string::npos);
  return decoded(line["raw"][name]);
}

Json parsed(const std::string& line) {
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  for (const char c : line.substr(0, line.size() - 1)) {
    if (c < 0x20 || c > 0x7e) return Json();  // not printable ASCII: no object
  }
  return Json::parse(line);
}

Json line_of(unsigned int code, const char* kind, const char* detail, bool allowed = true) {
  return parsed(event_line({code, kind, detail, "", "", allowed, nullptr}, 0));
}

TEST(EventLine, AnyBytesComeBackExactly) {
  std::vector<std::string> texts{"",
                                 "plain",
                                 "\"\\\n\r\t\x01\x7f",
                                 "\xef\xbf\xbd",
                                 "\xc0\xaf",
                                 "\xe0\x80\xaf",
                                 "\xf0\x80\x80\xaf",
                                 "\xed\xa0\x80",
                                 "\xed\x9f\xbf",
                                 "\xf4\x8f\xbf\xbf",
                                 "\xf4\x90\x80\x80",
                                 "\xc3",
                                 "\xe2\x82",
                                 "\xf0\x9f\x98",
                                 "a\xf0\x9f\x98\x80z",
                                 "\xe2\x80\xa8",
                                 "\xc2\x9b"
                                 "31m",
                                 "\x80",
                                 "\xfe\xff",
                                 "\xc3(",
                                 "\xe2(\xa1"};
  for (int byte = 1; byte < 256; ++byte) {
    texts.push_back(std::string(1, static_cast<char>(byte)));
    texts.push_back("ab" + texts.back() + "c");
  }
  std::mt19937 random(1);
  std::string large(10'000'000, ' ');
  for (char& c : large) c = static_cast<char>(random() % 255 + 1);
  texts.push_back(large);

  for (const std::string& text : texts) {
    // The large one in a single field: that is slow enough under a sanitizer.
    const std::string other = text.size() < 1000 ? text : "\xff";
    IPhpHelp::MQ_HttpInfo info{};
    info.cookie = other.c_str();
    const Json line =
        parsed(event_line({0x20011, "", other.c_str(), "", text.c_str(), true, &info}, 0));
    ASSERT_TRUE(line.is_object());
    ASSERT_TRUE(recovered(line, "subject", line["subject"]) == text);
    ASSERT_TRUE(recovered(line, "detail", line["detail"]) == other);
    ASSERT_TRUE(recovered(line, "request.cookie", line["request"]["cookie"]) == other);
  }
}

TEST(EventLine, HoldsEveryFieldInOrder) {
  IPhpHelp::MQ_HttpInfo info{"f1", "f2", "f3",  "f4",  "f5",  "f6",  "f7",
                             "f8", "f9", "f10", "f11", "f12", "f13", "f14\xff"};
  const Json line = parsed(event_line({0x20012, "s1", "s2", "s3", "s4", false, &info}, 7));
  const std::string time = line["time"];
  EXPECT_EQ(time.size(), 27u);
  tm second{};
  ASSERT_NE(strptime(time.c_str(), "%Y-%m-%dT%H:%M:%S", &second), nullptr);
  EXPECT_LE(std::abs(::time(nullptr) - timegm(&second)), 60);
  std::string keys;
  for (const auto& [key, value] : line.items()) keys += key + " ";
  EXPECT_EQ(keys,
            "time host pid tid event code category verdict kind detail target subject "
            "request raw lost_before ");
  std::string fields;
  for (const auto& [key, value] : line["request"].items()) {
    fields += key + "=" + value.get<std::string>() + " ";
  }
  EXPECT_EQ(fields,
            "server_name=f1 script_path=f2 request_uri=f3 query_string=f4 request_method=f5 "
            "remote_addr=f6 user_agent=f7 referer=f8 cookie=f9 forwarded_for=f10 content_type=f11 "
            "reserved=f12 upload_file_name=f13 stack_trace=f14\xef\xbf\xbd ");
  EXPECT_EQ(line["kind"].get<std::string>() + line["detail"].get<std::string>() +
                line["target"].get<std::string>() + line["subject"].get<std::string>(),
            "s1s2s3s4");
  EXPECT_EQ(line["pid"], getpid());
  EXPECT_EQ(line["tid"], gettid());
  EXPECT_EQ(line["lost_before"], 7);
}

TEST(EventLine, NamesEventCategoryAndVerdict) {
  const struct {
    unsigned int code;
    const char *kind, *detail, *event, *category;
  } rows[] = {
      {0, "connect", "", "connection_record", nullptr},
      {0, "execute_command", "", "execution_record", nullptr},
      {0x20001, "sql_query_regex", "x", "sql_injection", "query_injection"},
      {0x20001, "sql_query_lib", "ldap_search", "ldap_injection", "query_injection"},
      {0x20004, "file_include", "", "file_include", "file_access"},
      {0x20008, "create", "", "deserialisation_file_create", "deserialisation"},
      {0x20008, "execute_command", "unserialize:X", "yaml_object", "deserialisation"},
      {0x20008, "execute_command", "unserialize->x", "deserialisation_chain", "deserialisation"},
      {0x2000e, "connect", "", "request_forgery", "file_access"},
      {0x20010, "xxe_inject", "", "xml_external_entity", "query_injection"},
      {0x20011, "execute_command", "", "command_execution", "command_execution"},
      {0x20012, "read", "", "file_read", "file_access"},
      {0x40000, "connect", "", "request_named_connection", "code_execution"},
      {0x40000, "execute_command_2", "", "web_shell", "code_execution"},
      {0x40000, "execute_command", "chopper->x", "web_shell", "code_execution"},
      {0x40000, "execute_command", "eval", "code_execution", "code_execution"},
      {0x99999, "", "", "unknown", nullptr},
  };
  for (const auto& row : rows) {
    const Json line = line_of(row.code, row.kind, row.detail, false);
    EXPECT_EQ(line["event"], row.event);
    EXPECT_EQ(line["category"], row.category != nullptr ? Json(row.category) : Json(nullptr));
    EXPECT_EQ(line["code"], row.code);
    EXPECT_EQ(line["verdict"], row.code == 0 ? "logged" : "blocked");
  }
  EXPECT_EQ(line_of(0x20011, "", "")["verdict"], "reported");
  const Json careless = line_of(0x20011, nullptr, nullptr);
  EXPECT_EQ(careless["kind"], "");
  EXPECT_EQ(careless["request"]["cookie"], "");
  EXPECT_FALSE(careless.contains("raw") || careless.contains("lost_before"));
}

}  // namespace
}  // namespace vorgate::agent
