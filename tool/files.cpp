#include "tool/files.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "agent/categories.h"
#include "agent/file_io.h"
#include "agent/utc.h"

namespace vorgate::agent::tool {
namespace {

std::optional<User> with_groups(const passwd* entry) {
  if (entry == nullptr) return std::nullopt;
  User user{entry->pw_name, entry->pw_uid, {}};
  int count = 0;
  getgrouplist(user.name.c_str(), entry->pw_gid, nullptr, &count);
  user.groups.resize(static_cast<std::size_t>(std::max(count, 1)));
  if (getgrouplist(user.name.c_str(), entry->pw_gid, user.groups.data(), &count) < 0) count = 0;
  user.groups.resize(static_cast<std::size_t>(count));
  return user;
}

std::string user_name(uid_t id) {
  const passwd* entry = getpwuid(id);
  return entry != nullptr ? entry->pw_name : std::to_string(id);
}

std::string group_name(gid_t id) {
  const group* entry = getgrgid(id);
  return entry != nullptr ? entry->gr_name : std::to_string(id);
}

bool is_in(const User& user, gid_t group) {
  return std::find(user.groups.begin(), user.groups.end(), group) != user.groups.end();
}

bool allows(const User& user, const struct stat& status, int wanted) {
  if (user.id == 0) return true;
  const unsigned int shift = status.st_uid == user.id ? 6 : is_in(user, status.st_gid) ? 3 : 0;
  const auto bits = static_cast<unsigned int>(wanted);
  return (status.st_mode >> shift & bits) == bits;
}

std::string folder_of(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

// In the shell's quotes where it needs them.
std::string quoted(const std::string& path) {
  constexpr const char* plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._/+,@%:";
  if (path.find_first_not_of(plain) == path.npos) return path;
  std::string text = "'";
  for (const char c : path) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

std::string described(const FileState& state) {
  return " (" + state.owner() + ", " + state.mode() + ")";
}

template <typename RuleSet>
void add_rules(const char* kind, const std::string& file, std::vector<RuleSet>* sets,
               PolicyFiles* files) {
  std::string error;
  const auto text = read_file(file, &error);
  if (!text) {
    (state_of(file).hidden() ? files->unread : files->faults)
        .push_back(error + "; put the rule file there, or take it out of the policy");
  } else if (auto set = RuleSet::parse(*text, file, &error)) {
    files->rule_files.push_back({kind, file, set->names().size()});
    sets->push_back(std::move(*set));
  } else {
    files->faults.push_back(error);
  }
}

}  // namespace

std::optional<User> find_user(const std::string& name) {
  return with_groups(getpwnam(name.c_str()));
}

std::optional<User> find_user(uid_t id) { return with_groups(getpwuid(id)); }

bool FileState::hidden() const { return error == EACCES; }

std::string FileState::owner() const {
  return user_name(status.st_uid) + ":" + group_name(status.st_gid);
}

std::string FileState::mode() const {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned int>(status.st_mode) & 07777U);
  return text;
}

std::string FileState::time() const {
  const std::string text = utc_text(status.st_mtim.tv_sec * std::int64_t{1'000'000});
  return text.substr(0, 10) + ' ' + text.substr(11, 8) + " UTC";
}

FileState state_of(const std::string& path) {
  FileState state;
  if (stat(path.c_str(), &state.status) != 0) state.error = errno == ENOTDIR ? ENOENT : errno;
  return state;
}

std::optional<bool> may(const User& user, const std::string& path, int wanted) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::weakly_canonical(path, error);
  if (error) return std::nullopt;
  std::filesystem::path part;
  for (const auto& name : whole) {
    part /= name;
    const FileState state = state_of(part.string());
    if (!state.there()) return std::nullopt;
    if (!allows(user, state.status, part == whole ? wanted : X_OK)) return false;
  }
  return true;
}

std::string log_fault(const User& user, const std::string& path) {
  const std::string folder = folder_of(path);
  const FileState log = state_of(path);
  if (log.hidden()) return {};
  if (log.there() && S_ISDIR(log.status.st_mode)) {
    return path +
           ": the event log's path is a folder; remove it, or name a file in the policy's "
           "log.path";
  }
  if (log.there()) {
    if (may(user, path, W_OK).value_or(true)) return {};
    return path + described(log) + ": user " + user.name +
           " cannot write the event log, so events are lost; chown " + user.name + " " +
           quoted(path) + ", and let that user through all folders above it";
  }
  const FileState above = state_of(folder);
  if (!above.there() || !S_ISDIR(above.status.st_mode)) {
    return folder + ": the event log's folder is missing, so events are lost; install -d -o " +
           user.name + " -g adm -m 0750 " + quoted(folder);
  }
  if (may(user, folder, W_OK | X_OK).value_or(true)) return {};
  return folder + described(above) + ": user " + user.name +
         " cannot make the event log there, so events are lost; chown " + user.name + " " +
         quoted(folder) + ", and let that user through all folders above it";
}

std::string read_fault(const User& user, const std::string& path) {
  const FileState state = state_of(path);
  if (!state.there() || may(user, path, R_OK).value_or(true)) return {};
  return path + described(state) + ": user " + user.name +
         " cannot read it, so PHP goes on without it; chmod o+r " + quoted(path) +
         ", and let that user through all folders above it";
}

std::string write_fault(const User& user, const std::string& path) {
  const FileState state = state_of(path);
  if (!state.there()) return {};
  const std::string start = path + described(state) + ": ";
  if ((state.status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return start + "others than its owner can write it; chmod go-w " + quoted(path);
  }
  const std::string folder = folder_of(path);
  if (user.id != 0 && state.status.st_uid == user.id) {
    return start + "PHP itself could change it, because it belongs to user " + user.name +
           "; chown root " + quoted(path);
  }
  // A sticky folder keeps files from being replaced by others.
  const FileState above = state_of(folder);
  if (user.id != 0 && above.there() && (above.status.st_mode & S_ISVTX) == 0 &&
      may(user, folder, W_OK | X_OK).value_or(false)) {
    return folder + described(above) + ": user " + user.name + " can replace " + path +
           " there; chown root " + quoted(folder) + " and chmod go-w " + quoted(folder);
  }
  return {};
}

PolicyFiles look_at_policy(const std::string& path, const std::vector<std::string>& more_rules) {
  PolicyFiles files;
  files.path = path;
  std::string error;
  const FileState state = state_of(path);
  if (state.error == ENOENT) {
    files.policy.emplace();
  } else if (auto text = read_file(path, &error)) {
    files.there = true;
    files.text = std::move(*text);
    files.policy = parse_policy(files.text, path, &error);
    if (!files.policy) files.faults.push_back(error);
  } else {
    files.there = true;
    files.unread.push_back(error + "; make it a file that can be read");
  }
  const Policy policy = files.policy ? *files.policy : Policy();
  std::vector<std::string> sql_rules = policy.rule_files;
  std::vector<std::string> script_rules = policy.script_rule_files;
  for (const std::string& file : more_rules) {
    constexpr std::string_view yara = ".yar";
    const bool of_scripts = file.size() > yara.size() &&
                            file.compare(file.size() - yara.size(), yara.size(), yara) == 0;
    (of_scripts ? script_rules : sql_rules).push_back(file);
  }
  for (const std::string& file : sql_rules) add_rules("SQL", file, &files.sql_rules, &files);
  for (const std::string& file : script_rules) {
    add_rules("script", file, &files.script_rules, &files);
  }
  return files;
}

std::string in_words(const Policy& policy) {
  constexpr std::array<const char*, 3> names{"off", "report", "block"};
  std::string text =
      std::string("enforcement ") + names.at(static_cast<std::size_t>(policy.enforcement));
  std::string blocked;
  std::string reported;
  for (const NamedCategory& each : categories) {
    std::string& list = policy.blocks(static_cast<int>(each.category)) ? blocked : reported;
    list += std::string(list.empty() ? "" : ", ") + each.name;
  }
  if (policy.enforcement == Enforcement::off) {
    text += ": nothing is looked at";
  } else if (blocked.empty()) {
    text += ": everything is reported, nothing is blocked";
  } else {
    text += ": blocks " + blocked;
    if (!reported.empty()) text += "; only reports " + reported;
  }
  return text;
}

}  // namespace vorgate::agent::tool
