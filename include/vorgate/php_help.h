#ifndef VORGATE_PHP_HELP_H
#define VORGATE_PHP_HELP_H

// SPDX-License-Identifier: Apache-2.0
// Copyright 2026 The vorgate authors

// The contract between the vorgate module and the host agent.
//
// vorgate.so detects; an agent decides and records. An agent is a shared
// library that stands at VORGATE_AGENT_LIBRARY and exports the C function
// named by VORGATE_AGENT_FACTORY. The module opens the library with
// dlopen(RTLD_NOW), calls the factory once and uses the object that it returns
// from then on. This header is all that an agent needs; it depends on nothing
// but the C++ standard library.
//
// Binary interface
//   x86-64 Linux, the Itanium C++ ABI, and the std::string of libstdc++'s C++11
//   ABI (_GLIBCXX_USE_CXX11_ABI=1, the default). The module calls the
//   operations through the virtual table by position: their order below must
//   never change. There is no virtual destructor, and none may be added.
//
// Names
//   PHP loads the module with its symbols open to all libraries (RTLD_GLOBAL), and
//   the module exports the methods of a class CCommonUtil, get_module and
//   message_queue_release. What an agent exports under one of these names is bound
//   to the module's: a class CCommonUtil of its own would be answered by the
//   module's methods, and crash or wait for ever. Let an agent export its factory
//   alone: compile with -fvisibility=hidden and mark the factory, as the example in
//   docs/agent.md does. For code that cannot be compiled so, link with a version
//   script ("{ global: create_php_help; local: *; };") or with -Wl,-Bsymbolic.
//
// Rules that hold for every operation
//   Threads    The module calls from whichever thread serves the request, from
//              several threads at once in a thread-safe PHP, and without a lock
//              of its own. The object must take care of itself.
//   Ownership  Every pointer handed in stays the module's, and is valid until
//              the operation returns. Copy what must live longer.
//   Texts      Zero-terminated byte strings without an encoding: they come from
//              the network and may hold any byte but NUL. A text never is a null
//              pointer; what is absent is empty. A text whose original holds a
//              NUL byte ends there.
//   Time       The call is made inside the visitor's request: answer in
//              microseconds, do not wait for the network or for another process.
//   Failure    Nothing may be thrown, and the process must not be ended. An
//              operation that cannot do its work answers as if it had found
//              nothing.
//   PHP        An operation must not call into the PHP engine.
//   fork       The object may be created before a web server forks its workers.
//              Each child then uses the copy it inherited.

#include <string>

// Where the module looks for the agent.
#define VORGATE_AGENT_LIBRARY "/usr/local/lib/vlib64/libmessage_queue_linux.so"

// The name of the agent's factory, with C linkage:
//   extern "C" IPhpHelp* create_php_help();
// Called from the first request of a process that finds the library; when it
// answers null, again from each later request. The module never deletes what it
// returns: it must live until the process ends.
#define VORGATE_AGENT_FACTORY "create_php_help"

