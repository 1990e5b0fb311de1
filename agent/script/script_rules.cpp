#include "agent/script/script_rules.h"

#include <pthread.h>
#include <yara.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "agent/script/shipped_rules.h"

namespace vorgate::script {
namespace {

constexpr std::chrono::seconds longest_trial{1};

// What a rule about a text can use. The others take executables and documents apart:
// much code, open to whatever bytes an attacker likes.
constexpr std::array<std::string_view, 4> modules{"console", "hash", "math", "time"};

// Everything in libyara but the scan itself: its process-wide state, the compiler, and
// the C library's rand(), whose lock a fork can leave closed. A fork waits for whoever
// is in here, so that a child finds none of it half done.
std::mutex library;

// From the moment on at which the agent is loaded.
[[maybe_unused]] const int forks_wait =
    pthread_atfork([] { library.lock(); }, [] { library.unlock(); }, [] { library.unlock(); });

// Can a statement start here, and not a comment's text?
bool starts_statement(std::string_view text, std::size_t at) {
  const std::size_t line = text.rfind('\n', at) + 1;
  return (at == line || std::strchr(" \t\r/}", text[at - 1]) != nullptr) &&
         text.substr(line, at - line).find("//") == std::string_view::npos;
}

std::string line_at(std::string_view text, std::size_t at) {
  return std::to_string(1 + std::count(text.begin(), text.begin() + static_cast<long>(at), '\n'));
}

// The line on which `word`, some blanks and then `name` stand; 1 if nowhere.
std::string line_of(std::string_view text, std::string_view word, const std::string& name) {
  for (std::size_t at = text.find(word); at != std::string_view::npos;
       at = text.find(word, at + 1)) {
    const std::size_t next = text.find_first_not_of(" \t\r\n\"", at + word.size());
    if (starts_statement(text, at) && next != std::string_view::npos &&
        text.substr(next, name.size()) == name) {
      return line_at(text, at);
    }
  }
  return "1";
}

const char* family_of(const YR_RULE* rule) {
  const YR_META* meta;
  yr_rule_metas_foreach(rule, meta) {
    if (meta->type == META_TYPE_STRING && std::strcmp(meta->identifier, "name") == 0 &&
        *meta->string != '\0') {
      return meta->string;
    }
  }
  return rule->identifier;
}

bool is_for_large(const YR_RULE* rule) {
  const char* tag;
  yr_rule_tags_foreach(rule, tag) {
    if (std::strcmp(tag, "large") == 0) return true;
  }
  return false;
}

// What one scan is to find, and has found.
struct Scan {
  explicit Scan(Kinds wanted) : kinds(wanted) {}

