#pragma once

// Where a file's chunks lie among the row ids, and which files keep their text on disk.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "storage/chunk_store/layout.hpp"
#include "utils/file_stamp.hpp"

namespace codetext::code_text {

/// Row ids that each file id owns, in either layout.
inline constexpr std::int64_t CODE_CHUNK_STRIDE = chunk_store::CHUNK_STRIDE;
/// Creates the `code_chunks` table.
inline constexpr std::string_view CODE_CHUNKS_DDL = chunk_store::CODE_CHUNKS_DDL;

/// Languages to which the large-data rule applies, ascending.
inline constexpr std::array<std::string_view, 1> LARGE_DATA_LANGUAGES = {"json"};
/// Bytes, as chunks hold the text, above which a file of such a language keeps no chunk.
inline constexpr std::int64_t LARGE_DATA_TEXT_BYTES = 32768;

/// One searched file, as the search hands it to text_source, which reads the id alone.
struct FileRow {
    std::int64_t file_id;
    std::string path;      ///< relative to the repository's root, with "/"
    std::string language;  ///< as the indexer named it
    std::optional<std::string> note;
    /// What the index remembers of it; none where that is not known.
    std::optional<FileStamp> stamp = std::nullopt;
};

/// The first row id of a file's block and the first one after it.
using chunk_store::file_rowids;

/// Whether the index keeps the file's text on disk rather than in chunks. `text_bytes` is what
/// stored_text_bytes gives for the text; the language is compared exactly.
bool text_kept_on_disk(std::string_view language, std::int64_t text_bytes);

}  // namespace codetext::code_text
