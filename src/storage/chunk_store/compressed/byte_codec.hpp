#pragma once

// The bytes of the compressed layout's BLOBs: unsigned LEB128 varints (DWARF 5, section 7.6) and
// plain bytes.

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "storage/chunk_store/chunk_row.hpp"
#include "utils/hash.hpp"

namespace codetext::chunk_store {

/// Appends `value`, seven bits a byte, the lowest first, the high bit set on all bytes but the
/// last.
inline void put_varint(std::string& bytes, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) bytes.push_back(static_cast<char>(value | 0x80));
    bytes.push_back(static_cast<char>(value));
}

/// Maps small negative numbers to small codes: 0, -1, 1, -2, 2 become 0, 1, 2, 3, 4.
inline std::uint64_t zigzag(std::int64_t value) {
    return (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63);
}
inline std::int64_t unzigzag(std::uint64_t code) {
    return static_cast<std::int64_t>(code >> 1) ^ -static_cast<std::int64_t>(code & 1);
}

/// Bytes that a hash takes in a BLOB.
inline constexpr std::size_t HASH_BYTES = 8;

/// Appends the hash, the lowest byte first.
inline void put_hash(std::string& bytes, std::uint64_t hash) {
    for (std::size_t i = 0; i < HASH_BYTES; ++i) {
        bytes.push_back(static_cast<char>(hash >> 8 * i));
    }
}
/// REQUIRES: HASH_BYTES bytes.
inline std::uint64_t read_hash(std::string_view bytes) {
    std::uint64_t hash = 0;
    for (std::size_t i = 0; i < HASH_BYTES; ++i) {
        hash |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << 8 * i;
    }
    return hash;
}

/// Reads a BLOB part by part, never past its end. Throws DamagedChunk, naming what was read and its
/// row.
class ByteReader {
  public:
    ByteReader(std::string_view bytes, std::string_view what, std::int64_t rowid)
        : _rest(bytes), _what(what), _rowid(rowid) {}

    std::uint64_t varint() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64 && !_rest.empty(); shift += 7) {
            const auto byte = static_cast<unsigned char>(_rest.front());
            _rest.remove_prefix(1);
            value |= std::uint64_t{byte & 0x7Fu} << shift;
            if (byte < 0x80) return value;
        }
        damaged("a number is cut short");
    }
    std::string_view take(std::uint64_t size_bytes) {
        if (size_bytes > _rest.size()) damaged("it is cut short");
        const std::string_view taken = _rest.substr(0, size_bytes);
        _rest.remove_prefix(size_bytes);
        return taken;
    }
    /// The bytes taken, to be read by themselves.
    ByteReader part(std::uint64_t size_bytes) { return {take(size_bytes), _what, _rowid}; }
    /// Takes the hash at this place. Throws unless it is the hash of all that follows, with `seed`.
    void take_hash(std::uint64_t seed) {
        const std::uint64_t hash = read_hash(take(HASH_BYTES));
        if (hash != xxh3(_rest, seed)) damaged("its bytes do not match their hash");
    }
    std::string_view rest() const { return _rest; }
    bool at_end() const { return _rest.empty(); }
    [[noreturn]] void damaged(std::string_view detail) const {
        throw DamagedChunk(fmt::format("damaged {} at row {}: {}; run `codetext verify --repair`",
                                       _what, _rowid, detail));
    }

  private:
    std::string_view _rest;
    std::string_view _what;
    std::int64_t _rowid;
};

}  // namespace codetext::chunk_store
