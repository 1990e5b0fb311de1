#include "host/host.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>

#include "vorgate/php_help.h"

namespace host {
namespace {

[[noreturn]] void engine_breaks(const char* why) {
  std::fprintf(stderr, "the engine would end the request or worse: %s\n", why);
  std::abort();
}

template <typename Record>
Record* allocate(std::size_t size = sizeof(Record)) {
  static thread_local std::deque<std::unique_ptr<std::byte[]>> memory;
  return reinterpret_cast<Record*>(memory.emplace_back(new std::byte[size]()).get());
}

zval plain(uint32_t type, int64_t bits = 0) { return {{bits}, type, {0}}; }

zval counted(uint32_t type, void* record) {
  zval result = plain(type);
  result.type_info |= 0x1400;  // flags above the type
  result.value.ptr = record;
  return result;
}

zend_string* make_string(std::string_view text) {
  auto* string = allocate<zend_string>(sizeof(zend_string) + text.size());
  string->len = text.size();
  std::copy(text.begin(), text.end(), static_cast<char*>(string->val));
  return string;
}

zval special(const std::string& name) {
  if (name == "undef") return plain(IS_UNDEF);
  return counted(name == "object" ? IS_OBJECT : IS_RESOURCE, nullptr);
}

zval frame(const json& shorthand) {
  if (!shorthand.is_array() && !shorthand.is_string()) return value(shorthand);
  json arguments = shorthand.is_array() ? shorthand : json::array({shorthand});
  const std::string name = arguments[0];
  arguments.erase(0);
  const std::size_t method = name.rfind("::");
  json entries{{"file", "/srv/app/main.php"}, {"line", 3}};
  entries["function"] = method == name.npos ? name : name.substr(method + 2);
  if (method != name.npos) entries["class"] = name.substr(0, method);
  entries["args"] = arguments;
  return value(entries);
}

void own_handler(zend_execute_data* call, zval* return_value) {
  state().ran.emplace_back(zend_api::text(call->func->internal_function.function_name));
  if (state().on_handler != nullptr) state().on_handler();
  *return_value = plain(IS_LONG, 42);
}

HashTable* function_table = nullptr;

size_t print(const char* format, ...) {
  state().output += format;
  if (state().on_output != nullptr) state().on_output();
  return std::strlen(format);
}

zend_op_array* compile(const std::string& what) {
  state().compiled.push_back(what);
  return state().compile_fails ? nullptr : compiled_code;
}
zend_op_array* compile_file(zend_file_handle* handle, int) {
  return compile(handle->filename == nullptr ? "(null)" : handle->filename);
}
zend_op_array* compile_string(zval* source, char* name) {
  return compile(name + std::string(": ") + std::string(zend_api::text(source)));
}

bool parse_one(const zend_execute_data* call, zval* argument, char letter, va_list out) {
  const unsigned char type = zend_api::type_of(argument);
  const uint32_t flags = call->prev_execute_data->func->internal_function.fn_flags;
  const bool strict = (flags & ZEND_ACC_STRICT_TYPES) != 0;
  bool fits = true;
  if (letter == 's') {
    const bool convertible = type < IS_STRING || (type == IS_OBJECT && state().to_string);
    fits = type == IS_STRING || (!strict && convertible);
    if (fits && type != IS_STRING) {
      const std::string number = std::to_string(argument->value.lval);
      *argument = value(type == IS_OBJECT ? state().to_string() : type == IS_LONG ? number : "");
    }
    if (!fits) argument = nullptr;
    *va_arg(out, char**) = fits ? argument->value.str->val : nullptr;
    *va_arg(out, size_t*) = fits ? argument->value.str->len : 0;
  } else if (letter == 'l') {
    fits = type == IS_LONG || (type == IS_STRING && !strict);
    *va_arg(out, int64_t*) =
        type == IS_STRING ? std::atoll(argument->value.str->val) : argument->value.lval;
  } else {
    fits = letter == 'z' || type == IS_RESOURCE;
    *va_arg(out, zval**) = argument;
  }
  if (!fits) state().warnings.push_back(std::string("expects ") + letter);
  return fits;
}

}  // namespace

zval value(const json& data) {
  if (data.is_null()) return plain(IS_NULL);
  if (data.is_boolean()) return plain(data ? IS_TRUE : IS_FALSE);
  if (data.is_number_integer()) return plain(IS_LONG, data);
  if (data.is_string()) return counted(IS_STRING, make_string(data.get_ref<const std::string&>()));
  if (data.contains("$")) return special(data["$"]);
  if (data.is_number()) {
    zval number = plain(IS_DOUBLE);
    number.value.dval = data;
    return number;
  }
  auto* table = allocate<HashTable>();
  table->arData = allocate<Bucket>(sizeof(Bucket) * data.size());
  for (const auto& [key, element] : data.items()) {
    const bool numeric = data.is_array() || key[0] == '#';
    const zval entry = value(element);
    table->arData[table->nNumUsed++] = {entry, 0, numeric ? nullptr : make_string(key)};
    if (entry.type_info != IS_UNDEF) ++table->nNumOfElements;
  }
  return counted(IS_ARRAY_EX, table);
}

char* c_string(std::string_view text) { return make_string(text)->val; }

Globals& globals() {
  static thread_local Globals globals;
  globals.compiler.function_table = function_table;
  return globals;
}

State& state() {
  static thread_local State state;
  return state;
}

void new_request() {
  state() = State{};
  globals() = Globals{};
  globals().executor.valid_symbol_table = 1;
}

void reset() {
  new_request();
  zend_compile_file = compile_file;
  zend_compile_string = compile_string;
  zend_execute_internal = nullptr;
  agent_library = "/nowhere/agent.so";
}

zend_internal_function& function(std::string_view name) {
  static std::map<std::string, zend_function*, std::less<>> known;
  zend_function*& record = known[std::string(name)];
  if (record == nullptr) {
    const std::size_t method = name.rfind("::");
    record = allocate<zend_function>();
    zend_internal_function& head = record->internal_function;
    head.type = ZEND_INTERNAL_FUNCTION;
    head.handler = own_handler;
    head.function_name = make_string(name.substr(method == name.npos ? 0 : method + 2));
    if (method != name.npos) {
      head.scope = allocate<zend_class_entry>();
      head.scope->name = make_string(name.substr(0, method));
    }
  }
  return record->internal_function;
}

void define_functions(const json& names) {
  function_table = value(names).value.arr;
  for (uint32_t i = 0; i < function_table->nNumUsed; ++i) {
    zval& slot = function_table->arData[i].val;
    if (slot.type_info == IS_UNDEF) continue;
    zend_internal_function& behind = function(zend_api::text(&slot));
    slot = plain(IS_PTR);
    slot.value.ptr = &behind;
  }
  globals();
}

void set_request_array(int track, const json& entries) {
  globals().core.http_globals[track] = value(entries.is_null() ? json::array() : entries);
}

void bail() {
  if (globals().executor.bailout == nullptr) engine_breaks("no place to jump to");
  siglongjmp(*globals().executor.bailout, FAILURE);
}

bool comes_back(void (*call)(void*), void* argument) {
  sigjmp_buf*& target = globals().executor.bailout;
  sigjmp_buf* const outer = target;
  sigjmp_buf here;
  target = &here;
  if (sigsetjmp(here, 0) == 0) {
    call(argument);
    target = outer;
    return true;
  }
  target = outer;
  return false;
}

zval call(std::string_view name, const json& arguments, bool strict) {
  zend_function script{};
  script.internal_function.fn_flags = strict ? ZEND_ACC_STRICT_TYPES : 0;
  zend_execute_data caller{};
  caller.func = &script;
  std::vector<zval> slots(ZEND_CALL_FRAME_SLOT);
  for (const json& argument : arguments) slots.push_back(value(argument));
  auto* callee = reinterpret_cast<zend_execute_data*>(slots.data());
  callee->func = reinterpret_cast<zend_function*>(&function(name));
  callee->This.u2.num_args = static_cast<uint32_t>(arguments.size());
  callee->prev_execute_data = &caller;

  json innermost = arguments.is_null() ? json::array() : arguments;
  innermost.insert(innermost.begin(), name);
  state().frames.insert(state().frames.begin(), innermost);
  globals().executor.current_execute_data = callee;
  zval outcome = plain(IS_NULL);
  const bool returned = comes_back([callee, &outcome] {
    (zend_execute_internal == nullptr ? execute_internal : zend_execute_internal)(callee, &outcome);
  });
  state().frames.erase(0);
  return returned ? outcome : plain(IS_UNDEF);
}

zend_op_array* const compiled_code = reinterpret_cast<zend_op_array*>(&function_table);
std::string agent_library;

}  // namespace host

