#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "agent/script/script_rules.h"
#include "agent/sql/sql_rules.h"
#include "agent/toml_reader.h"
#include "tool/commands.h"
#include "tool/files.h"
#include "tool/installation.h"
#include "vorgate/php_help.h"

namespace vorgate::agent::tool {
namespace {

struct Options {
  std::string file = policy_path();
  std::vector<std::string> rules;
  std::string library = VORGATE_AGENT_LIBRARY;
  std::string user = "www-data";
  bool strict = false;
};

std::string place(const std::string& file, const toml::source_region& where) {
  return file + ":" + std::to_string(where.begin.line) + ":" + std::to_string(where.begin.column) +
         ": ";
}

// Why an entry of the allow list is probably wider than it was meant; empty: it is not.
std::string width(const AllowEntry& entry) {
  const bool everywhere = entry.uri_prefix.empty() || entry.uri_prefix == "/";
  const bool from_all = !entry.client || entry.client->prefix == 0;
  if (!everywhere || !from_all) return {};
  if (entry.server_name.empty()) {
    return "this entry exempts every request; give it a narrower uri_prefix or client";
  }
  return "this entry exempts everything of a server whose name any visitor can write into the "
         "Host header; give it a narrower uri_prefix or a client as well";
}

// What is legal in the policy file and probably wrong. `policy` is what was read
// from `text`.
std::vector<std::string> doubts(const std::string& file, const std::string& text,
                                const Policy& policy) {
  std::vector<std::string> found;
  const toml::table document = toml::parse(text);
  const toml::table* modes = document["modes"].as_table();
  if (modes != nullptr && !modes->empty() && policy.enforcement != Enforcement::block) {
    found.push_back(place(file, modes->begin()->first.source()) +
                    "the modes do not count; set enforcement to \"block\", or take them out");
  }
  if (policy.unscanned_scripts == Enforcement::block &&
      !policy.blocks(static_cast<int>(BlockCategory::code_execution))) {
    found.push_back(place(file, document["scripts"]["on_timeout"].node()->source()) +
                    "it stops nothing; set enforcement to \"block\" and let code_execution block");
  }
  const toml::array* entries = document["allow"].as_array();
  for (std::size_t i = 0; i < policy.allow.size(); ++i) {
    const std::string reason = width(policy.allow[i]);
    if (!reason.empty()) found.push_back(place(file, entries->get(i)->source()) + reason);
  }
  return found;
}

void add(std::vector<std::string>& list, std::string text) {
  if (!text.empty()) list.push_back(std::move(text));
}

std::vector<std::string> warnings(const PolicyFiles& files, const Options& options) {
  std::vector<std::string> found;
  if (files.there) found = doubts(files.path, files.text, *files.policy);
  const std::optional<User> user = find_user(options.user);
  if (!user) {
    found.push_back("there is no user " + options.user +
                    ": what PHP may do was not looked at; name PHP's user by --user");
    return found;
  }
  std::vector<std::string> written{files.path};
  for (const RuleFile& rules : files.rule_files) written.push_back(rules.path);
  for (const std::string& file : written) {
    add(found, write_fault(*user, file));
    add(found, read_fault(*user, file));
  }
  add(found, log_fault(*user, files.policy->log_path));
  if (!state_of(options.library).there()) return found;
  const std::string fault = load_fault(options.library);
  if (!fault.empty()) found.push_back(options.library + ": " + fault);
  return found;
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void summarise(const PolicyFiles& files) {
  const Policy& policy = *files.policy;
  if (files.there) {
    std::printf("%s: no fault\n", files.path.c_str());
  } else {
    std::printf("%s: not there, so the default policy holds\n", files.path.c_str());
  }
  std::printf("  %s\n", in_words(policy).c_str());
  std::printf("  %s, %s\n", counted(policy.allow.size(), "allow entry", "allow entries").c_str(),
              counted(policy.trusted_proxies.size(), "trusted proxy", "trusted proxies").c_str());
  std::printf("  event log %s\n", policy.log_path.c_str());
  const script::RuleSet* const scripts = script::shipped_rules();
  std::printf("  shipped rules: %zu SQL, %zu script\n", sql::shipped_rules().names().size(),
              scripts != nullptr ? scripts->names().size() : 0);
  for (const RuleFile& rules : files.rule_files) {
    std::printf("  %s: %zu %s\n", rules.path.c_str(), rules.rules, rules.kind);
  }
}

void check(const Options& options, bool named) {
  const PolicyFiles files = look_at_policy(options.file, options.rules);
  if (!files.there && named) {
    std::fprintf(stderr, "%s: there is no such file; name the policy file\n", options.file.c_str());
    throw CLI::RuntimeError(2);
  }
  for (const std::string& fault : files.faults) std::printf("%s\n", fault.c_str());
  for (const std::string& unread : files.unread) std::fprintf(stderr, "%s\n", unread.c_str());
  if (!files.unread.empty()) throw CLI::RuntimeError(2);
  std::vector<std::string> doubtful;
  if (files.policy) doubtful = warnings(files, options);
  for (const std::string& warning : doubtful) std::printf("warning: %s\n", warning.c_str());
  if (!files.faults.empty()) throw CLI::RuntimeError(1);
  summarise(files);
  if (options.strict && !doubtful.empty()) throw CLI::RuntimeError(1);
}

}  // namespace

void add_check(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = program.add_subcommand(
      "check", "Reads the policy and its rule files, and says what is wrong or doubtful");
  const CLI::Option* file = command->add_option(
      "FILE", options->file, "Policy file (default: the one that the agent would read)");
  command->add_option(
      "--rules", options->rules,
      "Further rule files to look at: of scripts when they end in .yar, else of SQL");
  command->add_option("--user", options->user, "The user that PHP runs as")->capture_default_str();
  command->add_option("--library", options->library, "The agent's library, if it is there")
      ->capture_default_str();
  command->add_flag("--strict", options->strict, "A warning gives exit status 1 as well");
  command->callback([options, file] { check(*options, file->count() > 0); });
}

}  // namespace vorgate::agent::tool
