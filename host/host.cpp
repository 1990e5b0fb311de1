#include "host/host.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <utility>

#include "vorgate/php_help.h"

namespace host {

void require(bool holds, const char* else_what) {
  if (holds) return;
  std::fprintf(stderr, "host: %s\n", else_what);
  std::abort();
}

namespace {

template <typename Record>
Record* allocate(std::size_t size = sizeof(Record)) {
  static thread_local std::deque<std::vector<std::byte>> memory;
  return reinterpret_cast<Record*>(memory.emplace_back(size).data());
}

zval plain(uint32_t type, int64_t bits = 0) { return {{bits}, type, {0}}; }

zval counted(uint32_t type, void* record) {
  constexpr uint32_t flags = 0x1400;  // above the type
  return plain(type | flags, reinterpret_cast<int64_t>(record));
}

zend_string* make_string(std::string_view text) {
  // To the byte, so that a sanitizer sees a read beyond the zero byte.
  auto* string = allocate<zend_string>(offsetof(zend_string, val) + text.size() + 1);
  string->len = text.size();
  std::copy(text.begin(), text.end(), static_cast<char*>(string->val));
  return string;
}

// PHP code runs here.
void reach(std::string_view moment) {
  if (state.meanwhile) std::exchange(state.meanwhile, nullptr)();
  if (state.leaves_at == moment) siglongjmp(*globals.executor.bailout, FAILURE);
}

void own_handler(zend_execute_data* call, zval* return_value) {
  state.ran.emplace_back(zend_api::text(call->func->internal_function.function_name));
  reach("handler");
  *return_value = plain(IS_LONG, 42);
}

size_t print(const char* format, ...) {
  state.output += format;
  reach("output");
  return std::strlen(format);
}

zend_op_array* compile_file(zend_file_handle*, int) {
  return reinterpret_cast<zend_op_array*>(&state);
}
zend_op_array* compile_string(zval*, char*) { return compile_file(nullptr, 0); }

int cast_object(zval*, zval* result, int) {
  reach("conversion");
  if (state.object_text == nullptr) return FAILURE;
  *result = value(state.object_text);
  return SUCCESS;
}

zval object() {
  static const zend_object_handlers handlers{{}, nullptr, {}, cast_object, {}};
  auto* made = allocate<zend_object>();
  made->handlers = &handlers;
  return counted(IS_OBJECT, made);
}

// Turns a scalar into the text that the letter asks for.
void convert(zval& argument, char letter) {
  const unsigned char type = zend_api::type_of(&argument);
  if (letter != 's' || type == IS_STRING) return;
  require(type < IS_STRING && type != IS_NULL, "this parse would complain");
  argument = value(std::to_string(argument.value.lval));
}

}  // namespace

zval value(const json& data) {
  if (data.is_null()) return plain(IS_NULL);
  if (data.is_boolean()) return plain(data ? IS_TRUE : IS_FALSE);
  if (data.is_number_integer()) return plain(IS_LONG, data);
  if (data.is_string()) return counted(IS_STRING, make_string(data.get_ref<const std::string&>()));
  if (data.is_number()) {
    zval number = plain(IS_DOUBLE);
    number.value.dval = data;
    return number;
  }
  if (data.contains("$")) {
    const std::string kind = data["$"];
    if (kind == "object") return object();
    return kind == "undef" ? zval{} : counted(IS_RESOURCE, nullptr);
  }
  auto* table = allocate<HashTable>();
  table->arData = allocate<Bucket>(sizeof(Bucket) * data.size());
  for (const auto& [key, element] : data.items()) {
    const bool numeric = data.is_array() || key[0] == '#';
    table->arData[table->nNumUsed++] = {value(element), 0, numeric ? nullptr : make_string(key)};
  }
  return counted(IS_ARRAY_EX, table);
}

void reset() {
  state = {};
  globals = {};
  globals.executor.valid_symbol_table = 1;
  zend_compile_file = compile_file;
  zend_compile_string = compile_string;
  zend_execute_internal = nullptr;
  agent_library = "/nowhere/agent.so";
}

zend_internal_function& function(const std::string& name) {
  static std::map<std::string, zend_function> known;
  zend_internal_function& head = known[name].internal_function;
  if (head.function_name == nullptr) {
    head.type = ZEND_INTERNAL_FUNCTION;
    head.handler = own_handler;
    head.function_name = make_string(name);
  }
  return head;
}

void define_functions(const Lines& names) {
  json keys = json::object();
  for (const std::string& name : names) keys[name] = nullptr;
  HashTable* table = globals.compiler.function_table = value(keys).value.arr;
  for (uint32_t i = 0; i < table->nNumUsed; ++i) {
    zend_internal_function& behind = function(std::string(zend_api::text(table->arData[i].key)));
    table->arData[i].val = plain(IS_PTR, reinterpret_cast<int64_t>(&behind));
  }
}

void set_request_array(int track, const json& entries) {
  globals.core.http_globals[track] = value(entries);
}

zval call(const std::string& name, const json& arguments, bool strict) {
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

  state.frames.insert(state.frames.begin(), json{{"function", name}, {"args", arguments}});
  globals.executor.current_execute_data = callee;
  zval outcome = plain(IS_NULL);
  const bool returned = comes_back([&] {
    (zend_execute_internal == nullptr ? execute_internal : zend_execute_internal)(callee, &outcome);
  });
  state.frames.erase(0);
  return returned ? outcome : zval{};
}

}  // namespace host

