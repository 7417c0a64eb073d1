#include "indexer/run/parse_file.hpp"

#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "storage/code_text/chunk_rows.hpp"
#include "storage/code_text/chunking.hpp"
#include "utils/binary.hpp"
#include "utils/fsio.hpp"
#include "utils/hash.hpp"
#include "utils/unicode.hpp"
#include "utils/wall_clock.hpp"

namespace codetext::indexer {
namespace {

std::int64_t hash_of(std::string_view bytes) { return static_cast<std::int64_t>(xxh3(bytes)); }

/// The bytes of the text that was cut into these chunks, as stored_text_bytes counts them.
std::int64_t stored_bytes(std::span<const Chunk> chunks) {
    std::size_t bytes = chunks.size() - 1;
    for (const Chunk& chunk : chunks) bytes += chunk.text.size();
    return static_cast<std::int64_t>(bytes);
}

bool stays_on_disk(const PlannedFile& file, std::span<const Chunk> chunks) {
    return static_cast<std::int64_t>(chunks.size()) > chunk_store::MAX_FILE_CHUNKS ||
           stored_bytes(chunks) > MAX_CHUNKED_FILE_BYTES ||
           code_text::text_kept_on_disk(file.language, stored_bytes(chunks));
}

/// Whether the index already holds what a file with this hash would give.
bool holds(const KnownFile& known, std::int64_t content_hash) {
    return known.text_is_stored && known.language_is_current && known.content_hash == content_hash;
}

void parse_text(const PlannedFile& file, std::string bytes, chunk_store::Packer& packer,
                ParsedFile& parsed) {
    parsed.outcome = Outcome::KEPT_ON_DISK;
    // Before decoding, which could make such a file three times as large.
    if (static_cast<std::int64_t>(bytes.size()) > MAX_CHUNKED_FILE_BYTES) return;
    const std::vector<Chunk> chunks = code_text::code_chunks(unicode::decode(std::move(bytes)));
    if (stays_on_disk(file, chunks)) return;
    parsed.packed = packer.pack(chunks);
    parsed.outcome = Outcome::CHUNKS;
}

}  // namespace

Change change_of(const PlannedFile& file, Outcome outcome) {
    const bool was_there = file.known && file.known->text_is_stored;
    if (outcome == Outcome::SAME_TEXT) return Change::NONE;
    if (outcome == Outcome::CHUNKS || outcome == Outcome::KEPT_ON_DISK) {
        return was_there ? Change::CHANGED : Change::NEW;
    }
    return was_there ? Change::GONE : Change::NONE;
}

ParsedFile parse_file(const Descriptor& root, const PlannedFile& file,
                      chunk_store::Packer& packer) {
    ParsedFile parsed;
    fsio::FileContent content;
    // Taken before the read: a file that changes meanwhile must not look older than the read.
    const std::int64_t read_at_ns = now_ns();
    try {
        content = fsio::read_file_below(root, file.entry.path);
    } catch (const std::system_error& error) {
        if (is_machine_failure(error.code().value())) throw;
        parsed.error = error.code().message();
        return parsed;
    }
    parsed.stamp = remembered(content.stamp, read_at_ns);
    parsed.content_hash = hash_of(content.bytes);
    if (is_binary(content.bytes)) {
        parsed.outcome = Outcome::BINARY;
    } else if (file.known && holds(*file.known, parsed.content_hash)) {
        parsed.outcome = Outcome::SAME_TEXT;
    } else {
        parse_text(file, std::move(content.bytes), packer, parsed);
    }
    return parsed;
}

}  // namespace codetext::indexer
