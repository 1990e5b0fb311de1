#ifndef VORGATE_ZEND_API_REFERENCE_H
#define VORGATE_ZEND_API_REFERENCE_H

// The interface of the reference engine, thread-safe PHP 7.1 (build id
// "API20160303,TS", x86-64 Linux, not a debug build), as far as the module uses
// it. Records that the module only looks into name the fields it reads and keep
// the rest as bytes. tests/unit/abi_test.cpp holds every size, offset and
// constant against figures measured on the genuine engine.
//
// Included through engine.h only.

#include <setjmp.h>

#include <cstddef>
#include <cstdint>

extern "C" {

struct zend_refcounted_h {
  uint32_t refcount;
  uint32_t type_info;
};

struct zend_string {
  zend_refcounted_h gc;
  uint64_t h;
  size_t len;
  char val[8];  // len bytes and a zero byte; the record is longer than declared
};

struct zend_class_entry;
struct zend_function;
struct zend_object;
struct zend_op_array;
struct HashTable;

struct zval {
  union {
    int64_t lval;
    double dval;
    zend_refcounted_h* counted;
    zend_string* str;
    HashTable* arr;
    zend_object* obj;
    zend_function* func;
    void* ptr;
  } value;
  uint32_t type_info;  // the type is its low byte
  union {
    uint32_t next;
    uint32_t num_args;  // in zend_execute_data::This
  } u2;
};

struct Bucket {
  zval val;
  uint64_t h;
  zend_string* key;  // null for a numeric key
};

struct HashTable {
  zend_refcounted_h gc;
  uint32_t flags;
  uint32_t nTableMask;
  Bucket* arData;
  uint32_t nNumUsed;
  uint32_t nNumOfElements;
  uint32_t nTableSize;
  uint32_t nInternalPointer;
  int64_t nNextFreeElement;
  void (*pDestructor)(zval*);
};

struct zend_class_entry {
  char type;
  zend_string* name;
  zend_class_entry* parent;
  std::byte rest[480];
};

struct zend_object_handlers {
  std::byte before[72];
  zval* (*get)(zval* object, zval* memory);
  std::byte between[88];
  int (*cast_object)(zval* object, zval* result, int type);
  std::byte rest[48];
};

struct zend_object {
  zend_refcounted_h gc;
  uint32_t handle;
  zend_class_entry* ce;
  const zend_object_handlers* handlers;
  std::byte rest[24];
};

struct zend_execute_data {
  const void* opline;
  zend_execute_data* call;
  zval* return_value;
  zend_function* func;
  zval This;
  zend_execute_data* prev_execute_data;
  HashTable* symbol_table;
  std::byte rest[16];
};

using zif_handler = void (*)(zend_execute_data*, zval*);

// The head that user and internal functions share, and the internal one's tail.
struct zend_internal_function {
  unsigned char type;
  unsigned char arg_flags[3];
  uint32_t fn_flags;
  zend_string* function_name;
  zend_class_entry* scope;
  zend_function* prototype;
  uint32_t num_args;
  uint32_t required_num_args;
  void* arg_info;
  zif_handler handler;
  void* module;
  void* reserved[4];
};

struct zend_function {
  zend_internal_function internal_function;
  std::byte rest[112];  // a user function's record is the longer one
};

struct zend_file_handle {
  std::byte handle[88];
  const char* filename;
  zend_string* opened_path;
  uint32_t type;
  unsigned char free_filename;
};

using zend_result = int;

struct zend_module_entry {
  unsigned short size;
  unsigned int zend_api;
  unsigned char zend_debug;
  unsigned char zts;
  const void* ini_entry;
  const void* deps;
  const char* name;
  const void* functions;
  zend_result (*module_startup_func)(int type, int module_number);
  zend_result (*module_shutdown_func)(int type, int module_number);
  zend_result (*request_startup_func)(int type, int module_number);
  zend_result (*request_shutdown_func)(int type, int module_number);
  void (*info_func)(zend_module_entry*);
  const char* version;
  size_t globals_size;
  int* globals_id_ptr;
  void (*globals_ctor)(void*);
  void (*globals_dtor)(void*);
  zend_result (*post_deactivate_func)();
  int module_started;
  unsigned char type;
  void* handle;
  int module_number;
  const char* build_id;
};

struct zend_compiler_globals {
  std::byte before_function_table[56];
  HashTable* function_table;
  HashTable* class_table;
  std::byte rest[2560];
};

struct zend_executor_globals {
  std::byte before_bailout[416];
  sigjmp_buf* bailout;
  int error_reporting;
  std::byte before_function_table[4];
  HashTable* function_table;
  std::byte before_current_execute_data[40];
  zend_execute_data* current_execute_data;
  std::byte before_exception[360];
  void* exception;
  std::byte before_valid_symbol_table[121];
  unsigned char valid_symbol_table;
  std::byte rest[574];
};

struct php_core_globals {
  std::byte before_http_globals[368];
  zval http_globals[6];
  std::byte before_auto_globals_jit[2];
  unsigned char auto_globals_jit;
  std::byte rest[189];
};

struct sapi_request_info {
  const char* request_method;
  char* query_string;
  char* cookie_data;
  int64_t content_length;
  char* path_translated;
  char* request_uri;
  void* request_body;
  const char* content_type;
  std::byte rest[88];
};

struct sapi_globals_struct {
  void* server_context;
  sapi_request_info request_info;
  std::byte rest[400];
};

// Types of a zval.
enum : unsigned char {
  IS_UNDEF = 0,
  IS_NULL = 1,
  IS_FALSE = 2,
  IS_TRUE = 3,
  IS_LONG = 4,
  IS_DOUBLE = 5,
  IS_STRING = 6,
  IS_ARRAY = 7,
  IS_OBJECT = 8,
  IS_RESOURCE = 9,
  IS_REFERENCE = 10,
  IS_PTR = 17,
};

// The whole type_info of an array that is counted, unlike an immutable one.
constexpr uint32_t IS_ARRAY_EX = 7175;

// Indexes into php_core_globals::http_globals.
enum : int {
  TRACK_VARS_POST = 0,
  TRACK_VARS_GET = 1,
  TRACK_VARS_COOKIE = 2,
  TRACK_VARS_SERVER = 3,
  TRACK_VARS_ENV = 4,
  TRACK_VARS_FILES = 5,
};

constexpr unsigned char ZEND_INTERNAL_FUNCTION = 1;
constexpr uint32_t ZEND_ACC_STRICT_TYPES = 0x80000000;  // a calling function's fn_flags
constexpr size_t ZEND_CALL_FRAME_SLOT = 5;              // arguments follow the frame, in zvals
constexpr unsigned int ZEND_MODULE_API_NO = 20160303;
constexpr int SUCCESS = 0;
constexpr int FAILURE = -1;

// Functions and variables that the engine exports.
int zend_parse_parameters(int num_args, const char* type_spec, ...);
extern size_t (*zend_printf)(const char* format, ...);
void php_log_err_with_severity(char* message, int severity);
void zend_fetch_debug_backtrace(zval* result, int skip_last, int options, int limit);
unsigned char zend_is_auto_global_str(char* name, size_t length);
int php_sprintf(char* out, const char* format, ...);
void _zval_ptr_dtor(zval* value);
void php_info_print_table_start(void);
void php_info_print_table_header(int columns, ...);
void php_info_print_table_end(void);
extern zend_op_array* (*zend_compile_file)(zend_file_handle* file_handle, int type);
extern zend_op_array* (*zend_compile_string)(zval* source_string, char* filename);
extern void (*zend_execute_internal)(zend_execute_data* execute_data, zval* return_value);
void execute_internal(zend_execute_data* execute_data, zval* return_value);
void* tsrm_get_ls_cache(void);
extern int compiler_globals_id;
extern int core_globals_id;
extern int executor_globals_id;
extern int sapi_globals_id;

}  // extern "C"

// What differs from engine to engine in the signature of the compile hooks.
using zend_api_compiled_source = zval;
using zend_api_compiled_name = char*;
#define ZEND_API_COMPILE_POSITION_PARAMETER
#define ZEND_API_COMPILE_POSITION_ARGUMENT

#endif  // VORGATE_ZEND_API_REFERENCE_H
