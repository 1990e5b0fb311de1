#include <strings.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "zend_api/engine.h"
#include "zend_api/internal.h"

namespace zend_api {
namespace {

// Takes the elements from position `first` on for which is_refused answers true
// out of the table. They are not destroyed: code that ran during the compilation,
// an error handler say, can have kept their addresses.
template <typename IsRefused>
void unlink_from(HashTable* table, uint32_t first, IsRefused&& is_refused) {
  const dtor_func_t destroy = table->pDestructor;
  table->pDestructor = nullptr;
  for (uint32_t i = first; i < table->nNumUsed; ++i) {
    Bucket& bucket = table->arData[i];
    if (Z_TYPE(bucket.val) == IS_PTR && is_refused(Z_PTR(bucket.val))) {
      zend_hash_del(table, bucket.key);
    }
  }
  table->pDestructor = destroy;
}

#if PHP_VERSION_ID >= 80000
// A setting of the opcode cache as it was at start-up, before a script changed it. Empty
// without the cache.
std::string_view cache_setting(const char* name) {
  char* text = zend_ini_string(const_cast<char*>(name), std::strlen(name), 1);
  return text == nullptr ? std::string_view() : text;
}

bool is_one_of(std::string_view setting, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [setting](std::string_view word) {
    return setting.size() == word.size() &&
           strncasecmp(setting.data(), word.data(), word.size()) == 0;
  });
}

// Whether code that the just-in-time compiler made may be running. A script can turn
// compiler and cache off, but what was compiled before stays, for other processes too; it
// can turn the compiler on, unless that was disabled at start-up.
bool jit_can_run() {
  const auto is_off = [](const char* setting) {
    return is_one_of(cache_setting(setting), {"", "0", "off", "no", "false"});
  };
  char buffer[] = "opcache.jit_buffer_size";
  if (zend_ini_long(buffer, sizeof(buffer) - 1, 1) <= 0 || is_off("opcache.enable")) return false;
  if (std::strcmp(sapi_module.name, "cli") == 0 && is_off("opcache.enable_cli")) return false;
  return !is_one_of(cache_setting("opcache.jit"), {"", "disable"});
}
#else
bool jit_can_run() { return false; }
#endif

bool same_file(const zend_string* declared_in, const zend_op_array* refused) {
  return declared_in != nullptr && refused->filename != nullptr &&
         text(declared_in) == text(refused->filename);
}

// What is to be called when the engine has started.
void (*started)() = nullptr;

#if PHP_VERSION_ID >= 70300
decltype(zend_post_startup_cb) others_started = nullptr;

// Other callers' calls come first, so a cache's, which puts its hooks in place.
auto engine_started() noexcept -> decltype(zend_post_startup_cb()) {
  if (others_started != nullptr && others_started() != SUCCESS) return FAILURE;
  started();
  return SUCCESS;
}
#endif

// Runs when the caches, which are extensions of the Zend kind, have run theirs. Before
// PHP 7.3 they put their hooks in place there.
auto follow_caches(zend_extension* self) noexcept -> decltype(startup_func_t()(self)) {
#if PHP_VERSION_ID >= 70300
  others_started = zend_post_startup_cb;
  zend_post_startup_cb = engine_started;
#else
  started();
#endif
  return FAILURE;  // its work is done: it need not stay in the engine's list
}

#if PHP_VERSION_ID >= 80000
bool runs_user_code(const zend_execute_data* call) {
  return call != nullptr && call->func != nullptr && ZEND_USER_CODE(call->func->common.type);
}

// Whether the backtrace may leave a call out. Nameless calls that no user code made are
// the engine's own: the bottom of a fiber, the place of an attribute. PHP 8.0 also passes
// over some internal calls that user code made otherwise than by a call.
bool may_be_left_out(const zend_execute_data* call, const zend_execute_data* caller) {
  if (function_name(call) == nullptr) return !runs_user_code(caller);
  return PHP_VERSION_ID < 80100 && !runs_user_code(call) && runs_user_code(caller);
}
#endif

}  // namespace

HashTable* function_table() { return CG(function_table); }

// Each engine puts the output layer up before a request and takes it down after it.
bool request_data_is_valid() { return (OG(flags) & PHP_OUTPUT_ACTIVATED) != 0; }

const zval& request_slot(int track) { return PG(http_globals)[track]; }

void keep(const zval& value) {
  if (Z_REFCOUNTED(value)) Z_ADDREF(const_cast<zval&>(value));
}

bool server_array_is_made_on_demand() { return PG(auto_globals_jit); }

int& reported_kinds() { return EG(error_reporting); }

const sapi_request_info& request_info() { return SG(request_info); }

void give_up(zval* value) { zval_ptr_dtor(value); }

std::string format_integer(int64_t value) { return std::to_string(static_cast<int32_t>(value)); }

void refuse_query(zval* return_value) {
  if (jit_can_run()) set_false(return_value);
}

// Modules start before the extensions of the Zend kind, which start in the order in
// which they were registered: one that a module registers comes behind the configured.
void when_started(int module_type, void (*call)()) {
  if (module_type != MODULE_PERSISTENT) return;
  started = call;
  static char text[] = "vorgate";  // others may look through the list
  zend_extension last{};
  last.name = last.version = last.author = last.URL = last.copyright = text;
  last.startup = follow_caches;
  zend_register_extension(&last, nullptr);
}

Declarations declarations() { return {CG(function_table)->nNumUsed, CG(class_table)->nNumUsed}; }

void forget_declarations(const Declarations& before, const zend_op_array* refused) {
  unlink_from(CG(function_table), before.functions, [refused](const void* element) {
    const auto* function = static_cast<const zend_function*>(element);
    return function->type == ZEND_USER_FUNCTION && same_file(function->op_array.filename, refused);
  });
  unlink_from(CG(class_table), before.classes, [refused](const void* element) {
    const auto* declared = static_cast<const zend_class_entry*>(element);
    if (declared->type != ZEND_USER_CLASS) return false;
    if (!same_file(declared->info.user.filename, refused)) return false;
#if PHP_VERSION_ID >= 80100
    // The engine finds a class by its name's cache before it looks at the table.
    if (ZSTR_HAS_CE_CACHE(declared->name)) ZSTR_SET_CE_CACHE(declared->name, nullptr);
#endif
    return true;
  });
}

#if PHP_VERSION_ID >= 80000
// A generator that is delegated to is one call here and stands for several there: that
// asks for too much at most.
int backtrace_limit(int max_frames) {
  int limit = 0;
  int told = 0;
  const zend_execute_data* call = EG(current_execute_data);
  for (; call != nullptr && told < max_frames; call = call->prev_execute_data) {
    ++limit;
    if (!may_be_left_out(call, call->prev_execute_data)) ++told;
  }
  return std::max(limit, max_frames);
}
#else
int backtrace_limit(int max_frames) { return max_frames; }
#endif

JMP_BUF*& bailout_target() { return EG(bailout); }

// The parser is asked to be quiet.
bool object_becomes_string(zval*) { return true; }

bool null_becomes_string(const zend_execute_data* execute_data, uint32_t index) {
#if PHP_VERSION_ID >= 80000
  const zend_internal_function& function = execute_data->func->internal_function;
  if (index >= function.num_args) return false;
  const uint32_t types = ZEND_TYPE_FULL_MASK(function.arg_info[index].type);
  return (types & MAY_BE_NULL) == 0 || (types & MAY_BE_ANY) == MAY_BE_ANY;
#else
  (void)execute_data;
  (void)index;
  return true;
#endif
}

}  // namespace zend_api