namespace vorgate {

// What `get_block_mode` is asked about. The numbers are part of the contract.
enum class BlockCategory : int {
  code_execution = 2,     // code or a connection's host taken from the request; web shells
  query_injection = 3,    // SQL, LDAP filters, XML external entities
  deserialisation = 6,    // object chains, file creation, YAML objects
  file_access = 7,        // inclusion, reading, request forgery
  command_execution = 8,  // shell commands and phpinfo
};

// The first argument of `send_event`. The numbers are part of the contract.
enum class EventCode : unsigned int {
  record = 0,                     // nothing found: a plain record of the call
  query_injection = 0x20001,      // SQL or LDAP
  file_include = 0x20004,         // a dangerous or request-named file is compiled
  deserialisation = 0x20008,      // reached through unserialize, or YAML objects
  request_forgery = 0x2000e,      // a URL from the request is fetched
  xml_external_entity = 0x20010,  // an XML document with an external entity
  command_execution = 0x20011,    // a shell command or phpinfo shaped by the request
  file_read = 0x20012,            // a file named by the request is read
  request_execution = 0x40000,    // code or a connection's host is the request's own
};

// The texts of `send_event` that do not come from the request. Zero-terminated;
// their bytes are part of the contract. They are pointers: compare what they point
// at, as with std::string_view.

// The second argument: what was tried.
namespace event_kind {
inline constexpr const char* execute_command = "execute_command";  // commands, code, objects
inline constexpr const char* run_web_shell = "execute_command_2";  // a web shell's long script
inline constexpr const char* read = "read";                        // a file, or a file:// URL
inline constexpr const char* connect = "connect";                  // to a host or URL
inline constexpr const char* create = "create";                    // a file
inline constexpr const char* include = "file_include";
inline constexpr const char* parse_xml = "xxe_inject";
inline constexpr const char* query_by_shape = "sql_query_regex";  // lookup_sql said so; LDAP too
inline constexpr const char* query_by_values = "sql_query_lib";   // match_sql said so
}  // namespace event_kind

// The third argument: what the details are when they are neither the name of the
// watched function, nor a call chain, nor a text of the agent's.
namespace event_detail {
inline constexpr const char* chain_link = "->";  // between the calls of a chain
inline constexpr const char* include = "safe_compile_file";
inline constexpr const char* request_forgery = "curl_ssrf";
// Before the name of the function that reads YAML: "unserialize:yaml_parse".
inline constexpr const char* yaml_object_prefix = "unserialize:";
// Before the family that scan_webshell named.
inline constexpr const char* web_shell_family_prefix = "chopper->";
// In place of a family: the scan took too long, and the agent's policy stops such code.
inline constexpr const char* unscanned = "unscanned";
inline constexpr const char* web_shell = "webshell";  // scan_script said so
// Code that PHP compiles at run time, by where it comes from.
inline constexpr const char* eval_code = "eval()'d code";
inline constexpr const char* assert_code = "assert code";
inline constexpr const char* regexp_code = "regexp code";
inline constexpr const char* mbregex_code = "mbregex replace";
inline constexpr const char* created_function = "runtime-created function";
// Behind eval_code, when a constructor evaluates inside an eval.
inline constexpr const char* from_constructor_suffix = " from __construct(eval(";
}  // namespace event_detail

// The fourth argument: the kind of thing acted on. Request forgery has no target:
// event_kind::connect or event_kind::read stands in its place again.
namespace event_target {
inline constexpr const char* command = "command";  // code, queries and documents as well
inline constexpr const char* file = "file";
inline constexpr const char* host = "host";
}  // namespace event_target

// What an event is called in a log, for people and for filters. The module knows
// none of these names: they follow from code, kind and detail, and the local agent
// writes them. An agent that uses the same ones can be read by the same tools.
namespace event_name {
inline constexpr const char* execution_record = "execution_record";
inline constexpr const char* connection_record = "connection_record";
inline constexpr const char* sql_injection = "sql_injection";
inline constexpr const char* ldap_injection = "ldap_injection";
inline constexpr const char* file_include = "file_include";
inline constexpr const char* deserialisation_chain = "deserialisation_chain";
inline constexpr const char* deserialisation_file_create = "deserialisation_file_create";
inline constexpr const char* yaml_object = "yaml_object";
inline constexpr const char* request_forgery = "request_forgery";
inline constexpr const char* xml_external_entity = "xml_external_entity";
inline constexpr const char* command_execution = "command_execution";
inline constexpr const char* file_read = "file_read";
inline constexpr const char* request_named_connection = "request_named_connection";
inline constexpr const char* code_execution = "code_execution";
inline constexpr const char* web_shell = "web_shell";
inline constexpr const char* script_unscanned = "script_unscanned";
inline constexpr const char* script_upload = "script_upload";  // send_upload, refused or reported
inline constexpr const char* file_create = "file_create";      // any other send_upload
inline constexpr const char* unknown = "unknown";              // a code newer than the agent
}  // namespace event_name

// What became of the call, in a log.
namespace event_verdict {
inline constexpr const char* blocked = "blocked";    // a finding, and the call was stopped
inline constexpr const char* reported = "reported";  // a finding, and the call went on
inline constexpr const char* logged = "logged";      // no finding
}  // namespace event_verdict

}  // namespace vorgate

