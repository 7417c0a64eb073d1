#include "storage/chunk_store/packed_frame.hpp"

#include <new>

#include "storage/chunk_store/byte_codec.hpp"

namespace codetext::chunk_store {

namespace {

/// Packs 238 MB/s a core; level 9 saves a tenth more and is six times slower.
constexpr int COMPRESSION_LEVEL = 3;
constexpr std::string_view WHAT = "chunk frame";

void check(std::size_t result) {
    if (ZSTD_isError(result)) {
        throw std::runtime_error(fmt::format("zstd: {}", ZSTD_getErrorName(result)));
    }
}

struct FreeContext {
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

/// One context a thread: making one costs more than unpacking a frame.
ZSTD_DCtx* unpacking_context() {
    thread_local const std::unique_ptr<ZSTD_DCtx, FreeContext> context(ZSTD_createDCtx());
    if (!context) throw std::bad_alloc();
    return context.get();
}

}  // namespace

FramePacker::FramePacker(DictionaryHandle dictionary) : _context(ZSTD_createCCtx()) {
    if (!_context) throw std::bad_alloc();
    check(ZSTD_CCtx_setParameter(_context.get(), ZSTD_c_compressionLevel, COMPRESSION_LEVEL));
    check(ZSTD_CCtx_setParameter(_context.get(), ZSTD_c_checksumFlag, 1));
    if (dictionary) {
        check(ZSTD_CCtx_loadDictionary(_context.get(), dictionary->bytes().data(),
                                       dictionary->bytes().size()));
    }
}

std::string FramePacker::pack(std::span<const Chunk> chunks, bool ends_file) {
    std::string body;
    put_varint(body, chunks.size() * 2 + (ends_file ? 1 : 0));
    put_varint(body, static_cast<std::uint64_t>(chunks.front().start_line));
    _texts.clear();
    for (const Chunk& chunk : chunks) {
        put_varint(body, static_cast<std::uint64_t>(chunk.end_line - chunk.start_line + 1));
        put_varint(body, chunk.text.size());
        _texts += chunk.text;
    }
    const std::size_t head = body.size();
    body.resize(head + ZSTD_compressBound(_texts.size()));
    const std::size_t size = ZSTD_compress2(_context.get(), body.data() + head, body.size() - head,
                                            _texts.data(), _texts.size());
    check(size);
    body.resize(head + size);
    body.shrink_to_fit();
    return body;
}

PackedFrame::PackedFrame(const Database& db, std::int64_t rowid, std::string body)
    : _rowid(rowid), _body(std::move(body)) {
    ByteReader reader(_body, WHAT, _rowid);
    const std::uint64_t head = reader.varint();
    const std::uint64_t chunks = head / 2;
    _ends_file = head % 2 == 1;
    if (chunks == 0 || chunks > FRAME_CHUNKS) reader.damaged("its number of chunks is wrong");
    auto line = static_cast<std::int64_t>(reader.varint());
    _parts.reserve(chunks);
    for (std::uint64_t i = 0; i < chunks; ++i) {
        const auto lines = static_cast<std::int64_t>(reader.varint());
        const std::uint64_t size = reader.varint();
        if (size > MAX_FRAME_BYTES) reader.damaged("a text is too large");
        _parts.push_back({line, line + lines - 1, _texts_size, size});
        line += lines;
        _texts_size += size;
    }
    _packed_offset = _body.size() - reader.rest().size();
    const std::uint32_t id = ZSTD_getDictID_fromFrame(reader.rest().data(), reader.rest().size());
    if (id == 0) return;
    const auto shelf = db.kept<DictionaryShelf>([] { return std::make_shared<DictionaryShelf>(); });
    _dictionary = shelf->find(db, id);
    if (!_dictionary) reader.damaged("its dictionary is missing");
}

std::string_view PackedFrame::text(std::size_t position) {
    if (!_unpacked) _unpack();
    return {_texts.get() + _parts[position].offset, _parts[position].size};
}

void PackedFrame::_unpack() {
    const std::string_view packed = std::string_view(_body).substr(_packed_offset);
    const ByteReader reader(packed, WHAT, _rowid);
    if (ZSTD_getFrameContentSize(packed.data(), packed.size()) != _texts_size) {
        reader.damaged("its size is not that of its texts");
    }
    // Not a std::string: zeroing the buffer first would cost a tenth of the unpacking.
    std::unique_ptr<char[]> texts(new char[_texts_size + 1]);
    const std::size_t size = ZSTD_decompress_usingDDict(
        unpacking_context(), texts.get(), _texts_size, packed.data(), packed.size(),
        _dictionary ? _dictionary->for_reading() : nullptr);
    if (ZSTD_isError(size)) reader.damaged(ZSTD_getErrorName(size));
    if (size != _texts_size) reader.damaged("it unpacks to another size");
    _texts = std::move(texts);
    _unpacked = true;
    std::string().swap(_body);
}

ChunkText::ChunkText(std::string text)
    : _text(std::make_shared<const std::string>(std::move(text))) {}

ChunkText::ChunkText(std::shared_ptr<PackedFrame> frame, std::size_t position)
    : _frame(std::move(frame)), _position(position) {}

std::string_view ChunkText::view() const {
    return _frame ? _frame->text(_position) : std::string_view(*_text);
}

}  // namespace codetext::chunk_store