using host::globals;
using host::state;

// The module's way to the agent, and to nothing else, is turned aside.
extern "C" void* dlopen(const char* file, int mode) noexcept {
  static const auto loader = reinterpret_cast<decltype(&dlopen)>(dlsym(RTLD_NEXT, "dlopen"));
  const bool agent = file != nullptr && std::strcmp(file, VORGATE_AGENT_LIBRARY) == 0;
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
  static thread_local void* records[] = {&globals.core, &globals.sapi, &globals.compiler,
                                         &globals.executor};
  static thread_local void** cache = records;
  return &cache;
}

void execute_internal(zend_execute_data* call, zval* return_value) {
  call->func->internal_function.handler(call, return_value);
}

int zend_parse_parameters(int count, const char* spec, ...) {
  zend_execute_data* call = globals.executor.current_execute_data;
  host::require(count <= static_cast<int>(call->This.u2.num_args),
                "this parse would end the request");
  zval* argument = reinterpret_cast<zval*>(call) + ZEND_CALL_FRAME_SLOT;
  va_list out;
  va_start(out, spec);
  for (; *spec != 0; ++spec, ++argument) {
    host::convert(*argument, *spec);
    if (*spec == 's') {
      *va_arg(out, char**) = argument->value.str->val;
      *va_arg(out, size_t*) = argument->value.str->len;
    } else {
      *va_arg(out, zval**) = argument;
    }
  }
  va_end(out);
  return SUCCESS;
}

void php_log_err_with_severity(char* message, int severity) {
  state.log.push_back(std::to_string(severity) + " " + message);
  host::reach("log");
}

void zend_fetch_debug_backtrace(zval* result, int skip_last, int options, int limit) {
  host::require(skip_last == 0 && options == 0 && limit > 0, "another backtrace was meant");
  host::reach("backtrace");
  *result = host::value(state.frames);
  uint32_t& size = result->value.arr->nNumUsed;
  size = std::min(size, static_cast<uint32_t>(limit));
  ++state.backtraces;
}

void _zval_ptr_dtor(zval* value) {
  if (zend_api::type_of(value) == IS_ARRAY) --state.backtraces;
}

unsigned char zend_is_auto_global_str(char* name, size_t length) {
  host::require(std::string_view(name, length) == "_SERVER", "no other array is made on demand");
  host::require(globals.executor.valid_symbol_table == 1, "the symbol table is gone");
  ++state.server_requests;
  host::reach("server");
  host::set_request_array(TRACK_VARS_SERVER, state.server);
  return 1;
}

int php_sprintf(char* out, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int size = std::vsprintf(out, format, arguments);
  va_end(arguments);
  return size;
}

void php_info_print_table_start() {}
void php_info_print_table_header(int, ...) {}
void php_info_print_table_end() {}

}  // extern "C"
