#include <cstdio>

#include "zend_api/engine.h"

// Prints one line for each size, field and constant that the own declarations use:
// kind, name, field, offset or value, and size, separated by tabs.

#ifdef VORGATE_ENGINE_INSTALLED
#define OF_THIS_BUILD(genuine, own) genuine
#else
#define OF_THIS_BUILD(genuine, own) own
#endif
#define SIZE(type) std::printf("size\t%s\t-\t%zu\t-\n", #type, sizeof(type));
#define CONST(name) std::printf("const\t%s\t-\t%lld\t-\n", #name, static_cast<long long>(name));
// NOLINTBEGIN(bugprone-macro-parentheses): a name of a type or a field stands in none.
#define FIELD(type, genuine, own)                                    \
  std::printf("field\t%s\t%s\t%zu\t%zu\n", #type, #genuine,          \
              __builtin_offsetof(type, OF_THIS_BUILD(genuine, own)), \
              sizeof(static_cast<type*>(nullptr)->OF_THIS_BUILD(genuine, own)));
// NOLINTEND(bugprone-macro-parentheses)
#define SAME(type, field) FIELD(type, field, field)

int main() {
#include "data/abi_rows.inc"
  std::printf("text\tZEND_MODULE_BUILD_ID\t-\t%s\t-\n",
              zend_api::make_module_entry("", "", {}).build_id);
}
