#include "tool/installation.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gelf.h>
#include <glob.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string_view>

#include "agent/file_io.h"
#include "vorgate/php_help.h"

namespace vorgate::agent::tool {
namespace {

namespace fs = std::filesystem;
using namespace std::string_view_literals;

std::string base_name(const std::string& path) { return fs::path(path).filename().string(); }

std::vector<std::string> matches(const char* pattern) {
  std::vector<std::string> found;
  glob_t result{};
  if (glob(pattern, 0, nullptr, &result) == 0) {
    found.assign(result.gl_pathv, result.gl_pathv + result.gl_pathc);
  }
  globfree(&result);
  return found;
}

std::string hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
    text += "0123456789abcdef"[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

struct ElfEnder {
  void operator()(Elf* elf) const noexcept { elf_end(elf); }
};

std::string linker_id(Elf* elf) {
  std::size_t segments = 0;
  elf_getphdrnum(elf, &segments);
  for (std::size_t i = 0; i < segments; ++i) {
    GElf_Phdr segment;
    if (gelf_getphdr(elf, static_cast<int>(i), &segment) == nullptr) return {};
    if (segment.p_type != PT_NOTE) continue;
    Elf_Data* const notes =
        elf_getdata_rawchunk(elf, static_cast<std::int64_t>(segment.p_offset), segment.p_filesz,
                             segment.p_align == 8 ? ELF_T_NHDR8 : ELF_T_NHDR);
    GElf_Nhdr note;
    std::size_t name = 0;
    std::size_t text = 0;
    for (std::size_t at = 0;
         notes != nullptr && (at = gelf_getnote(notes, at, &note, &name, &text)) > 0;) {
      const std::string_view bytes(static_cast<const char*>(notes->d_buf), notes->d_size);
      if (note.n_type == NT_GNU_BUILD_ID && bytes.substr(name, note.n_namesz) == "GNU\0"sv) {
        return hex(bytes.substr(text, note.n_descsz));
      }
    }
  }
  return {};
}

// "API" and eight digits, then the kinds of build.
std::string interface_in(std::string_view bytes) {
  constexpr std::string_view tag = "API20";
  for (std::size_t at = 0; (at = bytes.find(tag, at)) != bytes.npos; ++at) {
    std::string text(bytes.substr(at, std::min<std::size_t>(bytes.find('\0', at) - at, 32)));
    static const std::regex form("API[0-9]{8},N?TS(,debug)?");
    if (std::regex_match(text, form)) return text;
  }
  return {};
}

bool is_interpreter(const std::string& name) {
  static const std::regex form("php(-fpm|-cgi)?[0-9.]*");
  return std::regex_match(name, form);
}

bool is_libphp(const std::string& name) {
  return name.compare(0, 6, "libphp") == 0 && name.find(".so") != name.npos;
}

// The folder of Debian's configuration for an interpreter.
std::string folder_of(const std::string& path) {
  const std::string name = base_name(path);
  static const std::regex version("[0-9]+\\.[0-9]+");
  std::smatch number;
  if (!std::regex_search(name, number, version)) return {};
  const char* kind = is_libphp(name)                  ? "apache2"
                     : name.find("-fpm") != name.npos ? "fpm"
                     : name.find("-cgi") != name.npos ? "cgi"
                                                      : "cli";
  std::string folder = "/etc/php/" + number.str() + "/" + kind;
  return fs::is_directory(folder) ? folder : std::string();
}

void add_extensions(const std::string& file, std::vector<std::string>* loads) {
  static const std::regex form(
      "\\s*extension\\s*=\\s*[\"']?([^\"';]*vorgate[^\"';/]*?)[\"']?\\s*(;.*)?");
  std::ifstream in(file);
  std::smatch found;
  for (std::string line; std::getline(in, line);) {
    if (line.size() < 4096 && std::regex_match(line, found, form)) loads->push_back(found[1].str());
  }
}

// One line of /proc/PID/maps: what is mapped, and the file's number.
struct Mapping {
  std::string path;
  dev_t device = 0;
  ino_t inode = 0;
  bool deleted = false;
};

bool read_mapping(const std::string& line, Mapping* mapping) {
  std::istringstream fields(line);
  std::string range, modes, offset;
  unsigned int major_number = 0, minor_number = 0;
  char colon = 0;
  fields >> range >> modes >> offset >> std::hex >> major_number >> colon >> minor_number >>
      std::dec >> mapping->inode >> std::ws;
  std::getline(fields, mapping->path);
  mapping->device = makedev(major_number, minor_number);
  constexpr std::string_view gone = " (deleted)";
  const std::size_t size = mapping->path.size();
  mapping->deleted =
      size > gone.size() && mapping->path.compare(size - gone.size(), gone.npos, gone) == 0;
  if (mapping->deleted) mapping->path.resize(size - gone.size());
  return !mapping->path.empty() && mapping->path[0] == '/';
}

Mapped mapped_from(const Mapping& mapping, const std::string& root) {
  struct stat now {};
  // The inode alone: overlay file systems show another device number in maps.
  const bool same = stat((root + mapping.path).c_str(), &now) == 0 && now.st_ino == mapping.inode;
  return {mapping.path, mapping.deleted || !same};
}

std::string environment_entry(const std::string& environment, const std::string& name) {
  std::istringstream in(environment);
  for (std::string entry; std::getline(in, entry, '\0');) {
    if (entry.compare(0, name.size() + 1, name + "=") == 0) return entry.substr(name.size() + 1);
  }
  return {};
}

// Fills in what the maps say; answers whether this is a PHP.
bool look_into(const std::string& folder, PhpProcess* process) {
  std::error_code error;
  const std::string program = fs::read_symlink(folder + "/exe", error).string();
  std::ifstream maps(folder + "/maps");
  std::string line;
  if (error || !maps || !std::getline(maps, line)) {
    // A kernel thread, one that just ended, or another user's.
    return is_interpreter(process->name) || process->name == "apache2" || process->name == "httpd";
  }
  process->seen = true;
  process->name = base_name(program);
  constexpr std::string_view gone = " (deleted)";
  if (const std::size_t at = process->name.rfind(gone); at != process->name.npos) {
    process->name.resize(at);
  }
  bool is_php = is_interpreter(process->name);
  process->program = is_php ? program : "";
  const std::string root = folder + "/root";
  const std::string agent_name = base_name(VORGATE_AGENT_LIBRARY);
  std::string last;
  do {
    Mapping mapping;
    if (!read_mapping(line, &mapping) || mapping.path == last) continue;
    last = mapping.path;
    const std::string name = base_name(mapping.path);
    if (name == "vorgate.so") process->module = mapped_from(mapping, root);
    if (name == agent_name) process->agent = mapped_from(mapping, root);
    if (is_libphp(name)) {
      is_php = true;
      process->program = mapping.path;
    }
  } while (std::getline(maps, line));
  std::string reason;
  process->policy = environment_entry(read_file(folder + "/environ", &reason).value_or(""),
                                      "VORGATE_AGENT_CONFIG");
  return is_php || !process->module.path.empty();
}

}  // namespace

Build build_of(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  elf_version(EV_CURRENT);
  const std::unique_ptr<Elf, ElfEnder> elf(elf_begin(file.get(), ELF_C_READ_MMAP, nullptr));
  std::size_t size = 0;
  const char* const bytes = elf != nullptr ? elf_rawfile(elf.get(), &size) : nullptr;
  if (bytes == nullptr) return {};
  return {interface_in({bytes, size}), linker_id(elf.get())};
}

std::string load_fault(const std::string& library) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return "no pipe to ask a process by; try again";
  const Descriptor in(ends[0]);
  pid_t child = -1;
  {
    const Descriptor out(ends[1]);
    child = fork();
    if (child == 0) {
      alarm(10);
      const Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
      for (const int standard : {0, 1, 2}) dup2(null.get(), standard);
      // Not dlopen: this program has its own for the module that it plays PHP to.
      void* const handle = dlmopen(LM_ID_BASE, library.c_str(), RTLD_NOW);
      std::string reason = "ok";
      if (handle == nullptr) {
        const char* const said = dlerror();
        reason = "PHP cannot load the agent (" +
                 std::string(said != nullptr ? said : "the loader gives no reason") +
                 "); install what is named there (RE2 is in libre2-9, YARA in libyara9), or the "
                 "library again";
      } else if (void* const factory = dlsym(handle, VORGATE_AGENT_FACTORY); factory == nullptr) {
        reason =
            "the library has no function " VORGATE_AGENT_FACTORY
            ", so PHP reports and blocks nothing; put the agent's own library there and restart "
            "PHP";
      } else if (reinterpret_cast<IPhpHelp* (*)()>(factory)() == nullptr) {
        reason = "its " VORGATE_AGENT_FACTORY
                 " answers that there is no agent, so PHP reports and blocks nothing; look for its "
                 "reason in the system log, or put the agent's own library there and restart PHP";
      }
      write_quietly(out.get(), reason);
      _exit(0);
    }
  }
  if (child < 0) return "no process to load it in; try again";
  std::string reason;
  char buffer[1024];
  for (ssize_t got; (got = read(in.get(), buffer, sizeof buffer)) > 0;) {
    reason.append(buffer, static_cast<std::size_t>(got));
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (reason.empty()) {
    return "it ends the process that loads it; put the agent's own library there, or remove it";
  }
  return reason == "ok" ? std::string() : reason;
}

std::vector<Interpreter> interpreters() {
  std::vector<Interpreter> found;
  for (const char* pattern : {"/usr/bin/php*", "/usr/sbin/php*", "/usr/local/bin/php*",
                              "/usr/local/sbin/php*", "/usr/lib/apache2/modules/libphp*.so"}) {
    for (const std::string& each : matches(pattern)) {
      std::error_code error;
      const std::string path = fs::canonical(each, error).string();
      const std::string name = base_name(path);
      if (error || (!is_interpreter(name) && !is_libphp(name))) continue;
      if (std::any_of(found.begin(), found.end(),
                      [&](const Interpreter& known) { return known.path == path; })) {
        continue;
      }
      Interpreter interpreter{path, build_of(path).php_interface, folder_of(path), {}};
      std::vector<std::string> files;
      if (!interpreter.folder.empty()) {
        files = matches((interpreter.folder + "/conf.d/*.ini").c_str());
        files.push_back(interpreter.folder + "/php.ini");
      } else if (path.compare(0, 11, "/usr/local/") == 0) {
        files = matches("/usr/local/etc/php/conf.d/*.ini");
        files.emplace_back("/usr/local/etc/php/php.ini");
      }
      for (const std::string& file : files) add_extensions(file, &interpreter.loads);
      found.push_back(std::move(interpreter));
    }
  }
  return found;
}

std::vector<std::string> module_files() {
  std::vector<std::string> found;
  for (const char* pattern : {"/usr/lib/php/*/vorgate.so", "/usr/lib64/php/modules/vorgate.so",
                              "/usr/local/lib/php/extensions/*/vorgate.so"}) {
    for (std::string& file : matches(pattern)) found.push_back(std::move(file));
  }
  return found;
}

bool php_processes(std::vector<PhpProcess>* found) {
  std::error_code error;
  fs::directory_iterator folders("/proc", error);
  if (error) return false;
  for (; folders != fs::directory_iterator(); folders.increment(error)) {
    const std::string name = folders->path().filename().string();
    if (name.find_first_not_of("0123456789") != name.npos) continue;
    const std::string folder = folders->path().string();
    struct stat status {};
    PhpProcess process;
    process.pid = static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10));
    if (stat(folder.c_str(), &status) != 0) continue;
    process.user = status.st_uid;
    std::ifstream(folder + "/comm") >> process.name;
    if (look_into(folder, &process)) found->push_back(std::move(process));
    if (error) return false;
  }
  return true;
}

}  // namespace vorgate::agent::tool
