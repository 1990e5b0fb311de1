#ifndef VORGATE_AGENT_UPLOADS_H
#define VORGATE_AGENT_UPLOADS_H

#include <string>
#include <string_view>
#include <vector>

namespace vorgate::agent {

// Is this the Content-Type of a request that uploads files? As PHP reads it: letter
// case and parameters do not matter. Blanks in front do not matter either.
bool uploads_files(std::string_view content_type);

// Does the file that PHP creates at `path` (any bytes) have a name with one of these
// endings? Letter case does not matter. What PHP and the file system leave out on the
// way to the file does not count: stream wrappers in front, however many; "/.", "//"
// and "/" behind; ".." with what stands in front of it. Links are not followed. Dots
// and blanks at the end count: on Linux, "x.php." is another name than "x.php". Of a
// phar:// path, the archive's name and those within it count.
bool has_ending(std::string_view path, const std::vector<std::string>& endings);

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_UPLOADS_H
