#include "storage/code_text/chunk_text.hpp"

#include <algorithm>

#include "storage/chunk_store/limits.hpp"
#include "storage/code_text/chunk_rows.hpp"

namespace codetext::code_text {

namespace {

constexpr std::string_view FILE_CHUNKS =
    "SELECT start_line, end_line, coalesce(exact, text) FROM code_chunks WHERE rowid >= ? AND "
    "rowid < ? ORDER BY rowid";

/// Joins the lines of chunks.
class JoinedChunks {
  public:
    /// Room for so many bytes. A string that grows takes up to three times its size on the way.
    void reserve(std::size_t bytes) { _bytes = bytes; }
    void add(std::int64_t start_line, std::int64_t end_line, std::string_view text) {
        // The one chunk of a file without a line: it has no line, not an empty one.
        if (end_line < start_line) return;
        if (_joined) {
            _joined->push_back('\n');
            _joined->append(text);
        } else {
            _joined.emplace();
            _joined->reserve(std::max(_bytes, text.size()));
            _joined->append(text);
        }
    }
    Lines take() { return Lines::from(std::move(_joined)); }

  private:
    std::optional<std::string> _joined;
    std::size_t _bytes = 0;
};

Lines read_lines(const Database& db, chunk_store::Layout store, std::int64_t file_id,
                 const chunk_store::DictionariesHandle& dictionaries, std::size_t most_bytes) {
    const auto [first, end] = file_rowids(file_id);
    JoinedChunks chunks;
    if (store == chunk_store::COMPRESSED) {
        auto rows = chunk_store::file_rows(db, first, end, dictionaries, most_bytes);
        std::size_t bytes = 0;
        for (const chunk_store::ChunkRow& row : rows) bytes += row.text.size_bytes() + 1;
        chunks.reserve(bytes);
        for (auto& taken : rows) {
            // Frees each frame as soon as its texts are joined.
            const chunk_store::ChunkRow row = std::move(taken);
            chunks.add(row.start_line, row.end_line, row.text.view());
        }
    } else {
        chunk_store::SizeLimit texts(file_id, chunk_store::MAX_FILE_TEXT_BYTES);
        std::size_t text_bytes = 0;
        db.each(FILE_CHUNKS, {first, end}, [&](const RowView& row) {
            texts.take(row.text(2).size() + 1);
            text_bytes += row.text(2).size();
            if (text_bytes > most_bytes) throw chunk_store::TextTooLarge();
            chunks.add(row.integer(0), row.integer(1), row.text(2));
            return Visit::CONTINUE;
        });
    }
    return chunks.take();
}

}  // namespace

ChunkText::ChunkText(const Database& db, chunk_store::Layout store, CandidateChunks candidates,
                     DiskText disk, std::shared_ptr<const FileIds> on_disk)
    : _db(&db),
      _store(store),
      _candidates(std::move(candidates)),
      _disk(std::move(disk)),
      _on_disk(std::move(on_disk)) {}

void ChunkText::limit_text(std::size_t bytes) {
    _most_bytes = bytes;
    _disk.limit_text(bytes);
}

SegmentList ChunkText::segments(std::int64_t file_id, const std::string& path) {
    if (_on_disk->contains(file_id)) return _disk.segments(file_id, path);
    // Who still holds a list gets that very list again, so a file is not unpacked twice. Handles
    // here are weak: the text of a file goes with its last reader.
    _forget_dropped_lists();
    auto& handed_out = _handed_out[file_id];
    if (auto held = handed_out.lock()) return SegmentList(std::move(held));
    std::optional<SegmentList> found = _candidates.find(file_id, _most_bytes);
    if (!found) {
        _handed_out.erase(file_id);
        return SegmentList();
    }
    handed_out = found->_segments;
    return *std::move(found);
}

// Each time the lists have doubled, so that the work is a constant for each list.
void ChunkText::_forget_dropped_lists() {
    if (_handed_out.size() < _forget_at) return;
    std::erase_if(_handed_out, [](const auto& list) { return list.second.expired(); });
    _forget_at = std::max(_forget_at, 2 * _handed_out.size());
}

Lines ChunkText::lines(std::int64_t file_id, const std::string& path) {
    if (_on_disk->contains(file_id)) return _disk.lines(file_id, path);
    if (!_read || _read->first != file_id) {
        Lines lines = read_lines(*_db, _store, file_id, _candidates.dictionaries(), _most_bytes);
        _read.emplace(file_id, std::move(lines));
    }
    return _read->second;
}

std::vector<std::int64_t> ChunkText::possible_files() const {
    std::vector<std::int64_t> ids = _candidates.file_ids();
    ids.insert(ids.end(), _on_disk->begin(), _on_disk->end());
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

}  // namespace codetext::code_text
