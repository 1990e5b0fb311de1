#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/utc.h"
#include "tool/commands.h"
#include "tool/event_reader.h"
#include "tool/files.h"
#include "tool/installation.h"
#include "tool/safe_text.h"
#include "vorgate/php_help.h"

namespace vorgate::agent::tool {
namespace {

using Json = nlohmann::ordered_json;

struct Options {
  std::string library = VORGATE_AGENT_LIBRARY;
  std::string policy = policy_path();
  std::string user = "www-data";
  bool as_json = false;
};

std::string shown(const std::string& text) { return visible(text, Charset::ascii); }

std::string joined(const std::vector<std::string>& texts) {
  std::string out;
  for (const std::string& text : texts) out += (out.empty() ? "" : ", ") + text;
  return out;
}

// Gathers what is told at the end: rows of a table, problems, each one sentence that
// says what to do, and what could not be seen.
class Status {
 public:
  explicit Status(Options options) : options_(std::move(options)) {}

  void look() {
    if (!php_processes(&processes_)) {
      std::fprintf(stderr, "/proc cannot be read, so no process can be looked at; mount it\n");
      throw CLI::RuntimeError(2);
    }
    look_at_library();
    look_at_interpreters();
    look_at_modules();
    look_at_processes();
    look_at_policies();
  }

  void print() const {
    if (options_.as_json) {
      Json out = document_;
      out["problems"] = problems_;
      out["not_seen"] = unseen_;
      std::printf("%s\n", out.dump(2, ' ', true, Json::error_handler_t::replace).c_str());
      return;
    }
    std::size_t width = 0;
    for (const auto& [what, state, more] : rows_) width = std::max(width, state.size());
    for (const auto& [what, state, more] : rows_) {
      std::printf("%-12s %-*s  %s\n", what.c_str(), static_cast<int>(width), state.c_str(),
                  shown(more).c_str());
    }
    std::printf("\n");
    for (const std::string& each : problems_) std::printf("problem: %s\n", shown(each).c_str());
    for (const std::string& each : unseen_) std::printf("not seen: %s\n", shown(each).c_str());
    if (problems_.empty()) std::printf("All that could be seen is well.\n");
  }

  bool has_problems() const { return !problems_.empty(); }

 private:
  void row(std::string what, std::string state, std::string more) {
    rows_.emplace_back(std::move(what), std::move(state), std::move(more));
  }
  // Once each: several ways lead to some of them.
  static void add(std::vector<std::string>* list, const std::string& text) {
    if (!text.empty() && std::find(list->begin(), list->end(), text) == list->end()) {
      list->push_back(text);
    }
  }
  void problem(const std::string& text) { add(&problems_, text); }
  void unseen(const std::string& text) { add(&unseen_, text); }

  std::string build_words(const Build& build) const {
    return build.id.empty() ? std::string() : ", build " + build.id.substr(0, 12);
  }

  void look_at_library() {
    const std::string& path = options_.library;
    const FileState state = state_of(path);
    Json& out = document_["library"] = {{"path", path}};
    if (state.hidden()) {
      out["state"] = "not seen";
      row("agent", "not seen", path);
      unseen(path + ": no permission to look at it; run this as root");
      return;
    }
    if (!state.there()) {
      out["state"] = "missing";
      row("agent", "missing", path);
      problem(path +
              ": the agent's library is missing, so a PHP that starts now reports and "
              "blocks nothing; put libmessage_queue_linux.so there and restart PHP");
      return;
    }
    const Build build = build_of(path);
    const std::string fault = load_fault(path);
    library_works_ = fault.empty();
    out.update({{"state", library_works_ ? "loads" : "unusable"},
                {"owner", state.owner()},
                {"mode", state.mode()},
                {"changed", state.time()},
                {"build", build.id}});
    row("agent", library_works_ ? "loads" : "unusable",
        path + ", " + state.owner() + " " + state.mode() + ", of " + state.time() +
            build_words(build));
    if (!library_works_) {
      problem(path + ": " + fault);
    }
    if (const auto user = find_user(options_.user)) {
      problem(write_fault(*user, path));
      problem(read_fault(*user, path));
    }
  }

