#pragma once

// Where a search reads the text of the files that it looks at: the index, or the disk and then why.
//
//   const auto store = chunk_store::layout(db);
//   auto [source, reason] = code_text::text_source(db, files, needle, true, store);
//   if (reason) report(*reason);
//   SegmentList segments = code_text::segments(source, file.file_id, file.path);

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>

#include "storage/code_text/chunk_text.hpp"
#include "storage/code_text/disk_text.hpp"

namespace codetext::code_text {

using TextSource = std::variant<DiskText, ChunkText>;

/// From now on the source throws chunk_store::TextTooLarge instead of taking more than `bytes` of a
/// file's text into memory.
void limit_text(TextSource& source, std::size_t bytes);
/// The file's runs of lines in which to look for matches.
SegmentList segments(TextSource& source, std::int64_t file_id, const std::string& path);
/// Whether the source reads this file's text from disk.
bool reads_disk(const TextSource& source, std::int64_t file_id);
/// Every line of the file, line 1 first.
Lines lines(TextSource& source, std::int64_t file_id, const std::string& path);

struct SourceChoice {
    TextSource source;
    std::optional<std::string> reason;  ///< why the disk is read; none when the index answers
};

/// Chooses the source of one search, for the whole index: the disk when the index has no table of
/// the files' text (`store` is none) or when any indexed file that should have chunks has none.
///
/// `needle` is none for a regular-expression search, and lower-cased by the caller when the search
/// ignores case. The repository's root is three levels above the database file. Opens no
/// transaction: a caller that wants one snapshot holds one. Without one, a source that finds the
/// index changed since throws chunk_store::IndexChanged when it is asked for segments. Passes every
/// failure on.
///
/// `asked` saves asking the trigram index again: the chunks that may match, from a caller that had
/// to know them to choose `files`. Only where chunk_store::asks_before_reading(store). `read` gives
/// the content of a file on disk.
SourceChoice text_source(const Database& db, std::span<const FileRow> files,
                         const std::optional<std::string>& needle, bool case_sensitive,
                         std::optional<chunk_store::Layout> store,
                         const std::optional<chunk_store::Candidates>& asked = std::nullopt,
                         FileReader read = read_whole_file);

/// The root of the repository whose index this is.
std::filesystem::path repository_root(const Database& db);

struct ChunkState {
    std::int64_t unchunked;  ///< files that should have chunks and lack their first
    std::shared_ptr<const FileIds> on_disk;
};

/// The state of the whole index in one statement. Private to the module.
ChunkState _chunk_state(const Database& db, chunk_store::Layout store);

}  // namespace codetext::code_text
