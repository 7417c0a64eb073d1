#include "search/files/coverage.hpp"

#include <string>
#include <vector>

#include "storage/schema.hpp"

namespace codetext::search {

Coverage coverage_of(const Database& db, const FileFilter& filter) {
    Coverage coverage;
    const bool passes_all = filter.globs.empty() && filter.languages.empty() &&
                            filter.languages_out.empty() &&
                            filter.max_depth == FileFilter().max_depth;
    if (passes_all && filter.paths.outermost() == std::vector<std::string>{""}) {
        coverage.files = db.fetchone("SELECT count(*) FROM files")->integer(0);
    } else {
        _each_row(db, "SELECT path, language FROM files", filter, [&](const RowView& row) {
            ++coverage.files;
            coverage.left_out += passes(filter, row.text(0), row.text(1)) ? 0 : 1;
            return Visit::CONTINUE;
        });
    }
    if (schema::version(db) != schema::SCHEMA_VERSION) return coverage;
    db.each("SELECT path, reason FROM skipped_files", {}, [&](const RowView& row) {
        if (filter.paths.hold(row.text(0))) {
            ++(row.text(1) == "binary" ? coverage.binary : coverage.unreadable);
        }
        return Visit::CONTINUE;
    });
    return coverage;
}

}  // namespace codetext::search
