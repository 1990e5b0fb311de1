#include "policy.h"

#include <gtest/gtest.h>

#include "scratch.h"

namespace vorgate::agent::test {
namespace {

bool contains(const char* network, const char* address) {
  const auto parsed = Network::parse(network);
  const auto candidate = Address::parse(address);
  return parsed && candidate && parsed->contains(*candidate);
}

Policy policy(const std::string& text) {
  std::string error;
  const auto policy = parse_policy(text, "agent.toml", &error);
  EXPECT_TRUE(policy) << error;
  return policy.value_or(Policy());
}

TEST(Network, HoldsItsOwnAddressesAndNoOthers) {
  EXPECT_TRUE(contains("192.0.2.0/25", "192.0.2.127"));
  EXPECT_FALSE(contains("192.0.2.0/25", "192.0.2.128"));
  EXPECT_TRUE(contains("192.0.2.7", "192.0.2.7"));
  EXPECT_FALSE(contains("192.0.2.7", "192.0.2.6"));
  EXPECT_TRUE(contains("0.0.0.0/0", "255.255.255.255"));
  EXPECT_TRUE(contains("2001:db8::/33", "2001:db8:7fff::1"));
  EXPECT_FALSE(contains("2001:db8::/33", "2001:db8:8000::1"));
  EXPECT_TRUE(contains("2001:DB8::1", "2001:db8:0:0::1"));
}

TEST(Network, TakesAMappedAddressForTheIpv4OneAndKeepsTheFamiliesApart) {
  EXPECT_TRUE(contains("192.0.2.0/24", "::ffff:192.0.2.9"));
  EXPECT_TRUE(contains("::ffff:192.0.2.0/120", "192.0.2.9"));
  EXPECT_FALSE(contains("::ffff:192.0.2.0/120", "192.0.3.9"));
  EXPECT_FALSE(contains("::/0", "192.0.2.9"));
  EXPECT_FALSE(contains("::/0", "::ffff:192.0.2.9"));
  EXPECT_FALSE(contains("0.0.0.0/0", "::1"));
}

TEST(Network, RefusesWhatIsNoNetwork) {
  for (const char* text :
       {"", "/", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/08", "10.0.0.0/8 ",
        "10.0.0.1/8", "10.0.0/8", "010.0.0.0/8", "::/129", "::1/64", "::ffff:10.0.0.0/95",
        "fe80::1%lo", "10.0.0.0/8/8", "localhost", "[::1]"}) {
    EXPECT_FALSE(Network::parse(text)) << text;
  }
}

TEST(Policy, BlocksByMasterSwitchAndCategory) {
  const Policy blocking = policy("enforcement = 'block'\n[modes]\nfile_access = 'report'\n");
  for (const int category : {2, 3, 6, 8}) EXPECT_TRUE(blocking.blocks(category)) << category;
  for (const int category : {7, -1, 0, 1, 4, 5, 9, 32, 40, 1 << 30}) {
    EXPECT_FALSE(blocking.blocks(category)) << category;
  }
  EXPECT_FALSE(policy("enforcement = 'report'\n[modes]\nfile_access = 'block'\n").blocks(7));
  EXPECT_FALSE(policy("").blocks(8));
  EXPECT_TRUE(policy("enforcement = 'off'").exempts("", "/", "192.0.2.1", ""));
  EXPECT_FALSE(policy("").exempts("", "/", "192.0.2.1", ""));
}

TEST(Policy, AllConditionsOfAnAllowEntryMustHold) {
  const Policy allowing = policy(
      "[[allow]]\nserver_name = 'CMS.example.org'\nuri_prefix = '/admin'\n"
      "client = '192.0.2.0/24'\n[[allow]]\nclient = '2001:db8::1'\n");
  EXPECT_TRUE(allowing.exempts("cms.EXAMPLE.org", "/admin/x?q=1", "192.0.2.3", ""));
  EXPECT_TRUE(allowing.exempts("other", "/", "2001:db8::1", ""));
  EXPECT_FALSE(allowing.exempts("cms.example.org.evil", "/admin/x", "192.0.2.3", ""));
  EXPECT_FALSE(allowing.exempts("", "/admin/x", "192.0.2.3", ""));
  EXPECT_FALSE(allowing.exempts("cms.example.org", "/", "192.0.2.3", ""));
  EXPECT_FALSE(allowing.exempts("cms.example.org", "/admin", "192.0.3.3", ""));
  EXPECT_FALSE(allowing.exempts("cms.example.org", "/admin", "", ""));
}

TEST(Policy, AnAllowedPrefixCannotBeBorrowed) {
  for (const char* uri : {"/open", "/open/", "/open/a.php", "/open?x=/../", "/open/.well/..a"}) {
    EXPECT_TRUE(uri_is_below(uri, "/open")) << uri;
  }
  for (const char* uri : {"",
                          "open",
                          "/opening",
                          "/",
                          "/open/../admin",
                          "/open/..",
                          "/open/./x",
                          "/open//../admin",
                          "//open/x",
                          "/open/%2e%2e/admin",
                          "/open/%2E%2e/admin",
                          "/open%2f..%2fadmin",
                          "/open/%252e%252e/admin",
                          "/open\\..\\admin",
                          "/open/..;/admin",
                          "/open/\xc0\xae/admin",
                          "/open/\t../admin",
                          "/open/x#/../..",
                          "/other?/open/",
                          "http://host/open/x",
                          "/Open/x"}) {
    EXPECT_FALSE(uri_is_below(uri, "/open")) << uri;
  }
  EXPECT_TRUE(uri_is_below("/open/a", "/open/"));
  EXPECT_FALSE(uri_is_below("/open", "/open/"));
  EXPECT_TRUE(uri_is_below("/any", "/"));
}

TEST(Policy, BelievesForwardedAddressesOnlyFromTrustedProxies) {
  const Policy proxied = policy(
      "trusted_proxies = ['10.0.0.0/8', '2001:db8::/32']\n"
      "[[allow]]\nclient = '192.0.2.7'\n[[allow]]\nclient = '10.9.9.9'\n");
  const auto exempt = [&](const char* peer, const char* forwarded) {
    return proxied.exempts("", "/", peer, forwarded);
  };
  EXPECT_TRUE(exempt("192.0.2.7", ""));
  EXPECT_TRUE(exempt("10.0.0.1", "192.0.2.7"));
  EXPECT_TRUE(exempt("::ffff:10.0.0.1", "junk, 192.0.2.7"));
  EXPECT_TRUE(exempt("10.0.0.1", "192.0.2.7:4711 , [2001:db8::5]:80,10.0.0.2"));
  EXPECT_TRUE(exempt("10.9.9.9", ""));              // the proxy's own request
  EXPECT_TRUE(exempt("10.0.0.1", "10.9.9.9"));      // a trusted host behind a proxy
  EXPECT_TRUE(exempt("192.0.2.7", "203.0.113.1"));  // no proxy: the header says nothing
  EXPECT_FALSE(exempt("203.0.113.1", "192.0.2.7"));
  EXPECT_FALSE(exempt("10.0.0.1", "192.0.2.7, 203.0.113.1"));
  EXPECT_FALSE(exempt("10.0.0.1", "192.0.2.7, 203.0.113.1, 10.0.0.2"));
  for (const char* garbage : {"192.0.2.7, unknown", "192.0.2.7,", "192.0.2.7 x", "192.0.2.7:x",
                              "192.0.2.7:65536", "[192.0.2.7", " ", ",", "10.0.0.2, ,10.0.0.2"}) {
    EXPECT_FALSE(exempt("10.0.0.1", garbage)) << garbage;
    EXPECT_FALSE(exempt("10.9.9.9", garbage)) << garbage;  // nor for the proxy itself
  }
  EXPECT_FALSE(exempt("unix:", "192.0.2.7"));
}

TEST(PolicyFile, AFaultIsNamedWithItsPlaceAndARemedy) {
  const struct {
    const char *text, *place, *reason;
  } faults[] = {
      {"enforcement = 'blok'", "1:15", "\"off\" or \"report\" or \"block\""},
      {"enforcement = true", "1:15", "unknown value"},
      {"\n  enforced = 1", "2:3", "unknown key 'enforced'"},
      {"[modes]\ncode_execution = 'off'", "2:18", "\"report\" or \"block\""},
      {"[modes]\nsql = 'block'", "2:1", "known here: code_execution, query_injection"},
      {"modes = 1", "1:9", "[modes]"},
      {"[[allow]]", "1:1", "would exempt every request"},
      {"[allow]\nclient = '::1'", "1:1", "[[allow]]"},
      {"[[allow]]\nclient = '10.0.0.1/8'", "2:10", "10.0.0.1/8"},
      {"[[allow]]\nuri_prefix = '/a/../b'", "2:14", "not a plain path"},
      {"[[allow]]\nuri_prefix = 'a'", "2:14", "not a plain path"},
      {"[[allow]]\nserver_name = ''", "2:15", "not empty"},
      {"[[allow]]\nhost = 'x'", "2:1", "server_name, uri_prefix, client"},
      {"trusted_proxies = '::1'", "1:19", "not a list"},
      {"trusted_proxies = ['::1',\n 7]", "2:2", "not a text"},
      {"[log]\npath = 'events'", "2:8", "absolute"},
      {"[log]\npath = \"/a\\u0000b\"", "2:8", "not a text"},
      {"log = 'x'", "1:7", "[log]"},
      {"modes = 1\nenforcement = 1", "1:9", "[modes]"},  // the first one in the file
      {"enforcement = ", "1:15", "TOML"},
      {"[modes]\n[modes]", "2:", "TOML"},
      {"# \xff", "1:", "TOML"},
  };
  for (const auto& fault : faults) {
    std::string error;
    EXPECT_FALSE(parse_policy(fault.text, "a.toml", &error)) << fault.text;
    EXPECT_EQ(error.rfind(std::string("a.toml:") + fault.place, 0), 0u) << error;
    EXPECT_NE(error.find(fault.reason), std::string::npos) << error;
  }
}

TEST(PolicyFile, TheExampleSaysWhatHoldsWithoutAFile) {
  const Policy example = policy(read(AGENT_EXAMPLE));
  EXPECT_EQ(example.enforcement, Policy().enforcement);
  EXPECT_EQ(example.report_only, Policy().report_only);
  EXPECT_EQ(example.log_path, Policy().log_path);
  EXPECT_TRUE(example.allow.empty() && example.trusted_proxies.empty());
}

}  // namespace
}  // namespace vorgate::agent::test