using host::globals;
using host::state;

// The module's way to the agent, and to nothing else, is turned aside.
extern "C" void* dlopen(const char* file, int mode) noexcept {
  static const auto loader = reinterpret_cast<decltype(&dlopen)>(dlsym(RTLD_NEXT, "dlopen"));
  const bool agent = file != nullptr && std::strcmp(file, VORGATE_AGENT_LIBRARY) == 0;
  if (agent && mode != RTLD_NOW) return nullptr;
  return loader(agent ? host::agent_library.c_str() : file, mode);
}

extern "C" {

int compiler_globals_id = 3;
int core_globals_id = 1;
int executor_globals_id = 4;
int sapi_globals_id = 2;

size_t (*zend_printf)(const char*, ...) = host::print;
zend_op_array* (*zend_compile_file)(zend_file_handle*, int) = host::compile_file;
zend_op_array* (*zend_compile_string)(zval*, char*) = host::compile_string;
void (*zend_execute_internal)(zend_execute_data*, zval*) = nullptr;

void* tsrm_get_ls_cache() {
  static thread_local void* records[] = {&globals().core, &globals().sapi, &globals().compiler,
                                         &globals().executor};
  static thread_local void** cache = records;
  return &cache;
}

void execute_internal(zend_execute_data* call, zval* return_value) {
  call->func->internal_function.handler(call, return_value);
}

int zend_parse_parameters(int count, const char* spec, ...) {
  zend_execute_data* call = globals().executor.current_execute_data;
  if (count > static_cast<int>(call->This.u2.num_args)) {
    host::engine_breaks("could not obtain parameters for parsing");
  }
  zval* argument = reinterpret_cast<zval*>(call) + ZEND_CALL_FRAME_SLOT;
  va_list out;
  va_start(out, spec);
  bool fits = true;
  for (; fits && *spec != 0; ++spec) fits = host::parse_one(call, argument++, *spec, out);
  va_end(out);
  return fits ? SUCCESS : FAILURE;
}

void php_log_err_with_severity(char* message, int severity) {
  state().log.push_back(std::to_string(severity) + " " + message);
  if (state().on_log != nullptr) state().on_log();
}

void zend_fetch_debug_backtrace(zval* result, int skip_last, int options, int limit) {
  if (skip_last != 0 || options != 0 || limit <= 0) host::engine_breaks("another backtrace");
  if (state().on_backtrace != nullptr) state().on_backtrace();
  *result = host::value(state().frames);
  HashTable* frames = result->value.arr;
  frames->nNumUsed = std::min(frames->nNumUsed, static_cast<uint32_t>(limit));
  for (uint32_t i = 0; i < frames->nNumUsed; ++i) {
    frames->arData[i].val = host::frame(state().frames[i]);
  }
  ++state().backtraces;
}

void _zval_ptr_dtor(zval* value) {
  if (zend_api::type_of(value) == IS_ARRAY) --state().backtraces;
}

unsigned char zend_is_auto_global_str(char* name, size_t length) {
  if (globals().executor.valid_symbol_table == 0) host::engine_breaks("_SERVER after its end");
  if (std::string_view(name, length) != "_SERVER") host::engine_breaks("another array");
  ++state().server_requests;
  if (state().on_server != nullptr) state().on_server();
  host::set_request_array(TRACK_VARS_SERVER, state().server);
  return 1;
}

int php_sprintf(char* out, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int size = std::vsprintf(out, format, arguments);
  va_end(arguments);
  return size;
}

void php_info_print_table_start() { state().output += "<table>"; }
void php_info_print_table_end() { state().output += "</table>"; }
void php_info_print_table_header(int columns, ...) {
  va_list cells;
  va_start(cells, columns);
  for (; columns > 0; --columns) state().output += std::string(va_arg(cells, char*)) + "|";
  va_end(cells);
}

}  // extern "C"
