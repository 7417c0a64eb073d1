#pragma once

// What a directory holds. Not std::filesystem::directory_iterator: libstdc++'s ends the program
// when it lacks memory.
//
//   each_entry(directory, [&](const dirent& entry) {
//       use(std::string_view(entry.d_name));
//       return true;
//   });

#include <dirent.h>

#include <functional>

#include "utils/descriptor.hpp"

namespace codetext {

/// Visits the entries but "." and "..", in no order, until `visit` gives false. `directory` may be
/// open for lookups alone, and stays open. Throws std::system_error.
void each_entry(const Descriptor& directory, const std::function<bool(const dirent&)>& visit);

}  // namespace codetext
