#pragma once

// Parsing one file: it is read, looked at, cut into chunks and packed. This needs no database, so
// any thread can do it.

#include <cstdint>
#include <string>
#include <string_view>

#include "indexer/plan/change_plan.hpp"
#include "storage/chunk_store/writer.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

/// A larger file keeps its text on disk, and so does one whose text is larger (each wrong byte
/// becomes the three of U+FFFD): packing takes several times its size in memory, and a
/// chunk of very long lines might not fit into a database row.
inline constexpr std::int64_t MAX_CHUNKED_FILE_BYTES = chunk_store::MAX_FILE_TEXT_BYTES;

enum class Outcome {
    CHUNKS,        ///< its text goes into the index
    KEPT_ON_DISK,  ///< its text stays on disk and is searched there
    SAME_TEXT,     ///< the index holds its text already; only its size or time may differ
    BINARY,
    UNREADABLE,
};

/// What that means for the files of the index.
enum class Change { NONE, NEW, CHANGED, GONE };
Change change_of(const PlannedFile& file, Outcome outcome);

struct ParsedFile {
    Outcome outcome = Outcome::UNREADABLE;
    FileStamp stamp = UNSETTLED;     ///< what the index is to remember
    std::int64_t content_hash = 0;   ///< XXH3, 64 bits, of the file's bytes
    chunk_store::PackedFile packed;  ///< for CHUNKS
    std::string error;               ///< for UNREADABLE: why
};

/// Reads the file below `root` and does all that storing it needs. A file that cannot be read is
/// UNREADABLE. Throws std::system_error when the machine fails (is_machine_failure).
ParsedFile parse_file(const Descriptor& root, const PlannedFile& file, chunk_store::Packer& packer);

}  // namespace codetext::indexer
