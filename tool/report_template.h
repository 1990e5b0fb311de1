#ifndef VORGATE_TOOL_REPORT_TEMPLATE_H
#define VORGATE_TOOL_REPORT_TEMPLATE_H

#include <string_view>

namespace vorgate::agent::tool {

// The report's page, with a mark where the data goes. Empty in a build without it.
std::string_view report_template();

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_REPORT_TEMPLATE_H
