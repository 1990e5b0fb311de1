#ifndef VORGATE_TOOL_FILES_H
#define VORGATE_TOOL_FILES_H

// The files of an installation as check, status and try look at them.

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "agent/policy.h"
#include "agent/script/script_rules.h"
#include "agent/sql/sql_rules.h"

namespace vorgate::agent::tool {

// A user of the system with all groups.
struct User {
  std::string name;
  uid_t id = 0;
  std::vector<gid_t> groups;
};
std::optional<User> find_user(const std::string& name);
std::optional<User> find_user(uid_t id);

// What stat says of a file.
struct FileState {
  int error = 0;  // errno, 0 for none
  struct stat status {};

  bool there() const { return error == 0; }
  // The program itself may not see whether the file is there.
  bool hidden() const;
  std::string owner() const;  // "root:adm"
  std::string mode() const;   // "0640"
  std::string time() const;   // of the last change, UTC
};
FileState state_of(const std::string& path);

// Whether the user may do what `wanted` says (R_OK, W_OK, X_OK), by the modes of
// the file and of the folders above it; access control lists do not count. No
// value when that cannot be seen.
std::optional<bool> may(const User& user, const std::string& path, int wanted);

// Why the user cannot append to the event log, and what to do: one sentence, empty
// when nothing is wrong. What cannot be seen is no fault.
std::string log_fault(const User& user, const std::string& path);
// The same of reading a policy or rule file.
std::string read_fault(const User& user, const std::string& path);
// Who else than its administrator could write a policy or rule file: the same.
std::string write_fault(const User& user, const std::string& path);

struct RuleFile {
  const char* kind;  // "SQL" or "script"
  std::string path;
  std::size_t rules = 0;
};

// A policy file and the rule files that it names.
struct PolicyFiles {
  std::string path;
  bool there = false;            // else `policy` is the default one
  std::string text;              // of the policy file
  std::optional<Policy> policy;  // none: it has a fault or cannot be read
  std::vector<RuleFile> rule_files;
  std::vector<sql::RuleSet> sql_rules;  // what the rule files hold
  std::vector<script::RuleSet> script_rules;
  std::vector<std::string> faults;  // "file:line:column: reason; remedy"
  std::vector<std::string> unread;  // the same of files that cannot be read
};
// `more_rules` are rule files to look at besides: of scripts when they end in ".yar".
PolicyFiles look_at_policy(const std::string& path,
                           const std::vector<std::string>& more_rules = {});

// The policy in a few words, such as "enforcement block, but file_access only
// reports; 2 allow entries".
std::string in_words(const Policy& policy);

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_FILES_H
