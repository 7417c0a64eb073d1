// What can be mended in place are the rows of single files: their chunks are dropped, and the run
// that follows reads these files again. Anything else means a new index. SQLite must read a page to
// change it, so a damaged page cannot be mended, and where the trees are wrong no row tells which
// files are hurt.
//
// The lock is held from the check to the end of the run, so what was found is what is mended.

#include "indexer/run/repair.hpp"

#include <optional>
#include <utility>

#include "indexer/plan/change_plan.hpp"
#include "indexer/run/index_lock.hpp"
#include "indexer/run/locked_run.hpp"
#include "storage/chunk_store/writer.hpp"
#include "storage/verify.hpp"

namespace codetext::indexer {
namespace {

/// The run that follows reads files without chunks.
void drop_chunks(const std::filesystem::path& path, const std::vector<std::int64_t>& files) {
    Database db = schema::open_any_version(path, Access::READ_WRITE);
    const std::optional<chunk_store::Layout> layout = chunk_store::layout(db);
    if (!layout) return;
    Transaction transaction(db, Transaction::Kind::WRITE);
    chunk_store::Writer writer(db, *layout);
    for (const std::int64_t id : files) {
        writer.drop(id);
        // From this commit on searches read the disk, until the run has stored the chunks anew.
        db.execute("UPDATE OR FAIL files SET text_on_disk = 0, mtime_ns = ? WHERE id = ?",
                   {UNSETTLED_MTIME_NS, id});
    }
    writer.flush();
    transaction.commit();
}

}  // namespace

RepairReport repair_index(const std::filesystem::path& root, const IndexOptions& options) {
    const IndexLock lock(root, options.lock);
    const std::filesystem::path path = schema::index_path(root);
    schema::Findings found = schema::find_damage_in_file(path);
    RepairReport report{std::move(found.problems), Mended::NOTHING, {}};
    if (report.problems.empty()) return report;
    if (found.is_beyond_files) {
        report.mended = Mended::INDEX;
        schema::remove_database(root, options.lock.owners);
    } else {
        report.mended = Mended::FILES;
        drop_chunks(path, found.hurt_files);
    }
    report.index = index_under_lock(root, options);
    return report;
}

}  // namespace codetext::indexer
