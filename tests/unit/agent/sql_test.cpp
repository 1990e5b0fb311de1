#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "scratch.h"
#include "sql/occurrence_index.h"
#include "sql/sql_injection.h"
#include "sql/sql_lexer.h"
#include "sql/sql_rules.h"

namespace vorgate::sql {

// How a token shows in a failed test.
void PrintTo(const Token& token, std::ostream* stream) {
  *stream << static_cast<int>(token.kind) << "[" << token.begin << "," << token.end << ")";
}

namespace test {
namespace {

using agent::test::Folder;
using agent::test::replace;

std::vector<nlohmann::json> read_cases(const std::string& name) {
  const agent::test::Lines lines = agent::test::read_lines(SQL_DATA "/" + name);
  EXPECT_EQ(lines.torn, 0);
  return lines.whole;
}

// Each token's text with its kind's letter: "w:SELECT n:1".
std::string show(std::string_view text, Dialect dialect = Dialect::mysql) {
  constexpr std::string_view letters =
      " ch"
      "wvnsqy";
  std::string shown;
  for (const Token& token : tokenize(text, dialect)) {
    if (token.kind == TokenKind::space) continue;
    shown += std::string(shown.empty() ? "" : " ") + letters[static_cast<std::size_t>(token.kind)] +
             ":" + std::string(text.substr(token.begin, token.end - token.begin));
    if (!token.closed) shown += "(open)";
  }
  return shown;
}

TEST(SqlLexer, KnowsTheTokenForms) {
  EXPECT_EQ(show("a.b=`c``d`"), "w:a y:. w:b y:= q:`c``d`");
  EXPECT_EQ(show(R"('it''s' 'it\'s' "a\"b")"), R"(s:'it''s' s:'it\'s' s:"a\"b")");
  EXPECT_EQ(show("N'x' _utf8'y' x'4d' b'01' or'z'"),
            "s:N'x' s:_utf8'y' s:x'4d' s:b'01' w:or s:'z'");
  EXPECT_EQ(show("0x1F 0b10 1.5e-3 .5 2nd 1.5union t.5"),
            "n:0x1F n:0b10 n:1.5e-3 n:.5 w:2nd n:1.5 w:union w:t y:. n:5");
  EXPECT_EQ(show("@a @@b.c a<=>b a->>'$.x' x:=1"),
            "v:@a v:@@b.c w:a y:<=> w:b w:a y:->> s:'$.x' w:x y::= n:1");
  EXPECT_EQ(show("1 -- x\n2 #y\n3 /*z*/4"), "n:1 c:-- x n:2 c:#y n:3 c:/*z*/ n:4");
  EXPECT_EQ(show("5--3"), "n:5 y:- y:- n:3");
  EXPECT_EQ(show("/*!50000OR*/ 1 /*!or*/ /*M!x*/ 2*/3"),
            "h:/*!50000 w:OR h:*/ n:1 h:/*! w:or h:*/ h:/*M! w:x h:*/ n:2 y:* y:/ n:3");
  EXPECT_EQ(show("/*!1 /* a */ 2*/"), "h:/*! n:1 c:/* a */ n:2 h:*/");
  EXPECT_EQ(show("名前='\xff'"), "w:名前 y:= s:'\xff'");
}

TEST(SqlLexer, ToleratesWhatIsCutOff) {
  EXPECT_EQ(show("a='b"), "w:a y:= s:'b(open)");
  EXPECT_EQ(show(R"(a='b\)"), R"(w:a y:= s:'b\(open))");
  EXPECT_EQ(show("a/*b*"), "w:a c:/*b*(open)");
  EXPECT_EQ(show("a/*!b"), "w:a h:/*! w:b");
  EXPECT_EQ(show("`a``"), "q:`a``(open)");
  EXPECT_EQ(show("a --"), "w:a c:--");
}

TEST(SqlLexer, ReadsStandardQuotesWhenOnlyTheyClose) {
  EXPECT_EQ(show(R"('C:\' E'\'' --x)", Dialect::standard), R"(s:'C:\' s:E'\'' c:--x)");
  EXPECT_EQ(show("a # /*!b*/", Dialect::standard), "w:a y:# c:/*!b*/");
  EXPECT_EQ(read_query(R"(a = 'C:\' AND b = 'x y')").size(),
            tokenize("a = '' AND b = ''", Dialect::mysql).size());
  EXPECT_EQ(read_query(R"(a = 'it\'s')").size(), 5u);
}

// Bytes that mean something, in any order, and any others.
TEST(SqlLexer, CoversAnyBytesInLinearTime) {
  std::mt19937 random(20240501);
  const std::vector<std::string> pieces{
      "'",  "\"", "`",   "\\", "/*", "*/",   "/*!",
      "--", "#",  "\n",  "@",  "0x", "1",    ".",
      "e",  "N'", "_x'", " ",  "or", "\xe4", std::string(1, '\0')};
  std::vector<std::string> texts;
  for (int i = 0; i < 3000; ++i) {
    std::string text;
    for (auto n = random() % 60; n > 0; --n) {
      text += random() % 8 == 0 ? std::string(1, static_cast<char>(random()))
                                : pieces[random() % pieces.size()];
    }
    texts.push_back(text);
  }
  for (const std::string& piece : pieces) {
    std::string text;
    for (int i = 0; i < 2000; ++i) text += piece;
    texts.push_back(text);
  }
  for (const Dialect dialect : {Dialect::mysql, Dialect::standard}) {
    for (const std::string& text : texts) {
      Lexer lexer(text, dialect);
      std::size_t end = 0;
      for (Token token{}; lexer.next(&token); end = token.end) {
        ASSERT_EQ(token.begin, end);
        ASSERT_LE(token.begin, token.content);
        ASSERT_LE(token.content, token.content_end);
        ASSERT_LE(token.content_end, token.end);
        ASSERT_LT(token.begin, token.end);
      }
      ASSERT_EQ(end, text.size());
      ASSERT_LE(lexer.examined(), 48 * text.size());
    }
  }
}

TEST(OccurrenceIndex, FollowsExactlyWhatOccurs) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    const auto make = [&](std::size_t length) {
      std::string text;
      while (text.size() < length) text += static_cast<char>('a' + random() % 3);
      return text;
    };
    const std::string text = make(random() % 40);
    std::vector<std::uint32_t> room(text.size() + 1);
    for (std::uint32_t& each : room) each = static_cast<std::uint32_t>(random() % 10);
    const OccurrenceIndex index(text, room);
    const std::string other = make(8);
    OccurrenceIndex::State state = OccurrenceIndex::start;
    for (std::size_t length = 1; length <= other.size(); ++length) {
      const std::string read = other.substr(0, length);
      ASSERT_EQ(index.advance(&state, read.back()), text.find(read) != std::string::npos);
      if (text.find(read) == std::string::npos) break;
      std::uint32_t least = 10;
      for (std::size_t at = text.find(read); at != std::string::npos;
           at = text.find(read, at + 1)) {
        least = std::min(least, room[at + length]);
      }
      ASSERT_EQ(index.least_room(state), least);
      ASSERT_EQ(index.at_end(state),
                text.size() >= length && text.substr(text.size() - length) == read);
    }
  }
}

TEST(SqlInjection, FindsValuesThatHoldSeparators) {
  const std::string query = "SELECT * FROM t WHERE a = 'R&D=1' or 1=1 -- ' AND b = 2";
  EXPECT_TRUE(is_injected(query, "a=R&D=1' or 1=1 -- &b=2"));
  EXPECT_TRUE(is_injected(query, "b=2&a=R&D=1' or 1=1 -- "));
  EXPECT_FALSE(is_injected(query, "a=R&D=1&b=2"));
  EXPECT_FALSE(is_injected(query, "a=R&b=2&c=or&d=1=1 -- x"));
  EXPECT_FALSE(is_injected(query, "' or 1"));  // a name without a value
  EXPECT_FALSE(is_injected(query, ""));
  EXPECT_FALSE(is_injected("", "a=b"));
  // A later pair that looks like the query's own text is no value.
  EXPECT_FALSE(is_injected("SELECT 1 FROM t WHERE cat=3 AND id=5", "cat=3&id=5"));
  EXPECT_FALSE(is_injected("SELECT 1 FROM t WHERE cat=3 AND id=5", "go=/x?cat=3&id=5"));
}

TEST(SqlInjection, DataWithinTheQuotesExcusesChanceOnlyWhenSentOnce) {
  const std::string query = "SELECT a FROM t WHERE id = 1 OR 1=1 AND n LIKE '%1 OR 1=1%'";
  EXPECT_FALSE(is_injected(query, "id=1&q=1 OR 1=1"));
  EXPECT_TRUE(is_injected(query, "id=1 OR 1=1&q=1 OR 1=1"));
}

TEST(SqlInjection, SeesWhatReachesTheCut) {
  std::string query = "SELECT a FROM t WHERE id = 1 or 1=1" + std::string(5000, ' ') + "LIMIT 1";
  const std::string values = "id=1 or 1=1" + std::string(5000, ' ') + "or 1";
  query.resize(query_limit);
  EXPECT_TRUE(is_injected(query, values));
  query.pop_back();
  EXPECT_FALSE(is_injected(query, values));
}

// Decoys in front must not hide a value, however many there are.
TEST(SqlInjection, IsNotWornOut) {
  std::string list = "0";
  std::string decoys;
  for (int i = 1; i < 300; ++i) {
    list += "," + std::to_string(i);
    decoys += "d=" + list + "&";
  }
  const std::string query = "SELECT a FROM t WHERE id IN (" + list + ") OR 1=1 -- )";
  EXPECT_TRUE(is_injected(query, decoys + "id=" + list + ") OR 1=1 -- "));
  EXPECT_FALSE(is_injected("SELECT a FROM t WHERE id IN (" + list + ")", "id=" + list));
  std::string pairs;
  for (int i = 0; i < 100000; ++i) pairs += "&a=";
  EXPECT_TRUE(is_injected("SELECT '" + pairs.substr(0, 3000) + "' FROM t WHERE id = 1 OR 1=1",
                          "a=" + pairs + "&id=1 OR 1=1"));
  EXPECT_FALSE(is_injected("SELECT '" + pairs.substr(0, 3000) + "' FROM t WHERE id = 1",
                           "a=" + pairs + "&id=1"));
}

TEST(SqlRules, SeeSyntaxOnly) {
  EXPECT_EQ(normalise("SELECT `A`.`b c`, 'x -- y', 0x1F/**/FROM T -- z"),
            "select a . name , '' , 0 from t --");
  EXPECT_EQ(normalise("1 /*!50000OR*/ 1 # x\n; DROP"), "0 or 0 ; drop");
  EXPECT_EQ(normalise("a /* open"), "a --");
  EXPECT_EQ(normalise("a = 'x' --+' AND b"), "a = '' -- ''");
  EXPECT_EQ(normalise("a = 'x' -- -' AND b"), "a = '' -- ''");
}

TEST(SqlRules, MatchTheirCasesAndNotTheNearMisses) {
  const RuleSet& rules = shipped_rules();
  std::set<std::string> tried;
  for (const nlohmann::json& each : read_cases("rules.jsonl")) {
    const std::string name = each["rule"];
    std::string detail;
    EXPECT_TRUE(rules.match(std::string(each["match"]), &detail)) << each["match"];
    EXPECT_EQ(detail.substr(0, detail.find(':')), name);
    detail = "kept";
    EXPECT_FALSE(rules.match(std::string(each["near_miss"]), &detail)) << name << ": " << detail;
    EXPECT_EQ(detail, "kept");
    tried.insert(name);
  }
  const std::vector<std::string> names = rules.names();
  EXPECT_EQ(tried, std::set<std::string>(names.begin(), names.end()));
}

TEST(SqlRules, TellWhereAFileIsWrong) {
  const Folder folder;
  const std::string path = folder / "own.toml";
  const auto error_of = [&](const std::string& text) {
    replace(path, text);
    std::string error;
    EXPECT_FALSE(RuleSet::load(path, &error)) << text;
    return error.substr(std::min(error.size(), path.size()));
  };
  const std::string head = "[[rule]]\nname = 'a'\ndescription = 'b'\n";
  EXPECT_EQ(error_of(head + "pattern = '('\n").substr(0, 21), ":4:11: not a pattern:");
  EXPECT_EQ(error_of(head + "pattern = 'x*'\n").substr(0, 13), ":4:11: the pa");
  EXPECT_EQ(error_of(head + "patern = 'x'\n").substr(0, 19), ":4:1: unknown key '");
  EXPECT_EQ(error_of(head).substr(0, 17), ":1:1: incomplete ");
  EXPECT_EQ(error_of("[[rule]]\nname = 3\n").substr(0, 16), ":2:8: not a text");
  EXPECT_EQ(error_of(head + "pattern = 'x'\n" + head + "pattern = 'y'\n").substr(0, 13),
            ":5:1: second ");
  EXPECT_EQ(error_of("rules = []\n").substr(0, 13), ":1:1: 'rules'");
  EXPECT_EQ(error_of("[[rule]\n").substr(0, 3), ":1:");
  std::string error;
  EXPECT_FALSE(RuleSet::load(folder / "none.toml", &error));
  EXPECT_EQ(error, folder / "none.toml: No such file or directory");
  EXPECT_FALSE(RuleSet::load(folder / "", &error));

  replace(path, head + "pattern = '\\bsecret_table\\b'\n");
  const auto own = RuleSet::load(path, &error);
  ASSERT_TRUE(own) << error;
  std::string detail;
  EXPECT_TRUE(own->match("SELECT 1 FROM Secret_Table", &detail));
  EXPECT_EQ(detail, "a: b");
  EXPECT_FALSE(own->match("SELECT 'secret_table'", nullptr));
  EXPECT_FALSE(RuleSet().match("SELECT 1", nullptr));
}

// What this finds shows under a thread sanitizer.
TEST(SqlRules, MayBeAskedByManyThreads) {
  std::vector<std::thread> threads;
  std::vector<int> found(4);
  for (int& count : found) {
    threads.emplace_back([&count] {
      for (int i = 0; i < 50; ++i) {
        count += shipped_rules().match("SELECT " + std::to_string(i) + " WHERE SLEEP(5)", nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int count : found) EXPECT_EQ(count, 50);
}

TEST(SqlCorpus, OrdinaryQueriesGiveNoFinding) {
  const auto cases = read_cases("ordinary.jsonl");
  std::size_t findings = 0;
  for (const nlohmann::json& each : cases) {
    const std::string query = each["query"];
    std::string detail;
    const bool injected = is_injected(query, std::string(each["values"]));
    const bool matched = shipped_rules().match(query, &detail);
    if (!injected && !matched) continue;
    ++findings;
    ADD_FAILURE() << (injected ? "injected " : "") << detail << "\n" << each.dump();
  }
  std::cout << "ordinary queries: " << cases.size() << ", findings: " << findings << "\n";
  EXPECT_GE(cases.size(), 400u);
}

TEST(SqlCorpus, InjectionsAreFound) {
  const auto cases = read_cases("injections.jsonl");
  std::size_t by_values = 0;
  std::size_t by_rules = 0;
  std::size_t by_either = 0;
  std::map<std::string, int> missed;
  for (const nlohmann::json& each : cases) {
    const std::string query = each["query"];
    const bool injected = is_injected(query, std::string(each["values"]));
    const bool matched = shipped_rules().match(query, nullptr);
    by_values += injected;
    by_rules += matched;
    by_either += injected || matched;
    if (!injected && !matched) ++missed[each["family"]];
    if (!injected)
      std::cout << "not by its value" << (matched ? "" : ", nor by a rule") << ": " << each.dump()
                << "\n";
  }
  const auto share = [&](std::size_t count) {
    return std::to_string(count) + " (" +
           std::to_string(1e2 * static_cast<double>(count) / static_cast<double>(cases.size())) +
           " %)";
  };
  std::cout << "injections: " << cases.size() << ", found: " << share(by_either)
            << ", by match_sql alone: " << share(by_values)
            << ", by lookup_sql alone: " << share(by_rules) << "\n";
  for (const auto& [family, count] : missed)
    std::cout << "  missed in " << family << ": " << count << "\n";
  EXPECT_GE(cases.size(), 300u);
  EXPECT_GE(100 * by_either, 99 * cases.size());
}

}  // namespace
}  // namespace test
}  // namespace vorgate::sql
