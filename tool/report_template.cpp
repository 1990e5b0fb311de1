#include "tool/report_template.h"

#ifdef VORGATE_REPORT_TEMPLATE
// The file's bytes, as the assembler puts them there: a literal of this size would
// keep a compiler busy for long.
__asm__(
    ".pushsection .rodata\n"
    "vorgate_report_template_start:\n"
    ".incbin \"" VORGATE_REPORT_TEMPLATE
    "\"\n"
    "vorgate_report_template_end:\n"
    ".byte 0\n"
    ".popsection\n");
extern "C" {
__attribute__((visibility("hidden"))) extern const char vorgate_report_template_start[];
__attribute__((visibility("hidden"))) extern const char vorgate_report_template_end[];
}
#endif

namespace vorgate::agent::tool {

std::string_view report_template() {
#ifdef VORGATE_REPORT_TEMPLATE
  return {vorgate_report_template_start,
          static_cast<std::size_t>(vorgate_report_template_end - vorgate_report_template_start)};
#else
  return {};
#endif
}

}  // namespace vorgate::agent::tool