class IPhpHelp {
 public:
  // The request in which an event happened. All texts as described above.
  //   request_uri       Behind FPM, CGI and Apache's mod_php the path of the script that
  //                     runs, after rewriting and without the query; with PHP's own
  //                     server, path and query as sent.
  //   upload_file_name  In a multipart request the client's name of the first file,
  //                     whichever file the script is creating, and by which function.
  struct MQ_HttpInfo {
    const char* server_name;       // the virtual host's name
    const char* script_path;       // file system path of the main script
    const char* request_uri;       // what the server says: see above
    const char* query_string;      // the query; for a POST, "&" and up to 4096 bytes of its fields
    const char* request_method;    // as sent, case kept
    const char* remote_addr;       // the peer's address: a proxy's, where there is one
    const char* user_agent;        // the User-Agent header
    const char* referer;           // the Referer header
    const char* cookie;            // the raw Cookie header
    const char* forwarded_for;     // the X-Forwarded-For header: anybody can write it
    const char* content_type;      // the request's Content-Type header
    const char* reserved;          // always empty
    const char* upload_file_name;  // in send_upload only: see above
    const char* stack_trace;       // one line a PHP call, innermost first; empty where not taken
  };

  // 1. Takes one event. One call is one event: a finding, or (code 0) the record
  //    of an ordinary call.
  //    code      an EventCode.
  //    kind      what was tried: one of vorgate::event_kind.
  //    detail    the function's name; the outermost-first call chain, joined by
  //              event_detail::chain_link; one of vorgate::event_detail; or, for
  //              event_kind::query_by_shape, what lookup_sql wrote.
  //    target    the kind of thing acted on: one of vorgate::event_target; for
  //              request forgery the same as `kind`.
  //    subject   the command, path, URL, host, code, query or document itself.
  //    allowed   1: the call goes on; 0: the agent's get_block_mode answered
  //              that it is to be stopped.
  //    plain     1 for a record with code 0, else 0.
  //    info      the request.
  //    Answer: free; the module ignores it.
  virtual int send_event(unsigned int code, const char* kind, const char* detail,
                         const char* target, const char* subject, int allowed, int plain,
                         const MQ_HttpInfo* info) = 0;

  // 2. Tells that a file is about to be created or overwritten, and asks whether
  //    it may be.
  //    function  "fopen", "file_put_contents", "rename", "copy",
  //              "move_uploaded_file".
  //    path      the file's name as the script wrote it.
  //    Answer: 0 refuses the creation; any other number lets it go on.
  virtual int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) = 0;

  // 3. Were the request's values injected into this query?
  //    query     the SQL text, at most 4096 bytes of it: what stands behind them is
  //              seen by nobody. Here and in 5, NUL bytes are handed over as
  //              blanks, in query and values alike.
  //    values    the GET and POST entries as "name=value" joined by "&", in the
  //              order sent, not encoded: a value can hold "&" and "=" itself.
  //    Answer: true for an injection.
  virtual bool match_sql(const char* query, const char* values) = 0;

  // 4. Not used. Holds its place in the table.
  virtual void reserved_operation() = 0;

  // 5. Does this query look like an attack by its own shape?
  //    query     the SQL text, at most 4096 bytes of it.
  //    detail    where to write what was recognised, on true only. The string is
  //              the module's; assign to it, do not keep its address.
  //    Answer: true for an attack.
  virtual bool lookup_sql(const char* query, std::string* detail) = 0;

  // 6. Is an attack of this category to be stopped?
  //    category  a BlockCategory.
  //    Answer: 0 to report only, 1 to stop it. Other numbers stop it too, but
  //    let SQL queries run: do not use them. Asked once for each finding (for
  //    SQL, once for each query).
  virtual int get_block_mode(int category) = 0;

  // 7. Is this request exempt from detection?
  //    server_name, request_uri, remote_addr, forwarded_for: as in MQ_HttpInfo.
  //    Answer: true lets everything in this request pass, unreported.
  virtual bool is_white_listed(const char* server_name, const char* request_uri,
                               const char* remote_addr, const char* forwarded_for) = 0;

  // 8. Is this long script (over 5120 bytes) a web shell?
  //    code      source text about to be run by eval, up to its first NUL byte.
  //    flag      always 1.
  //    Answer: non-zero for a web shell.
  virtual int scan_script(const char* code, int flag) = 0;

  // 9. Does this code belong to a known web-shell family?
  //    code      source text about to be run, whole, NUL bytes included.
  //    family    where to write the family's name, on true only; as `detail` in 5.
  //    Answer: true for a known family.
  virtual bool scan_webshell(const std::string& code, std::string* family) = 0;

 protected:
  // The object is never deleted through this interface.
  ~IPhpHelp() = default;
};

#endif  // VORGATE_PHP_HELP_H