  void look_at_interpreters() {
    Json& out = document_["interpreters"] = Json::array();
    interpreters_ = interpreters();
    bool loaded = false;
    for (const Interpreter& each : interpreters_) {
      const bool loads = !each.loads.empty();
      loaded = loaded || loads;
      out.push_back({{"path", each.path},
                     {"php_interface", each.php_interface},
                     {"configuration", each.folder},
                     {"loads", each.loads}});
      row("interpreter", loads ? "configured" : "not configured",
          each.path + ", " + each.php_interface +
              (each.folder.empty() ? "" : ", configuration in " + each.folder));
    }
    const bool running =
        std::any_of(processes_.begin(), processes_.end(),
                    [](const PhpProcess& each) { return !each.module.path.empty(); });
    if (!interpreters_.empty() && !loaded && !running) {
      problem(
          "no PHP on this machine is configured to load the module; write "
          "\"extension=vorgate.so\" into a file of its conf.d folder and restart it");
    }
  }

  void look_at_modules() {
    std::set<std::string> files;
    for (std::string& file : module_files()) files.insert(std::move(file));
    for (const Interpreter& each : interpreters_) {
      for (const std::string& name : each.loads) {
        if (name[0] == '/') files.insert(name);
      }
    }
    for (const PhpProcess& process : processes_) {
      if (!process.module.path.empty()) files.insert(process.module.path);
    }
    Json& out = document_["modules"] = Json::array();
    for (const std::string& file : files) {
      const FileState state = state_of(file);
      const Build build = state.there() ? build_of(file) : Build{};
      out.push_back({{"path", file},
                     {"state", state.there() ? "there" : "missing"},
                     {"php_interface", build.php_interface},
                     {"build", build.id}});
      row("module", state.there() ? "there" : "missing",
          file + (state.there() ? ", " + build.php_interface + ", " + state.owner() + " " +
                                      state.mode() + ", of " + state.time() + build_words(build)
                                : ""));
      module_interfaces_[file] = build.php_interface;
    }
    if (files.empty()) {
      row("module", "missing", "no vorgate.so in the usual folders");
      if (library_works_) {
        problem(
            "the agent is there and the module is not; put vorgate.so into the folder that "
            "\"php-config --extension-dir\" names and configure \"extension=vorgate.so\"");
      }
    }
    for (const Interpreter& each : interpreters_) {
      for (const std::string& name : each.loads) look_at_configured(each, name);
    }
  }

  // One "extension=" line of an interpreter.
  void look_at_configured(const Interpreter& interpreter, const std::string& name) {
    std::vector<std::string> built_for;
    for (const auto& [file, php_interface] : module_interfaces_) {
      if (php_interface.empty() || (name[0] == '/' && file != name)) continue;
      if (php_interface == interpreter.php_interface) return;
      built_for.push_back(php_interface);
    }
    const std::string start = interpreter.path + " is configured to load " + name + ", which is ";
    if (built_for.empty()) {
      problem(start +
              "not there; put it into the folder that \"php-config --extension-dir\" names");
    } else if (!interpreter.php_interface.empty()) {
      problem(start + "built for " + joined(built_for) + " and not for its " +
              interpreter.php_interface + "; build it with that PHP's php-config");
    }
  }

