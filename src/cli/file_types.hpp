#pragma once

// The types that -t and -T take: the languages of the index, the short names that people use for
// them, and a few types that also take in files of another language: "cpp" also takes in ".h".

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::cli {

/// Types that a user has named, and their members.
using OwnTypes = std::map<std::string, std::vector<std::string>>;

/// What search::FileFilter::languages needs so that it selects files of these types: languages, and
/// endings such as ".h". Throws UsageError, which names the nearest types, for an unknown one.
/// A type of `own` has the members there, beside those of the built-in type of that name.
std::vector<std::string> members_of_types(const std::vector<std::string>& types,
                                          const OwnTypes& own = {});

/// The member that stands for the files that `glob` names: "*.ENDING", or a name without wildcards.
/// Nothing for another glob.
std::optional<std::string> member_of_glob(std::string_view glob);

/// Whether there is a built-in type of that name.
bool is_built_in_type(std::string_view name);

/// Every name that -t and -T take, other names last.
std::vector<std::string_view> type_names();

/// A line for each type: its name, its other names, the names of its files.
std::string type_list(const OwnTypes& own = {});

}  // namespace codetext::cli
