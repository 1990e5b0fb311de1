#include "agent/uploads.h"

#include <algorithm>

#include "agent/text.h"

namespace vorgate::agent {
namespace {

struct Destination {
  std::string_view path;
  bool in_archive = false;
};

bool is_scheme(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    c = lower(c);
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
  });
}

// Takes the stream wrappers off a path. One that PHP does not know goes too: PHP then
// takes all of it for a path, which ends alike.
Destination unwrapped(std::string_view path) {
  constexpr std::string_view resource = "/resource=";
  Destination destination{path};
  for (std::string_view& rest = destination.path;;) {
    const std::size_t colon = std::min(rest.find(':'), rest.size());
    const std::string_view scheme = rest.substr(0, colon);
    const bool slashes = rest.substr(colon, 3) == "://";
    if (!is_scheme(scheme) || (!slashes && !equal_ignoring_case(scheme, "zlib"))) {
      return destination;
    }
    rest.remove_prefix(std::min(colon + (slashes ? 3 : 1), rest.size()));
    if (equal_ignoring_case(scheme, "phar")) destination.in_archive = true;
    if (equal_ignoring_case(scheme, "php")) {
      // php://filter/write=string.rot13/resource=PATH; the others name no file.
      const std::size_t at = rest.find(resource);
      rest = at == std::string_view::npos ? std::string_view() : rest.substr(at + resource.size());
    }
  }
}

// The names that are left of a path, outermost first.
std::vector<std::string_view> names(std::string_view path) {
  std::vector<std::string_view> kept;
  for (std::size_t start = 0; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string_view name = path.substr(start, end - start);
    if (name == "..") {
      if (!kept.empty()) kept.pop_back();
    } else if (!name.empty() && name != ".") {
      kept.push_back(name);
    }
    start = end + 1;
  }
  return kept;
}

bool ends_with(std::string_view name, std::string_view ending) {
  return name.size() >= ending.size() &&
         equal_ignoring_case(name.substr(name.size() - ending.size()), ending);
}

}  // namespace

bool uploads_files(std::string_view content_type) {
  content_type.remove_prefix(std::min(content_type.find_first_not_of(" \t"), content_type.size()));
  return equal_ignoring_case(content_type.substr(0, content_type.find_first_of(";, \t")),
                             "multipart/form-data");
}

bool has_ending(std::string_view path, const std::vector<std::string>& endings) {
  const Destination destination = unwrapped(path);
  const std::vector<std::string_view> kept = names(destination.path);
  const auto first = destination.in_archive || kept.empty() ? kept.begin() : kept.end() - 1;
  return std::any_of(first, kept.end(), [&](std::string_view name) {
    return std::any_of(endings.begin(), endings.end(),
                       [&](const std::string& ending) { return ends_with(name, ending); });
  });
}

}  // namespace vorgate::agent