  void look_at_processes() {
    // Alike in everything that is told: one row.
    std::map<std::tuple<std::string, uid_t, std::string, std::string, bool>,
             std::vector<std::string>>
        groups;
    std::vector<std::string> hidden;
    Json& out = document_["processes"] = Json::array();
    for (const PhpProcess& each : processes_) {
      const std::string pid = std::to_string(each.pid);
      if (!each.seen) {
        hidden.push_back(each.name + " " + pid);
        continue;
      }
      const char* module = each.module.path.empty() ? "no module"
                           : each.module.stale      ? "older module"
                                                    : "module";
      const char* agent = each.agent.path.empty() ? "no agent"
                          : each.agent.stale      ? "older agent"
                                                  : "agent";
      out.push_back({{"pid", each.pid},
                     {"name", each.name},
                     {"user", each.user},
                     {"module", module},
                     {"agent", agent}});
      const bool configured =
          std::any_of(interpreters_.begin(), interpreters_.end(), [&](const Interpreter& on_disk) {
            return on_disk.path == each.program && !on_disk.loads.empty();
          });
      groups[{each.name, each.user, module, agent, configured}].push_back(pid);
    }
    for (const auto& [kind, pids] : groups) {
      const auto& [name, user, module, agent, configured] = kind;
      const auto known = find_user(user);
      const std::string who = name + " of " + (known ? known->name : std::to_string(user)) +
                              (pids.size() == 1 ? " (process " : " (processes ") + joined(pids) +
                              ")";
      row("running", module == "no module" ? module : joined({module, agent}), who);
      if (module == "no module") {
        problem(who + " runs without the module, so it is not protected; " +
                (configured ? "restart it, and read PHP's error log if that does not help"
                            : "configure \"extension=vorgate.so\" for it and restart it"));
      } else if (agent == "no agent") {
        problem(who +
                " has the module without the agent, so it reports and blocks nothing; make "
                "the agent's library loadable and restart it");
      }
      if (module == "older module" || agent == "older agent") {
        problem(who + " still runs an older " + (module == "older module" ? "module" : "agent") +
                " than the one on disk; restart it");
      }
    }
    if (groups.empty() && hidden.empty()) row("running", "none", "no PHP is running");
    if (!hidden.empty()) {
      row("running", "not seen", joined(hidden));
      unseen(joined(hidden) + (hidden.size() == 1 ? " belongs" : " belong") +
             " to others and cannot be looked into; run this as root");
    }
  }

  void look_at_policies() {
    // What the processes were started with comes first, and counts as their log too.
    std::map<std::string, std::set<uid_t>> users{{options_.policy, {}}};
    for (const PhpProcess& each : processes_) {
      if (!each.seen || each.module.path.empty()) continue;
      const std::string path = each.policy.empty() ? standard_policy_path : each.policy;
      users[path].insert(each.user);
    }
    std::map<std::string, std::set<uid_t>> logs;
    Json& out = document_["policies"] = Json::array();
    for (const auto& [path, ids] : users) {
      const FileState state = state_of(path);
      const PolicyFiles files = look_at_policy(path);
      const bool good = files.policy && files.faults.empty();
      const std::string verdict = !files.unread.empty() ? "not seen"
                                  : !good               ? "faulty"
                                  : files.there         ? "good"
                                                        : "missing";
      out.push_back({{"path", path}, {"state", verdict}});
      std::string more = path;
      if (state.there()) {
        out.back().update(
            {{"owner", state.owner()}, {"mode", state.mode()}, {"changed", state.time()}});
        more += ", " + state.owner() + " " + state.mode() + ", changed " + state.time();
      }
      if (files.policy) {
        out.back()["words"] = in_words(*files.policy);
        more += (files.there ? ", " : ", so the default holds: ") + in_words(*files.policy);
        logs[files.policy->log_path].insert(ids.begin(), ids.end());
      }
      row("policy", verdict, more);
      for (const std::string& fault : files.faults) {
        problem(fault + " (the agent refuses this file; what was in force before stays)");
      }
      for (const std::string& fault : files.unread) unseen(fault);
      for (const User& user : users_of(ids)) {
        problem(write_fault(user, path));
        problem(read_fault(user, path));
      }
    }
    row("", "",
        "PHP takes a changed policy within a second of its next request; whether it did is "
        "only in the system log");
    for (const auto& [path, ids] : logs) look_at_log(path, ids);
  }

