#include <gtest/gtest.h>

#include <algorithm>
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

// Each token's text with its kind's letter: "w:SELECT n:1".
TEST(SqlLexer, CutsQueriesIntoTokens) {
  constexpr const char* letters = " chwvnsqy";
  for (const auto& each : read_cases("sql/lexer.jsonl")) {
    const std::string text = each["text"];
    std::string shown;
    for (const Token& token : each["dialect"] == "mysql"      ? tokenize(text, Dialect::mysql)
                              : each["dialect"] == "standard" ? tokenize(text, Dialect::standard)
                                                              : read_query(text)) {
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
  const std::vector<std::string> pieces{"'",  "\"", "`",   "\\", "/*", "*/",   "/*!",
                                        "--", "#",  "\n",  "@",  "0x", "1",    ".",
                                        "e",  "N'", "_x'", " ",  "or", "\xe4", {'\0'}};
  for (std::size_t i = 0; i < 6000; ++i) {
    std::string text;
    for (auto n = i < pieces.size() ? 2000 : random() % 60; n > 0; --n) {
      text += i < pieces.size() ? pieces[i] : pieces[random() % pieces.size()];
      if (i >= pieces.size() && n % 8 == 0) text += static_cast<char>(random());
    }
    for (const Dialect dialect : {Dialect::mysql, Dialect::standard}) {
      Lexer lexer(text, dialect);
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

TEST(SqlInjection, TellsValuesFromData) {
  for (const auto& each : read_cases("sql/values.jsonl")) {
    EXPECT_EQ(is_injected(std::string(each["query"]), std::string(each["values"])),
              each["injected"].get<bool>())
        << each;
  }
}

TEST(SqlInjection, SeesWhatReachesTheCut) {
  const std::string values = "1 or 1=1" + std::string(5000, ' ');
  std::string query = "SELECT a FROM t WHERE id = " + values;
  query.resize(query_limit);
  EXPECT_TRUE(is_injected(query, "id=" + values + "or 1"));
  query.pop_back();
  EXPECT_FALSE(is_injected(query, "id=" + values + "or 1"));
}

// Decoys in front must not hide a value, however many there are.
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
  for (int i = 0; i < 100000; ++i) pairs += "&a=";
  const std::string query = "SELECT '" + pairs.substr(0, 3000) + "' FROM t WHERE id = 1";
  EXPECT_TRUE(is_injected(query + " OR 1=1", "a=" + pairs + "&id=1 OR 1=1"));
  EXPECT_FALSE(is_injected(query, "a=" + pairs + "&id=1"));
}

TEST(SqlRules, MatchTheirCasesAndNotTheNearMisses) {
  const RuleSet& rules = shipped_rules();
  std::vector<std::string> tried;
  for (const auto& each : read_cases("sql/rules.jsonl")) {
    const std::string name = each["rule"];
    std::string detail;
    EXPECT_TRUE(rules.match(normalise(std::string(each["match"])), &detail)) << each;
    EXPECT_EQ(detail.substr(0, detail.find(':')), name);
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

// The figures of docs/sql-tests.md.
TEST(SqlCorpus, InjectionsAreFoundAndOrdinaryQueriesGiveNoFinding) {
  for (const std::string name : {"ordinary", "injections"}) {
    const auto cases = read_cases("sql/" + name + ".jsonl");
    std::size_t by_values = 0, by_rules = 0, by_either = 0;
    for (const auto& each : cases) {
      const std::string query = each["query"];
      const bool injected = is_injected(query, std::string(each["values"]));
      const bool matched = shipped_rules().match(normalise(query), nullptr);
      by_values += injected;
      by_rules += matched;
      by_either += injected || matched;
      if ((injected || matched) == (name == "ordinary")) std::cout << "wrong: " << each << "\n";
    }
    std::cout << name << ": " << cases.size() << ", found: " << by_either
              << ", by match_sql alone: " << by_values << ", by lookup_sql alone: " << by_rules
              << "\n";
    EXPECT_GE(cases.size(), 500u);
    EXPECT_TRUE(name == "ordinary" ? by_either == 0 : 100 * by_either >= 99 * cases.size());
  }
}

}  // namespace
}  // namespace vorgate::sql
