#pragma once

// Frames: up to eight chunks of one file, compressed together. Eight pack better and unpack faster
// than one, and reading a single chunk still costs only microseconds.
//
// A frame's body: varint (chunks * 2 + 1 when it ends the file), varint start line of its first
// chunk, varint id of its dictionary (0: none), then for each chunk varint number of lines and
// varint bytes of text; then eight bytes, the lowest first, of the XXH3 hash of the texts, one
// after the other, seeded with the hash of everything before, and combined with the row id
// (seal_frame); then the texts as one LZ4 block.
//
// LZ4 at its high compression unpacks 4.5 GB/s a core, zstd 1.1, and a search for a common needle
// spends most of its time unpacking. LZ4 packs a fifth larger.

#include <lz4hc.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "storage/chunk.hpp"
#include "storage/chunk_store/chunk_row.hpp"
#include "storage/chunk_store/compressed/dictionary.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/chunk_store/writer.hpp"
#include "utils/once.hpp"

namespace codetext::chunk_store {

/// Most chunks of a frame. Chunk k of a file lies in the frame at chunk k - k % FRAME_CHUNKS.
inline constexpr std::int64_t FRAME_CHUNKS = 8;
/// Most bytes that the texts of a frame may have.
inline constexpr std::size_t MAX_FRAME_BYTES = MAX_FILE_TEXT_BYTES;

/// Binds the hash in a frame's body to the frame's row id, so that a frame at another place shows.
/// A packer does not know the row id yet. Throws DamagedChunk for a body that is none.
void seal_frame(std::string& body, std::int64_t rowid);

/// Compresses frames. Make one for each thread.
class FramePacker {
  public:
    explicit FramePacker(DictionaryHandle dictionary);
    /// The body of a frame, not sealed yet. REQUIRES: 1 to FRAME_CHUNKS chunks, each beginning
    /// where the one before it ends. Throws std::length_error past MAX_FRAME_BYTES.
    std::string pack(std::span<const Chunk> chunks, bool ends_file);

  private:
    struct Free {
        void operator()(LZ4_streamHC_t* stream) const { LZ4_freeStreamHC(stream); }
    };
    using Stream = std::unique_ptr<LZ4_streamHC_t, Free>;
    DictionaryHandle _dictionary;
    Stream _after_dictionary;  ///< a stream that has read the dictionary
    Stream _stream;
    std::string _texts;
};

/// A frame as it was read, unpacked when somebody first asks for one of its texts. Several threads
/// may ask at once.
class PackedFrame {
  public:
    /// `rowid` is the row id of its first chunk. Reads nothing from the database but a dictionary
    /// that `dictionaries` does not hold yet. Throws DamagedChunk.
    PackedFrame(const Database& db, Dictionaries& dictionaries, std::int64_t rowid,
                std::string body);

    struct Part {
        std::int64_t start_line, end_line;
        std::size_t offset, size;  ///< of its text among the texts, in bytes
    };
    std::int64_t rowid() const { return _rowid; }
    std::span<const Part> parts() const { return _parts; }
    /// Bytes of all texts, unpacked.
    std::size_t texts_bytes() const { return _texts_size; }
    bool ends_file() const { return _ends_file; }
    /// Whether the frame shows a chunk with this row id that has a line: one whose text a reader
    /// will look at, which checks the frame. REQUIRES: `rowid` is not below the frame's own.
    bool shows(std::int64_t rowid) const;
    /// Checks the hash, which covers the head and the texts. Throws DamagedChunk.
    void check();
    /// The text of the part; valid as long as the frame. Throws DamagedChunk.
    std::string_view text(std::size_t position);

  private:
    void _unpack();
    std::int64_t _rowid;
    std::string _body;
    std::size_t _head_size = 0;  ///< bytes before the hash
    std::vector<Part> _parts;
    std::size_t _texts_size = 0;
    bool _ends_file = false;
    DictionaryHandle _dictionary;
    Once _unpacked;
    std::unique_ptr<char[]> _texts;
};

/// The chunk rows of a frame for which `wanted` holds, appended to `rows`.
template <typename Wanted>
void append_rows(const std::shared_ptr<PackedFrame>& frame, std::vector<ChunkRow>& rows,
                 const Wanted& wanted) {
    for (std::size_t i = 0; i < frame->parts().size(); ++i) {
        const PackedFrame::Part& part = frame->parts()[i];
        const std::int64_t rowid = frame->rowid() + static_cast<std::int64_t>(i);
        if (!wanted(rowid)) continue;
        const bool last = frame->ends_file() && i + 1 == frame->parts().size();
        rows.push_back({rowid, part.start_line, part.end_line, StoredText(frame, i), last});
    }
}

}  // namespace codetext::chunk_store
