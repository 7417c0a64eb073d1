#include "cli/unindexed_files.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "indexer/plan/language.hpp"
#include "utils/binary.hpp"
#include "utils/fsio.hpp"
#include "utils/open_below.hpp"

namespace codetext::cli {
namespace {

/// Why a file or directory that the index does not know is not searched; none for a file of text.
std::optional<std::string> why_not(const Descriptor& root, const std::string& path,
                                   const std::string& shown, bool binary_as_text) {
    const std::string unknown = fmt::format("the index has no files at {}", shown);
    if (path.empty()) return unknown;
    try {
        // The search reads it again, if it is searched. Nobody names thousands of new files.
        const std::string bytes = fsio::read_file_below(root, path).bytes;
        if (binary_as_text || !is_binary(bytes)) return std::nullopt;
        return fmt::format("{} is not searched: it is binary (-a searches it)", shown);
    } catch (const std::system_error& error) {
        if (is_machine_failure(error.code().value())) throw;
        if (error.code().value() == EISDIR) return unknown;
        return fmt::format("{} is not searched: {}", shown, error.code().message());
    }
}

}  // namespace

UnindexedFiles unindexed_files(const Database& db, const SearchPaths& paths,
                               const search::FileFilter& filter, bool reads_disk,
                               bool binary_as_text) {
    UnindexedFiles found;
    std::set<std::string> files;
    if (binary_as_text && reads_disk) {
        for (std::string& path : search::binary_files(db, filter.paths)) {
            files.insert(std::move(path));
        }
    }
    Descriptor root;
    for (const std::string& path : paths.searched()) {
        if (files.contains(path) || search::has_files_at(db, path)) continue;
        const std::string from_here = paths.shown(path);
        const std::string shown = from_here.empty() ? "." : from_here;
        if (!reads_disk) {
            found.problems.push_back(fmt::format("the index has no files at {}", shown));
            continue;
        }
        if (!root) root = open_root(paths.root());
        if (auto reason = why_not(root, path, shown, binary_as_text)) {
            found.problems.push_back(*std::move(reason));
        } else {
            files.insert(path);
        }
    }
    std::int64_t id = 0;
    for (const std::string& path : files) {
        const std::string_view language = indexer::language_of(path);
        if (!search::passes(filter, path, language, 0)) continue;
        found.files.push_back({--id, path, std::string(language), std::nullopt, std::nullopt});
    }
    return found;
}

}  // namespace codetext::cli
