#include "search/files/coverage.hpp"

#include <string>
#include <vector>

#include "storage/schema.hpp"

namespace codetext::search {

Coverage coverage_of(const Database& db, const FileFilter& filter) {
    Coverage coverage;
    const bool is_older = schema::version(db) != schema::SCHEMA_VERSION;
    const bool passes_all =
        filter.globs.empty() && filter.languages.empty() && filter.languages_out.empty() &&
        filter.max_depth == FileFilter().max_depth && filter.max_bytes == FileFilter().max_bytes;
    if (passes_all && filter.paths.outermost() == std::vector<std::string>{""}) {
        coverage.files = db.fetchone("SELECT count(*) FROM files")->integer(0);
    } else {
        // Older versions know no sizes.
        const std::string size = is_older ? "0" : "size";
        _each_row(db, "SELECT path, language, " + size + " FROM files", filter,
                  [&](const RowView& row) {
                      ++coverage.files;
                      const bool is_in = passes(filter, row.text(0), row.text(1), row.integer(2));
                      coverage.left_out += is_in ? 0 : 1;
                      return Visit::CONTINUE;
                  });
    }
    if (is_older) return coverage;
    db.each("SELECT path, reason FROM skipped_files", {}, [&](const RowView& row) {
        if (filter.paths.hold(row.text(0))) {
            ++(row.text(1) == "binary" ? coverage.binary : coverage.unreadable);
        }
        return Visit::CONTINUE;
    });
    return coverage;
}

}  // namespace codetext::search
