#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "agent/sql/occurrence_index.h"
#include "agent/sql/sql_injection.h"
#include "agent/sql/sql_lexer.h"
#include "agent/sql/sql_rules.h"
#include "scratch.h"

namespace vorgate::sql {
namespace {

using agent::test::read_cases;

constexpr std::array dialects{Dialect::mysql, Dialect::sqlite, Dialect::postgresql};

Dialect dialect(const std::string& name) {
  return name == "mysql"        ? Dialect::mysql
         : name == "sqlite"     ? Dialect::sqlite
         : name == "postgresql" ? Dialect::postgresql
                                : Dialect::automatic;
}

// Each token's text with its kind's letter: "w:SELECT n:1".
TEST(SqlLexer, CutsQueriesIntoTokens) {
  constexpr const char* letters = " chwvnsqy";
  for (const auto& each : read_cases("sql/lexer.jsonl")) {
    const std::string text = each["text"];
    std::string shown;
    for (const Token& token : read_query(text, dialect(each["dialect"]))) {
      if (token.kind == TokenKind::space) continue;
      shown += std::string(shown.empty() ? "" : " ") + letters[static_cast<int>(token.kind)] + ":" +
               text.substr(token.begin, token.end - token.begin) + (token.closed ? "" : "(open)");
    }
    EXPECT_EQ(shown, each["tokens"]);
  }
}

// Bytes that mean something, one kind alone and all mixed, and any others.
TEST(SqlLexer, CoversAnyBytesInLinearTime) {
  std::mt19937 random(20240501);
  const std::vector<std::string> pieces{"'", "\"", "`",   "\\", "/*", "*/",   "/*!", "--",
                                        "#", "\n", "@",   "0x", "1",  ".",    "$a$", "[",
                                        "e", "N'", "_x'", " ",  "or", "\xe4", {'\0'}};
  for (std::size_t i = 0; i < 6000; ++i) {
    std::string text;
    for (auto n = i < pieces.size() ? 2000 : random() % 60; n > 0; --n) {
      text += i < pieces.size() ? pieces[i] : pieces[random() % pieces.size()];
      if (i >= pieces.size() && n % 8 == 0) text += static_cast<char>(random());
    }
    for (const Dialect each : dialects) {
      Lexer lexer(text, each);
      std::size_t end = 0;
      for (Token token{}; lexer.next(&token); end = token.end) {
        ASSERT_EQ(token.begin, end);
        ASSERT_LT(token.begin, token.end);
        ASSERT_TRUE(token.begin <= token.content && token.content <= token.content_end &&
                    token.content_end <= token.end);
      }
      ASSERT_EQ(end, text.size());
      ASSERT_LE(lexer.examined(), 48 * text.size());
    }
  }
}

TEST(OccurrenceIndex, FollowsExactlyWhatOccurs) {
  std::mt19937 random(7);
  for (std::size_t round = 0; round < 400; ++round) {
    std::string text;
    std::vector<std::uint32_t> room{0};
    while (text.size() < round / 10) {
      text += static_cast<char>('a' + random() % 3);
      room.push_back(static_cast<std::uint32_t>(random() % 10));
    }
    const OccurrenceIndex index(text, room);
    OccurrenceIndex::State state = OccurrenceIndex::start;
    for (std::string part(1, 'a'); part.size() < 9; part += static_cast<char>('a' + random() % 3)) {
      std::uint32_t least = 10;
      std::size_t end = 0;
      for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) {
        end = at + part.size();
        least = std::min(least, room[end]);
      }
      ASSERT_EQ(index.advance(&state, part.back()), end != 0);
      if (end == 0) break;
      ASSERT_EQ(index.least_room(state), least);
      ASSERT_EQ(index.at_end(state), end == text.size());
    }
  }
}

// Dialect, injected, the rule that matches or "", query, values.
TEST(SqlQueries, AreToldFromEachOther) {
  std::size_t injected = 0, by_rules = 0, all = 0;
  for (const auto& each : read_cases("sql/queries.jsonl")) {
    const std::string query = each[3];
    std::string detail;
    EXPECT_EQ(is_injected(query, std::string(each[4]), dialect(each[0])), each[1]) << each;
    shipped_rules().match(normalise(query, dialect(each[0])), &detail);
    EXPECT_EQ(detail.substr(0, detail.find(':')), each[2]) << each;
    ++all;
    injected += each[1].get<bool>();
    by_rules += !detail.empty();
  }
  std::cout << "queries: " << all << ", injected: " << injected << ", by rules: " << by_rules
            << "\n";
}

// The escapes of each server, whatever is written; and what leaves its literal.
TEST(SqlInjection, TellsEscapedValuesFromRaw) {
  const std::vector<std::string> pieces{
      "'", "\"", "\\",  " -- ", "#", "/*",  " or 1=1", "x", " union select a", ";", " ", "(",
      ")", ",",  "%27", "<b>",  "=", "'x'", "\n",      "1"};
  std::mt19937 random(3);
  std::size_t raw = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string value;
    for (auto n = 1 + random() % 7; n > 0; --n) value += pieces[random() % pieces.size()];
    for (const Dialect each : dialects) {
      std::string escaped;
      for (const char c : value) {
        const bool mysql = each == Dialect::mysql;
        if (mysql ? c == '\'' || c == '\\' || c == '"' : c == '\'') escaped += mysql ? '\\' : c;
        escaped += c;
      }
      const std::string query =
          "SELECT a FROM t WHERE n = '" + escaped + "' AND m LIKE '%" + escaped + "%'";
      EXPECT_FALSE(is_injected(query, "q=" + value, each)) << query;
    }
    const std::string attack = (round % 2 != 0 ? "\\' or " : "' or ") + value;
    for (const Dialect each : {Dialect::sqlite, Dialect::postgresql}) {
      raw += is_injected("SELECT a FROM t WHERE n = '" + attack + "'", "q=" + attack, each);
    }
  }
  EXPECT_EQ(raw, 6000u);
}

