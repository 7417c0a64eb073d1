#include "cli/status_report.hpp"

#include "cli/which_index.hpp"
#include "indexer/watch/watcher_lock.hpp"
#include "storage/indexed_at.hpp"

namespace codetext::cli {

StatusReport status_report(const Database& db, const std::filesystem::path& root,
                           schema::Owners owners) {
    StatusReport report;
    report.index = db.db_path();
    for (const auto& other : roots_above(root)) report.above.push_back(schema::index_path(other));
    report.status = indexer::index_status(db);
    report.indexed_at_ns = schema::indexed_at(root, owners);
    const indexer::WatcherSight sight(root, owners);
    report.is_watched = sight.lives();
    if (report.is_watched) report.watcher = sight.holder();
    return report;
}

}  // namespace codetext::cli
