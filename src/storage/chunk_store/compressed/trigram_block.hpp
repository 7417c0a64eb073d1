#pragma once

// A block of posting lists as a search reads it; docs/FORMAT.md has its bytes. Private to
// chunk_store.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "storage/chunk_store/compressed/byte_codec.hpp"
#include "storage/chunk_store/compressed/posting_list.hpp"
#include "storage/chunk_store/compressed/shard_list.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

/// Bits of a list's Rice parameter below its count in a directory.
inline constexpr unsigned PARAMETER_BITS = 4;

/// The hash that begins a body whose head (the numbers before the directory) is `head`. The pages'
/// checksums cover the rest.
inline std::uint64_t block_hash(std::string_view head, std::int64_t rowid) {
    return xxh3(head, static_cast<std::uint64_t>(rowid));
}

/// No BLOB of the trigram index is larger: a block fits a page but for one list, and a shard has
/// few bytes for a chunk.
inline constexpr std::size_t MAX_BLOB_BYTES = std::size_t{1} << 20;

class TrigramBlock {
  public:
    struct List {
        std::uint32_t count;
        std::uint8_t parameter;
        std::string bytes;
    };

    /// The block must not outlive `body`. Throws DamagedChunk.
    TrigramBlock(std::string_view body, std::int64_t rowid, Blocks blocks)
        : _reader(body, "trigram block", rowid) {
        if (body.size() > MAX_BLOB_BYTES) _reader.damaged("it is too large");
        if (blocks == Blocks::LOOSE) {
            _reader.take_hash(0);
            _read_head();
            return;
        }
        const std::uint64_t hash = read_hash(_reader.take(HASH_BYTES));
        const std::string_view rest = _reader.rest();
        _read_head();
        const std::string_view head = rest.substr(0, rest.size() - _reader.rest().size());
        if (block_hash(head, rowid) != hash) _reader.damaged("its head does not match its hash");
    }

    /// The first trigram that the block answers for.
    std::uint64_t first() const { return _first; }

    /// None when no chunk of the shard holds the trigram. May be called once. Throws DamagedChunk.
    std::optional<List> find(std::uint32_t trigram) {
        ByteReader directory = _reader.part(_directory_bytes);
        std::uint64_t current = _first, offset = 0;
        for (std::uint64_t i = 0; i < _lists && current <= trigram; ++i) {
            current += directory.varint();
            const std::uint64_t count = directory.varint();
            const std::uint64_t size = directory.varint();
            if (current == trigram) {
                if (count >> PARAMETER_BITS > SHARD_CHUNKS || size > MAX_POSTINGS_BYTES) {
                    _reader.damaged("a posting list is too large");
                }
                _reader.take(offset);
                return List{static_cast<std::uint32_t>(count >> PARAMETER_BITS),
                            static_cast<std::uint8_t>(count & ((1u << PARAMETER_BITS) - 1)),
                            std::string(_reader.take(size))};
            }
            offset += size;
        }
        return std::nullopt;
    }

  private:
    void _read_head() {
        _first = _reader.varint();
        _lists = _reader.varint();
        _directory_bytes = _reader.varint();
    }

    ByteReader _reader;
    std::uint64_t _first = 0, _lists = 0, _directory_bytes = 0;
};

}  // namespace codetext::chunk_store
