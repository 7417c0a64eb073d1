#include "search/run/file_listing.hpp"

#include <algorithm>
#include <iterator>
#include <system_error>

#include "search/run/file_order.hpp"
#include "search/run/tree_reader.hpp"

namespace codetext::search {

using code_text::FileRow;

std::vector<FileRow> listed_files(Database& db, const SearchOptions& options) {
    const Transaction snapshot(db, Transaction::Kind::READ);
    const TreeReader reader(code_text::repository_root(db));
    TreeReader::Stamps stamps = reader.stamps();
    std::vector<FileRow> indexed = selected_files(db, options.filter);
    std::erase_if(indexed, [&](const FileRow& file) {
        try {
            return !stamps.of(file.path);
        } catch (const std::system_error&) {
            return false;  // it is there and cannot be looked at
        }
    });
    std::vector<FileRow> files;
    std::ranges::merge(indexed, options.unindexed, std::back_inserter(files), {}, &FileRow::path,
                       &FileRow::path);
    if (options.order != FileOrder()) sort_files(files, options.order, reader.stamps());
    return files;
}

}  // namespace codetext::search
