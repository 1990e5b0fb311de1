#include <gtest/gtest.h>
#include <stdio.h>

#include <set>
#include <sstream>
#include <string>

namespace {

// The names that nm prints of the module's dynamic symbols, with the types that
// it prints them with in `types`.
std::set<std::string> symbols(const char* options, std::set<char>& types) {
  std::set<std::string> names;
  FILE* nm = popen((std::string("nm -DC ") + options + " " MODULE_FILE).c_str(), "r");
  char line[4096];
  while (fgets(line, sizeof(line), nm) != nullptr) {
    const std::string text = std::string(line).substr(17);
    types.insert(text[0]);
    names.insert(text.substr(2, text.size() - 3));
  }
  EXPECT_EQ(pclose(nm), 0);
  return names;
}

}  // namespace

TEST(Symbols, ModuleNeedsTheEngineAndTheLanguageOnly) {
  std::set<char> types;
  std::set<std::string> needed;
  for (const std::string& name : symbols("--undefined-only", types)) {
    const std::string version = name.substr(std::min(name.find('@'), name.size()));
    const bool language = version.rfind("@GLIBC_", 0) == 0 || version.rfind("@GLIBCXX_", 0) == 0 ||
                          version.rfind("@CXXABI_", 0) == 0 || version.rfind("@GCC_", 0) == 0 ||
                          name.rfind("_ITM_", 0) == 0 || name == "__gmon_start__";
    if (!language) needed.insert(name);
  }
  EXPECT_EQ(needed,
            (std::set<std::string>{
                "_zval_ptr_dtor", "compiler_globals_id", "core_globals_id", "execute_internal",
                "executor_globals_id", "php_info_print_table_end", "php_info_print_table_header",
                "php_info_print_table_start", "php_log_err_with_severity", "php_sprintf",
                "sapi_globals_id", "tsrm_get_ls_cache", "zend_compile_file", "zend_compile_string",
                "zend_execute_internal", "zend_fetch_debug_backtrace", "zend_is_auto_global_str",
                "zend_parse_parameters", "zend_printf"}));
}

TEST(Symbols, ModuleExportsItsEntryPointsAndNothingUnique) {
  std::set<char> types;
  std::set<std::string> exported;
  for (const std::string& name : symbols("--defined-only", types)) {
    exported.insert(name.substr(0, name.find_first_of(":(")));
  }
  EXPECT_EQ(exported,
            (std::set<std::string>{"get_module", "message_queue_release", "CCommonUtil"}));
  EXPECT_EQ(types.count('u'), 0u);
}
