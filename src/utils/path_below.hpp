#pragma once

// Whether a text names a file below a directory. An index may come from a stranger; what it names
// must not lead out of the repository.
//
//   for (const char* path : {"src/main.c", "../a"}) if (!is_path_below(path)) refuse(path);

#include <string_view>

namespace codetext {

/// Whether `path` names something below a directory by its components alone: it is not empty, and
/// no component is empty, "." or ".."; so it neither begins nor ends with "/". It holds no NUL.
/// Takes some ten nanoseconds for a path of usual length.
bool is_path_below(std::string_view path);

}  // namespace codetext
