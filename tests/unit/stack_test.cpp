#include <string>
#include <vector>

#include "host/watched_request.h"
#include "stack/backtrace.h"
#include "stack/render.h"

using host::json;
using host::state;

class Stack : public WatchedRequest {};

TEST_F(Stack, CaptureKeepsScalarsAndCutsStrings) {
  const std::string longest(10000, 'x');
  state().frames = {
      5, {"mysqli::query", nullptr, false, true, int64_t{1} << 40, 2.5, longest}, "main"};
  std::vector<backtraceInfo> frames;
  get_backtrace_info(2, frames, false, 9);
  ASSERT_EQ(frames.size(), 1U) << "what is no frame counts, and yields none";
  EXPECT_EQ(frames[0].file, "/srv/app/main.php");
  EXPECT_EQ(frames[0].line, 3);
  EXPECT_EQ(frames[0].class_name + "::" + frames[0].function, "mysqli::query");
  const std::vector<arginfo>& args = frames[0].args;
  ASSERT_EQ(args.size(), 5U);
  EXPECT_TRUE(args[0].type == arginfo::boolean && !args[0].bval);
  EXPECT_TRUE(args[1].type == arginfo::boolean && args[1].bval);
  EXPECT_TRUE(args[2].type == arginfo::integer && args[2].lval == int64_t{1} << 40);
  EXPECT_TRUE(args[3].type == arginfo::floating && args[3].dval == 2.5);
  EXPECT_TRUE(args[4].type == arginfo::string && args[4].sval == longest.substr(0, 9));

  state().frames.erase(0);
  std::vector<arginfo> innermost;
  get_args_info(innermost);
  ASSERT_EQ(innermost.size(), 5U);
  EXPECT_EQ(innermost[4].sval.size(), 4096U);
  state().frames = json::array({{"f", nullptr}});
  get_args_info(innermost);
  EXPECT_EQ(innermost.size(), 5U) << "left as it was";

  state().frames = json::parse(R"([{"FUNCTION":"f","functions":"g","#":"h","Line":"7","args":1}])");
  frames.clear();
  get_backtrace_info(16, frames, false, 9);
  get_backtrace_info(16, frames, true, 9);
  EXPECT_EQ(frames[0].function, "f");
  EXPECT_EQ(frames[0].line, -1);
  EXPECT_EQ(frames[1].function, "");
  EXPECT_EQ(frames[1].line, 0);
}

TEST_F(Stack, RendersFramesAsAgentsKnowThem) {
  for (const json& row : cases("rendered_frames.json")) {
    state().frames = json::array({row[0]});
    EXPECT_EQ(format_debug_backtrace_str(16), row[1].get<std::string>());
  }
  state().frames = json(20, {"f", std::string(2000, 'x')});
  EXPECT_EQ(format_debug_backtrace_str(16).size(), 16 * (1024 + std::string("f()\n").size()));
}

TEST_F(Stack, TurnsTheTextIntoAChain) {
  const std::string line(200, 'x');
  const std::pair<std::string, std::string> table[] = {
      {"a(x)\nb(y)\n", "b(y)->a(x)"}, {"a(x)\nb(y)", "a(x)"}, {"no newline", ""},
      {"a(\r\nx\r)\nb\n", "b->a(x)"}, {"\n\n", "->"},         {line + "\n", line.substr(0, 128)}};
  for (const auto& [text, chain] : table) EXPECT_EQ(resort_stack_info(text), chain);
  std::string text = "aab";
  string_replace(text, "a", "aa");
  EXPECT_EQ(text, "aaaab");
}
