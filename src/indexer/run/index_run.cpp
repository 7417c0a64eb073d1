// The order of a run, and what a kill leaves:
//
// 1. Open or make the index, and upgrade it. Each step of an upgrade is whole or was not made.
// 2. List the files and compare them with the index. Nothing is written.
// 3. Drop what is gone, give new files their rows, and commit. From here on a search finds files
//    without chunks, and reads the disk instead of missing a match in one of them.
// 4. Read and pack on many threads, store on one, and commit batch by batch. A batch that was not
//    committed is read again by the next run, which finds its files without chunks or with old
//    stamps.
// 5. Note that a run has come to its end, move the log into the database, and note the time of 2.

#include "indexer/run/index_run.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

#include "indexer/listing/file_list.hpp"
#include "indexer/plan/change_plan.hpp"
#include "indexer/run/dictionary_sample.hpp"
#include "indexer/run/index_store.hpp"
#include "indexer/run/locked_run.hpp"
#include "indexer/run/parse_pipeline.hpp"
#include "storage/indexed_at.hpp"
#include "utils/open_below.hpp"
#include "utils/wall_clock.hpp"

namespace codetext::indexer {
namespace {

/// How long a run waits at its end for searches that still read the write-ahead log.
constexpr int CHECKPOINT_WAIT_MS = 1000;

std::vector<schema::UpgradeStep> upgrade_if_older(Database& db) {
    if (schema::version(db) == schema::SCHEMA_VERSION) return {};
    return schema::upgrade(db);
}

Database open_or_create(const std::filesystem::path& root, const IndexOptions& options,
                        IndexReport& report) {
    Database db = schema::open_or_create_index(root, options.layout, options.lock.owners);
    report.upgrade_steps = upgrade_if_older(db);
    return db;
}

chunk_store::Layout wanted_layout_of(const Database& db, const IndexOptions& options) {
    const chunk_store::Layout layout = layout_of(db);
    if (options.layout && *options.layout != layout) {
        throw std::invalid_argument(
            fmt::format("the index {} has the layout {}: remove it to make one with the layout {}",
                        db.db_path().string(), layout.name, options.layout->name));
    }
    return layout;
}

chunk_store::DictionaryHandle dictionary_for(Database& db, chunk_store::Layout layout,
                                             const Descriptor& root,
                                             const std::vector<PlannedFile>& files) {
    if (layout != chunk_store::COMPRESSED || files.empty()) return nullptr;
    if (auto dictionary = chunk_store::load_dictionary(db)) return dictionary;
    const std::vector<std::string> samples = sample_chunks(root, files);
    if (samples.empty()) return nullptr;
    Transaction transaction(db, Transaction::Kind::WRITE);
    auto dictionary = chunk_store::train_dictionary(db, samples);
    transaction.commit();
    return dictionary;
}

/// Adds one file to the report.
void count(const PlannedFile& file, const ParsedFile& parsed, IndexReport& report) {
    const Change change = change_of(file, parsed.outcome);
    report.new_files += change == Change::NEW ? 1 : 0;
    report.changed_files += change == Change::CHANGED ? 1 : 0;
    report.gone_files += change == Change::GONE ? 1 : 0;
    switch (parsed.outcome) {
        case Outcome::CHUNKS:
            ++report.files;
            break;
        case Outcome::KEPT_ON_DISK:
            ++report.files;
            ++report.kept_on_disk;
            break;
        case Outcome::SAME_TEXT:
            ++report.files;
            report.kept_on_disk += file.known->text_on_disk ? 1 : 0;
            break;
        case Outcome::BINARY:
            ++report.binary_files;
            break;
        case Outcome::UNREADABLE:
            report.unreadable.push_back({file.entry.path, parsed.error});
            break;
    }
}

void count_unchanged(const ChangePlan& plan, IndexReport& report) {
    report.files = plan.unchanged;
    report.kept_on_disk = plan.unchanged_kept_on_disk;
    report.binary_files = plan.unchanged_binary;
    report.gone_files = static_cast<std::int64_t>(plan.gone.size());
}

/// Reads and stores the files of the plan, and counts them.
void read_files(Database& db, IndexStore& store, chunk_store::Layout layout, const Descriptor& root,
                const ChangePlan& plan, const IndexOptions& options, IndexReport& report) {
    ParsePipeline pipeline =
        parse_files(root, plan.to_read, layout, dictionary_for(db, layout, root, plan.to_read),
                    thread_count(options.threads));
    const auto total = static_cast<std::int64_t>(plan.to_read.size());
    std::int64_t done = 0;
    for (const PlannedFile& file : plan.to_read) {
        const ParsedFile parsed = pipeline.next();
        count(file, parsed, report);
        store.put(file, parsed);
        if (options.progress) options.progress(++done, total);
    }
}

/// Moves the write-ahead log into the database file, so that searches read one file only. Searches
/// that still read the log, or a full disk, put that off to the next run; nothing is lost, since
/// what is in the log is committed. Returns the warning for a full disk.
std::optional<std::string> checkpoint(Database& db) {
    db.set_busy_timeout(CHECKPOINT_WAIT_MS);
    try {
        db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
        return std::nullopt;
    } catch (const DatabaseError& error) {
        if (error.kind() != DatabaseError::Kind::DISK_FULL &&
            error.kind() != DatabaseError::Kind::WRITE_FAILED) {
            throw;
        }
        return fmt::format("all is stored, but stays in the log until a later run: {}",
                           error.what());
    }
}

}  // namespace

unsigned thread_count(unsigned wanted) {
    return wanted > 0 ? wanted : std::max(1U, std::thread::hardware_concurrency());
}

chunk_store::Layout layout_of(const Database& db) {
    const std::optional<chunk_store::Layout> layout = chunk_store::layout(db);
    if (layout) return *layout;
    throw std::runtime_error(
        fmt::format("the index {} has no table of the files' text: remove it and index anew",
                    db.db_path().string()));
}

IndexReport index_repository(const std::filesystem::path& root, const IndexOptions& options) {
    const IndexLock lock(root, options.lock);
    return index_under_lock(root, options);
}

IndexReport index_under_lock(const std::filesystem::path& root, const IndexOptions& options) {
    IndexReport report;
    Database db = open_or_create(root, options, report);
    const chunk_store::Layout layout = wanted_layout_of(db, options);
    const std::int64_t begun_at_ns = now_ns();
    FileList list = list_files(root, thread_count(options.threads));
    report.warnings = std::move(list.warnings);
    if (options.listed) options.listed(list.files);
    ChangePlan plan = plan_changes(db, layout, std::move(list.files), options.trust);
    count_unchanged(plan, report);

    IndexStore store(db, layout);
    store.begin_changes(plan);
    read_files(db, store, layout, open_root(root), plan, options, report);
    store.commit();
    // After the last commit: an index without a file is a repository without one from now on.
    schema::set_filled(db);
    if (store.has_written()) {
        if (auto warning = checkpoint(db)) report.warnings.push_back(std::move(*warning));
    }
    // After the checkpoint, which has synced what the time speaks of.
    schema::set_indexed_at(root, options.lock.owners, begun_at_ns);
    return report;
}

std::vector<schema::UpgradeStep> upgrade_index(const std::filesystem::path& root,
                                               const LockOptions& lock) {
    const IndexLock held(root, lock);
    Database db = schema::open_any_version(schema::index_path(root), Access::READ_WRITE);
    std::vector<schema::UpgradeStep> steps = upgrade_if_older(db);
    if (steps.empty()) return steps;
    if (const auto warning = checkpoint(db)) steps.back().what += "; " + *warning;
    return steps;
}

void clean_index(const std::filesystem::path& root, const LockOptions& lock) {
    // The lock would make the directory that is to go.
    if (!schema::open_index_directory(root, lock.owners)) return;
    const IndexLock held(root, lock);
    schema::remove_index(root, lock.owners);
}

}  // namespace codetext::indexer