TEST(SqlInjection, SeesWhatReachesTheCut) {
  const std::string in_number = "SELECT a FROM t WHERE id = ", in_text = "INSERT INTO t VALUES ('";
  const std::string blanks(5000, ' '), digits(5000, '0');
  const auto injected = [](std::string query, const std::string& value) {
    query += value;
    query.resize(query_limit);
    return is_injected(query, "id=" + value + "&x=1");
  };
  EXPECT_TRUE(injected(in_number, "1 or 1=1" + blanks + "or 1"));
  for (const std::string rest : {"union select a", "&& sleep(5)"}) {
    EXPECT_TRUE(injected(in_number, "1" + blanks + rest));
    EXPECT_TRUE(injected(in_number, blanks + "1 " + rest));
    EXPECT_TRUE(injected(in_number, digits + " " + rest));
    EXPECT_FALSE(injected(in_text, "1" + blanks + rest));
  }
  EXPECT_FALSE(injected(in_number, "1" + blanks + "2"));
  EXPECT_FALSE(injected(in_number, digits));
}

// Decoys in front must not hide a value, and whatever is sent is answered soon.
TEST(SqlInjection, IsNotWornOut) {
  std::string list = "0";
  std::string decoys;
  for (int i = 1; i < 300; ++i) {
    list += "," + std::to_string(i);
    decoys += "d=" + list + "&";
  }
  const std::string in_list = "SELECT a FROM t WHERE id IN (" + list + ")";
  EXPECT_TRUE(is_injected(in_list + " OR 1=1 -- )", decoys + "id=" + list + ") OR 1=1 -- "));
  EXPECT_FALSE(is_injected(in_list, "id=" + list));
  std::string pairs;
  for (int i = 0; i < 5000; ++i) pairs += "&a=";
  const std::string query = "SELECT '" + pairs.substr(0, 3000) + "' FROM t WHERE id = 1";
  EXPECT_TRUE(is_injected(query + " OR 1=1", "a=" + pairs + "&id=1 OR 1=1"));
  EXPECT_FALSE(is_injected(query, "a=" + pairs + "&id=1"));
  // Just below and just above each bound.
  const auto many = [](std::size_t count, const std::string& pair) {
    std::string all;
    while (count-- > 0) all += pair;
    return all;
  };
  EXPECT_FALSE(is_injected("SELECT 1", many(20000, "&a=zz")));
  EXPECT_TRUE(is_injected("SELECT 1", many(20001, "&a=zz")));
  EXPECT_FALSE(is_injected(query, many(1000, "&a=FROM t ")));
  EXPECT_TRUE(is_injected(query, many(15000, "&a=FROM t ")));
  for (const int count : {64, 65}) {
    std::string lists;
    for (int i = 100; i < 100 + count; ++i) {
      lists += "d=" + std::to_string(i) + "," + std::to_string(i + 1) + "&";
    }
    EXPECT_EQ(is_injected(in_list, lists), count == 65);
  }
  for (const std::string flood :
       {"&", "&=", "=", " ", "&a=<", "&a=%41", "&a=SELECT", "&a=FROM t "}) {
    std::string values = "a=";
    while (values.size() < 8u << 20) values += flood;
    const std::clock_t start = std::clock();
    const bool found = is_injected(query, values);
    std::cout << "8 MB of '" << flood << "': " << (found ? "injected, " : "not injected, ")
              << (std::clock() - start) * 1'000'000 / CLOCKS_PER_SEC << " us\n";
    EXPECT_EQ(found, flood.size() > 1) << flood;
  }
}

TEST(SqlRules, MatchTheirCasesAndNotTheNearMisses) {
  const RuleSet& rules = shipped_rules();
  std::vector<std::string> tried;
  for (const auto& each : read_cases("sql/rules.jsonl")) {
    const std::string name = each["rule"];
    std::string detail;
    EXPECT_TRUE(rules.match(normalise(std::string(each["match"])), &detail)) << each;
    EXPECT_EQ(detail.substr(0, detail.find(':')), name);
    EXPECT_FALSE(rules.match(normalise(std::string(each["match"])), &detail, rules.names()));
    EXPECT_FALSE(rules.match(normalise(std::string(each["near_miss"])), &detail)) << each << detail;
    if (tried.empty() || tried.back() != name) tried.push_back(name);
  }
  EXPECT_EQ(tried, rules.names());
  for (const auto& each : read_cases("sql/normal_forms.jsonl")) {
    EXPECT_EQ(normalise(std::string(each["query"])), each["form"]);
  }
}

TEST(SqlRules, TellWhereAFileIsWrong) {
  for (const auto& each : read_cases("sql/rule_faults.jsonl")) {
    std::string error;
    EXPECT_FALSE(RuleSet::parse(std::string(each["text"]), "own.toml", &error)) << each;
    EXPECT_EQ(error.rfind("own.toml" + std::string(each["error"]), 0), 0u) << error << each;
  }
}

}  // namespace
}  // namespace vorgate::sql
