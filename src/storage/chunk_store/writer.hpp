#pragma once

// The writing side of the chunk store. A Packer does the work that needs no database (compression,
// finding trigrams) on any thread; one Writer stores what the packers made.
//
//   Packer packer(layout, load_dictionary(db));               // one a worker thread
//   PackedFile packed = packer.pack(code_text::code_chunks(text));
//   Transaction transaction(db, Transaction::Kind::WRITE);
//   Writer writer(db, layout);
//   writer.put(file_id, packed);
//   writer.flush();
//   transaction.commit();

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "storage/chunk.hpp"
#include "storage/chunk_store/layout.hpp"
#include "storage/chunk_store/limits.hpp"

namespace codetext::chunk_store {

/// A compression dictionary with its id in the index; copies share it.
class Dictionary;
using DictionaryHandle = std::shared_ptr<const Dictionary>;

/// The dictionary that new chunks are compressed with; null when the index has none, as always in
/// the `code_chunks` layout.
DictionaryHandle load_dictionary(const Database& db);

/// Bytes of chunk text that train_dictionary uses; it ignores what is beyond.
inline constexpr std::size_t DICTIONARY_SAMPLE_BYTES = 8 << 20;
/// Below this much text a dictionary costs more than it saves.
inline constexpr std::size_t DICTIONARY_MIN_BYTES = 1 << 20;

/// Trains a dictionary on texts of chunks and stores it in the index (within the caller's
/// transaction). REQUIRES: the compressed layout. Null when there is too little text, or text that
/// gives no dictionary.
DictionaryHandle train_dictionary(Database& db, std::span<const std::string> samples);

/// One file's chunks, ready to be stored.
struct PackedFile {
    struct Frame {
        std::int64_t first_chunk;  ///< number of its first chunk in the file, from 0
        std::string body;
    };
    struct LineRange {
        std::int64_t start_line, end_line;
    };
    std::vector<LineRange> lines;  ///< of each chunk
    std::vector<Frame> frames;     ///< compressed layout: several chunks each
    std::vector<std::uint32_t>
        trigrams;  ///< compressed layout: distinct a chunk, chunk after chunk
    std::vector<std::uint32_t> trigram_counts;  ///< compressed layout: how many a chunk
    std::vector<std::string> texts;             ///< `code_chunks` layout: each chunk's text

    /// About how much memory it takes, in bytes: near enough to bound a queue.
    std::size_t size_bytes() const;
};

/// Most chunks of one file: its block of row ids holds them and ends with a free one.
inline constexpr std::int64_t MAX_FILE_CHUNKS = CHUNK_STRIDE - 1;

/// Makes PackedFiles. Make one for each thread.
class Packer {
  public:
    Packer(Layout layout, DictionaryHandle dictionary);
    ~Packer();
    Packer(Packer&&) noexcept;
    Packer& operator=(Packer&&) noexcept;
    /// REQUIRES: 1 to MAX_FILE_CHUNKS chunks in line order, with at most MAX_FILE_TEXT_BYTES of
    /// text. Throws std::length_error otherwise.
    PackedFile pack(std::span<const Chunk> chunks);

  private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

/// Chunks gathered before the trigram index gets a new shard: about 64 MB of source text.
inline constexpr std::int64_t SHARD_CHUNKS = 32768;

/// Stores and drops the chunks of files, within the caller's transaction. After a flush it may
/// serve the next transaction, with the memory that it has. After a rollback it must not be used
/// again.
class Writer {
  public:
    Writer(Database& db, Layout layout);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Stores the file's chunks in place of those that it has now.
    void put(std::int64_t file_id, const PackedFile& file);
    /// Drops the file's chunks, if it has any.
    void drop(std::int64_t file_id);
    /// Chunks put since the last flush. A caller that commits in batches does so when this reaches
    /// SHARD_CHUNKS.
    std::int64_t pending_chunks() const;
    /// Writes the trigrams of what was put, so that a search finds it. REQUIRES: called after the
    /// last put of a transaction.
    void flush();

  private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

/// Creates the empty tables of a layout. REQUIRES: the table `files`.
void create_tables(Database& db, Layout layout);

}  // namespace codetext::chunk_store
