#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "storage/chunk_store/compressed/trigrams.hpp"
#include "storage/chunk_store/limits.hpp"
#include "storage/chunk_store/writer.hpp"

namespace codetext::chunk_store {

std::size_t PackedFile::size_bytes() const {
    std::size_t size = sizeof(PackedFile) + lines.size() * sizeof(LineRange) +
                       (trigrams.size() + trigram_counts.size()) * sizeof(std::uint32_t);
    for (const Frame& frame : frames) size += sizeof(Frame) + frame.body.size();
    for (const std::string& text : texts) size += sizeof(std::string) + text.size();
    return size;
}

class Packer::Impl {
  public:
    Impl(Layout layout, DictionaryHandle dictionary) : _compressed(layout == COMPRESSED) {
        if (!_compressed) return;
        _frames.emplace(std::move(dictionary));
        _trigrams.emplace();
    }

    PackedFile pack(std::span<const Chunk> chunks) {
        _check(chunks);
        PackedFile file;
        file.lines.reserve(chunks.size());
        for (const Chunk& chunk : chunks) file.lines.push_back({chunk.start_line, chunk.end_line});
        if (_compressed) {
            _pack_frames(chunks, file);
        } else {
            for (const Chunk& chunk : chunks) file.texts.push_back(chunk.text);
        }
        return file;
    }

  private:
    /// A reader would take what is refused here for damage (limits.hpp), or would number its lines
    /// otherwise: a frame has the number of its first line alone.
    static void _check(std::span<const Chunk> chunks) {
        if (chunks.empty() || static_cast<std::int64_t>(chunks.size()) > MAX_FILE_CHUNKS) {
            throw std::length_error(fmt::format("a file of {} chunks", chunks.size()));
        }
        std::size_t bytes = 0;
        for (const Chunk& chunk : chunks) bytes += chunk.text.size();
        if (bytes > MAX_FILE_TEXT_BYTES) {
            throw std::length_error(fmt::format("a file of {} bytes of text", bytes));
        }
        for (std::size_t i = 1; i < chunks.size(); ++i) {
            if (chunks[i].start_line != chunks[i - 1].end_line + 1) {
                throw std::invalid_argument("chunks that do not follow each other");
            }
        }
    }

    void _pack_frames(std::span<const Chunk> chunks, PackedFile& file) {
        for (std::size_t i = 0; i < chunks.size(); i += FRAME_CHUNKS) {
            const auto frame =
                chunks.subspan(i, std::min<std::size_t>(FRAME_CHUNKS, chunks.size() - i));
            const bool ends_file = i + frame.size() == chunks.size();
            file.frames.push_back({static_cast<std::int64_t>(i), _frames->pack(frame, ends_file)});
        }
        for (const Chunk& chunk : chunks) {
            file.trigram_counts.push_back(_trigrams->append(chunk.text, file.trigrams));
        }
    }

    bool _compressed;
    std::optional<FramePacker> _frames;
    std::optional<TrigramCollector> _trigrams;
};

Packer::Packer(Layout layout, DictionaryHandle dictionary)
    : _impl(std::make_unique<Impl>(layout, std::move(dictionary))) {}
Packer::~Packer() = default;
Packer::Packer(Packer&&) noexcept = default;
Packer& Packer::operator=(Packer&&) noexcept = default;

PackedFile Packer::pack(std::span<const Chunk> chunks) { return _impl->pack(chunks); }

}  // namespace codetext::chunk_store
