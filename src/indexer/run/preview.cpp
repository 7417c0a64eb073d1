// A run up to the point where it would store: the same listing, plan and parsing. So it finds what
// a run would find. The snapshot of the index is given back before files are read.

#include "indexer/run/preview.hpp"

#include <algorithm>
#include <utility>

#include "indexer/listing/file_list.hpp"
#include "indexer/plan/change_plan.hpp"
#include "indexer/run/locked_run.hpp"
#include "indexer/run/parse_pipeline.hpp"
#include "storage/schema.hpp"
#include "utils/open_below.hpp"

namespace codetext::indexer {
namespace {

std::vector<std::string> paths_of(const Database& db, const std::vector<std::int64_t>& ids) {
    std::vector<std::string> paths;
    for (const std::int64_t id : ids) {
        if (auto row = db.fetchone("SELECT path FROM files WHERE id = ?", {id})) {
            paths.push_back(row->text(0));
        }
    }
    return paths;
}

ChangePlan plan_of(Database& db, std::vector<FileEntry> files, PendingChanges& found) {
    const Transaction snapshot(db, Transaction::Kind::READ);
    ChangePlan plan = plan_changes(db, layout_of(db), std::move(files));
    found.gone = paths_of(db, plan.gone);
    return plan;
}

void sort_out(const PlannedFile& file, const ParsedFile& parsed, PendingChanges& found) {
    switch (change_of(file, parsed.outcome)) {
        case Change::NONE:
            break;
        case Change::NEW:
            found.new_files.push_back(file.entry.path);
            break;
        case Change::CHANGED:
            found.changed.push_back(file.entry.path);
            break;
        case Change::GONE:
            found.gone.push_back(file.entry.path);
            break;
    }
}

}  // namespace

PendingChanges pending_changes(Database& db, const std::filesystem::path& root) {
    PendingChanges found;
    found.is_older = schema::version(db) != schema::SCHEMA_VERSION;
    if (found.is_older) return found;
    FileList list = list_files(root, thread_count(0));
    found.warnings = std::move(list.warnings);
    const ChangePlan plan = plan_of(db, std::move(list.files), found);
    const Descriptor opened = open_root(root);
    // This layout packs nothing.
    ParsePipeline pipeline =
        parse_files(opened, plan.to_read, chunk_store::CODE_CHUNKS, nullptr, thread_count(0));
    for (const PlannedFile& file : plan.to_read) sort_out(file, pipeline.next(), found);
    for (auto* paths : {&found.new_files, &found.changed, &found.gone}) std::ranges::sort(*paths);
    return found;
}

}  // namespace codetext::indexer
