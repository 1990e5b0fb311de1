#ifndef VORGATE_AGENT_BASE64_H
#define VORGATE_AGENT_BASE64_H

#include <string>
#include <string_view>

namespace vorgate::agent {

std::string to_base64(std::string_view bytes);

// Empty for what is no base64.
std::string from_base64(std::string_view text);

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_BASE64_H
