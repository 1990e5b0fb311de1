#include "abi_rows.h"

#include "zend_api/engine.h"

namespace {

std::string row(const char* kind, const char* name, const char* field, long long value,
                const std::string& size) {
  return std::string(kind) + '\t' + name + '\t' + field + '\t' + std::to_string(value) + '\t' +
         size;
}

}  // namespace

#ifdef VORGATE_ENGINE_INSTALLED
#define OF_THIS_BUILD(genuine, own) genuine
#else
#define OF_THIS_BUILD(genuine, own) own
#endif
// clang-format off
#define SIZE(type) row("size", #type, "-", sizeof(type), "-"),
#define CONST(name) row("const", #name, "-", static_cast<long long>(name), "-"),
#define FIELD(type, genuine, own)                                                          \
  row("field", #type, #genuine, __builtin_offsetof(type, OF_THIS_BUILD(genuine, own)),     \
      std::to_string(sizeof(static_cast<type*>(nullptr)->OF_THIS_BUILD(genuine, own)))),
#define SAME(type, field) FIELD(type, field, field)

std::vector<std::string> abi_rows() {
  return {
#include "data/abi_rows.inc"
      std::string("text\tZEND_MODULE_BUILD_ID\t-\t") +
          zend_api::make_module_entry("", "", {}).build_id + "\t-"};
}
// clang-format on