  // The users that PHP serves as, without root, who may do anything; the one of the
  // options when there is none.
  std::vector<User> users_of(const std::set<uid_t>& ids) const {
    std::vector<User> users;
    for (const uid_t id : ids) {
      if (id == 0) continue;
      if (auto user = find_user(id)) users.push_back(std::move(*user));
    }
    if (users.empty()) {
      if (auto user = find_user(options_.user)) users.push_back(std::move(*user));
    }
    return users;
  }

  void look_at_log(const std::string& path, const std::set<uid_t>& ids) {
    for (const User& user : users_of(ids)) problem(log_fault(user, path));
    const FileState state = state_of(path);
    Json& out = document_["logs"];
    if (!out.is_array()) out = Json::array();
    out.push_back({{"path", path},
                   {"state", state.there()    ? "there"
                             : state.hidden() ? "not seen"
                                              : "missing"}});
    Json& entry = out.back();
    const std::string verdict = entry["state"];
    row("event log", verdict,
        path + (state.there() ? ", " + state.owner() + " " + state.mode() + ", " +
                                    std::to_string(state.status.st_size) + " bytes"
                              : ""));
    if (!state.there()) {
      if (state.hidden()) unseen(path + ": no permission to look at it; run this as root");
      return;
    }
    EventReader reader;
    std::string error;
    if (!reader.open(path, 0, &error)) {
      unseen(error);
      return;
    }
    const std::string today = utc_text(now_us()).substr(0, 10);
    std::map<std::string, std::map<std::string, std::size_t>> counts;
    std::uint64_t lost = 0;
    const auto count = [&](const LoggedEvent& event) {
      if (event.time.compare(0, 10, today) != 0) return;
      ++counts[event.category.empty() ? "plain records" : event.category][event.verdict];
      lost += event.lost_before;
    };
    while (const LoggedEvent* event = reader.next()) count(*event);
    if (!reader.failure().empty()) unseen(reader.failure());
    entry.update(
        {{"day", today}, {"events", counts}, {"lost", lost}, {"torn_lines", reader.skipped()}});
    if (counts.empty()) row("events", "none", "on " + today + " UTC");
    for (const auto& [category, verdicts] : counts) {
      std::size_t sum = 0;
      std::string words = category + ":";
      for (const auto& [verdict_name, number] : verdicts) {
        sum += number;
        words += " " + std::to_string(number) + " " + verdict_name + ",";
      }
      words.append(" on ").append(today).append(" UTC");
      row("events", std::to_string(sum), words);
    }
    if (reader.skipped() > 0) {
      row("events", std::to_string(reader.skipped()), "torn or foreign lines in the whole file");
    }
    if (lost > 0) {
      row("events", std::to_string(lost), "lost today");
      problem(path + ": " + std::to_string(lost) +
              " events of today could not be written; look for a full disk or missing permission "
              "in the system log's lines of vorgate-agent");
    }
  }

  const Options options_;
  std::vector<PhpProcess> processes_;
  std::vector<Interpreter> interpreters_;
  std::map<std::string, std::string> module_interfaces_;
  bool library_works_ = false;
  Json document_;
  std::vector<std::tuple<std::string, std::string, std::string>> rows_;
  std::vector<std::string> problems_;
  std::vector<std::string> unseen_;
};

}  // namespace

void add_status(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = program.add_subcommand(
      "status", "Shows what is installed, what runs, and what has to be done");
  command->add_option("--library", options->library, "The agent's library")->capture_default_str();
  command->add_option("--policy", options->policy,
                      "Policy file (default: the one that the agent would read)");
  command->add_option("--user", options->user, "The user that PHP runs as, where none runs")
      ->capture_default_str();
  command->add_flag("--json", options->as_json, "As JSON");
  command->callback([options] {
    Status status(*options);
    status.look();
    status.print();
    if (status.has_problems()) throw CLI::RuntimeError(1);
  });
}

}  // namespace vorgate::agent::tool