  Kinds kinds;
  const YR_RULE* rule = nullptr;
  std::string refused_module;
};

int on_scan(YR_SCAN_CONTEXT*, int message, void* data, void* context) noexcept {
  Scan& scan = *static_cast<Scan*>(context);
  if (message == CALLBACK_MSG_IMPORT_MODULE) {
    const char* name = static_cast<const YR_MODULE_IMPORT*>(data)->module_name;
    if (std::find(modules.begin(), modules.end(), name) != modules.end()) return CALLBACK_CONTINUE;
    try {
      scan.refused_module = name;
    } catch (const std::exception&) {
    }
    return CALLBACK_ERROR;
  }
  // console.log is another of the messages: it stays unheard.
  if (message != CALLBACK_MSG_RULE_MATCHING) return CALLBACK_CONTINUE;
  const auto* rule = static_cast<const YR_RULE*>(data);
  if (scan.kinds == Kinds::families && is_for_large(rule)) return CALLBACK_CONTINUE;
  scan.rule = rule;
  return CALLBACK_ABORT;
}

struct ScannerDeleter {
  void operator()(YR_SCANNER* scanner) const noexcept { yr_scanner_destroy(scanner); }
};

// Answers an error of libyara.
int run(YR_RULES* rules, std::string_view code, std::chrono::nanoseconds limit,
        Scan* scan) noexcept {
  YR_SCANNER* created = nullptr;
  {
    const std::lock_guard<std::mutex> lock(library);
    const int error = yr_scanner_create(rules, &created);
    if (error != ERROR_SUCCESS) return error;
  }
  const std::unique_ptr<YR_SCANNER, ScannerDeleter> scanner(created);
  yr_scanner_set_callback(created, on_scan, scan);
  // Without NO_TRYCATCH, libyara would put its own handlers of SIGSEGV and SIGBUS into
  // the process for the time of the scan.
  yr_scanner_set_flags(
      created, SCAN_FLAGS_FAST_MODE | SCAN_FLAGS_NO_TRYCATCH | SCAN_FLAGS_REPORT_RULES_MATCHING);
  // The function for it knows whole seconds only. 0 would be no limit.
  created->timeout = static_cast<std::uint64_t>(std::max<std::int64_t>(limit.count(), 1));
  return yr_scanner_scan_mem(created, reinterpret_cast<const std::uint8_t*>(code.data()),
                             code.size());
}

struct Fault {
  int line = 0;  // 0: none
  std::string reason;
  bool includes = false;
};

void on_fault(int level, const char*, int line, const YR_RULE*, const char* message,
              void* context) noexcept {
  Fault& fault = *static_cast<Fault*>(context);
  if (level != YARA_ERROR_LEVEL_ERROR || fault.line != 0) return;
  fault.line = std::max(line, 1);
  try {
    fault.reason = message;
  } catch (const std::exception&) {
    fault.reason.clear();
  }
}

const char* on_include(const char*, const char*, const char*, void* context) noexcept {
  static_cast<Fault*>(context)->includes = true;
  return nullptr;
}

struct CompilerDeleter {
  void operator()(YR_COMPILER* compiler) const noexcept { yr_compiler_destroy(compiler); }
};

struct RulesDeleter {
  void operator()(YR_RULES* rules) const noexcept { yr_rules_destroy(rules); }
};
using Rules = std::unique_ptr<YR_RULES, RulesDeleter>;

struct Bytes {
  std::string all;
  std::size_t read = 0;
};

std::size_t on_write(const void* data, std::size_t size, std::size_t count,
                     void* context) noexcept {
  try {
    static_cast<Bytes*>(context)->all.append(static_cast<const char*>(data), size * count);
    return count;
  } catch (const std::exception&) {
    return 0;
  }
}

std::size_t on_read(void* data, std::size_t size, std::size_t count, void* context) noexcept {
  Bytes& bytes = *static_cast<Bytes*>(context);
  if (bytes.all.size() - bytes.read < size * count) return 0;
  bytes.all.copy(static_cast<char*>(data), size * count, bytes.read);
  bytes.read += size * count;
  return count;
}

// What the compiler hands out holds on to a dozen of buffers of 1 MiB each, mostly
// empty. Written out and read again, rules take no more than they need.
Rules packed(const Rules& rules) noexcept {
  Bytes bytes;
  YR_STREAM stream{};
  stream.user_data = &bytes;
  stream.write = on_write;
  stream.read = on_read;
  YR_RULES* read = nullptr;
  if (yr_rules_save_stream(rules.get(), &stream) != ERROR_SUCCESS ||
      yr_rules_load_stream(&stream, &read) != ERROR_SUCCESS) {
    return nullptr;
  }
  return Rules(read);
}

// Null on failure; without a fault, there is no memory. The caller holds `library`.
Rules compile(const std::string& text, Fault* fault) noexcept {
  // Counted by libyara, and never taken back: requests may still run while the process
  // ends.
  static const bool initialised = yr_initialize() == ERROR_SUCCESS;
  YR_COMPILER* created = nullptr;
  if (!initialised || yr_compiler_create(&created) != ERROR_SUCCESS) return nullptr;
  const std::unique_ptr<YR_COMPILER, CompilerDeleter> compiler(created);
  yr_compiler_set_callback(created, on_fault, fault);
  yr_compiler_set_include_callback(created, on_include, nullptr, fault);
  if (yr_compiler_add_string(created, text.c_str(), nullptr) != 0) return nullptr;
  YR_RULES* rules = nullptr;
  if (yr_compiler_get_rules(created, &rules) != ERROR_SUCCESS) return nullptr;
  return packed(Rules(rules));
}

}  // namespace

RuleSet::RuleSet(RuleSet&& other) noexcept : rules_(std::exchange(other.rules_, nullptr)) {}

RuleSet& RuleSet::operator=(RuleSet&& other) noexcept {
  std::swap(rules_, other.rules_);
  return *this;
}

RuleSet::~RuleSet() {
  if (rules_ != nullptr) yr_rules_destroy(rules_);
}

std::optional<RuleSet> RuleSet::parse(std::string_view text, const std::string& file,
                                      std::string* error) {
  const auto refuse = [&](const std::string& line, const std::string& reason) {
    *error = file + ":" + line + ": " + reason;
    return std::nullopt;
  };
  const std::size_t null = text.find('\0');
  if (null != std::string_view::npos) {
    return refuse(line_at(text, null),
                  "not a text; name a file of rules as they are written, not compiled ones");
  }
  Fault fault;
  std::optional<RuleSet> set;
  {
    const std::string copy(text);
    const std::lock_guard<std::mutex> lock(library);
    Rules rules = compile(copy, &fault);
    if (rules != nullptr) set = RuleSet(rules.release());
  }
  if (fault.includes) {
    return refuse(std::to_string(fault.line),
                  "include is not allowed; name the other file in the policy as well");
  }
  if (fault.line != 0) {
    return refuse(std::to_string(fault.line), fault.reason + "; see YARA's manual");
  }
  Scan trial(Kinds::families_and_large);
  const int result = set ? run(set->rules_, "", longest_trial, &trial) : ERROR_INSUFFICIENT_MEMORY;
  if (!trial.refused_module.empty()) {
    return refuse(line_of(text, "import", trial.refused_module),
                  "module '" + trial.refused_module +
                      "' has no use for a script; known here: " + "console, hash, math, time");
  }
  if (trial.rule != nullptr) {
    return refuse(line_of(text, "rule", trial.rule->identifier),
                  std::string("rule '") + trial.rule->identifier +
                      "' matches an empty script; make it say more");
  }
  if (result != ERROR_SUCCESS) return refuse("1", "cannot be compiled: out of memory; try again");
  return set;
}

Found RuleSet::match(std::string_view code, Kinds kinds, std::chrono::nanoseconds limit,
                     std::string* family) const noexcept {
  Scan scan(kinds);
  const int result = run(rules_, code, limit, &scan);
  if (scan.rule == nullptr) {
    return result == ERROR_SCAN_TIMEOUT ? Found::out_of_time : Found::nothing;
  }
  try {
    if (family != nullptr) *family = family_of(scan.rule);
  } catch (const std::exception&) {
    return Found::nothing;
  }
  return Found::web_shell;
}

std::vector<std::string> RuleSet::names() const {
  std::vector<std::string> names;
  const YR_RULE* rule;
  yr_rules_foreach(rules_, rule) {
    if (!RULE_IS_PRIVATE(rule)) names.emplace_back(family_of(rule));
  }
  return names;
}

const RuleSet* shipped_rules() noexcept {
  // Not a local static object: a child forked while another thread makes one would wait
  // for that thread for ever. Never deleted: requests may still run while the process
  // ends.
  static std::atomic<const RuleSet*> shipped{nullptr};
  const RuleSet* rules = shipped.load(std::memory_order_acquire);
  if (rules != nullptr) return rules;
  try {
    std::string error;
    auto set = RuleSet::parse(shipped_rules_text, "script_rules.yar", &error);
    if (!set) return nullptr;
    auto made = std::make_unique<const RuleSet>(std::move(*set));
    // Of two threads that come first, both compile; one set stays.
    if (shipped.compare_exchange_strong(rules, made.get(), std::memory_order_acq_rel)) {
      return made.release();
    }
  } catch (const std::exception&) {
    return shipped.load(std::memory_order_acquire);
  }
  return rules;
}

}  // namespace vorgate::script
