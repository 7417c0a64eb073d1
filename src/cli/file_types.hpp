#pragma once

// The types that -t and -T take: the languages of the index, the short names that people use for
// them, and a few types that also take in files of another language: "cpp" also takes in ".h".

#include <string>
#include <string_view>
#include <vector>

namespace codetext::cli {

/// What search::FileFilter::languages needs so that it selects files of these types: languages, and
/// endings such as ".h". Throws UsageError, which names the nearest types, for an unknown one.
std::vector<std::string> members_of_types(const std::vector<std::string>& types);

/// Every name that -t and -T take, other names last.
std::vector<std::string_view> type_names();

/// A line for each type: its name, its other names, the names of its files.
std::string type_list();

}  // namespace codetext::cli
