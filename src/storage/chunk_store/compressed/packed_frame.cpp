// A frame is packed in one piece: its head, the hash of head and texts, the texts as one LZ4 block.
// The packer works on a thread that knows no row id, so the one thread that stores the frame seals
// it then.
//
// A frame is read in two steps. Its head is read at once, so that a search knows lines and sizes
// without unpacking. The texts are unpacked when somebody first looks at one of them, and only then
// is the hash compared: it covers the head too, so a damaged head shows no later than its texts are
// used (matching_rows.cpp checks a frame whose head hides a chunk that is wanted). Until then each
// number of the head is held against what a frame may have.

#include "storage/chunk_store/compressed/packed_frame.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "storage/chunk_store/compressed/byte_codec.hpp"

namespace codetext::chunk_store {

static_assert(LZ4_COMPRESSBOUND(MAX_FILE_TEXT_BYTES) + 1024 < MAX_FILE_FRAME_BYTES &&
              MAX_FILE_FRAME_BYTES <= max_value_bytes(Access::READ_ONLY));

namespace {

/// Two searches for each position. Level 3 makes four, packs 3% smaller and takes a fifth longer;
/// plain LZ4 packs a quarter larger.
constexpr int COMPRESSION_LEVEL = 2;
constexpr std::string_view WHAT = "chunk frame";

std::uint64_t hash_of(std::string_view head, std::string_view texts) {
    const std::uint64_t seed = xxh3(head);
    return xxh3(texts, seed);
}

/// What a sealed frame's hash is combined with.
std::uint64_t seal_of(std::int64_t rowid) { return xxh3("", static_cast<std::uint64_t>(rowid)); }

/// Frames with more text are unpacked straight to their place.
bool fits_room(const DictionaryHandle& dictionary, std::size_t texts_size) {
    return dictionary && texts_size <= Dictionary::TEXT_BYTES;
}

/// Unpacks to `target`, with `before` as the dictionary. False when that does not give just the
/// texts.
bool unpack_to(char* target, std::size_t texts_size, std::string_view packed,
               std::string_view before) {
    const int size = LZ4_decompress_safe_usingDict(
        packed.data(), target, static_cast<int>(packed.size()), static_cast<int>(texts_size),
        before.data(), static_cast<int>(before.size()));
    return size >= 0 && static_cast<std::size_t>(size) == texts_size;
}

bool unpack(std::string_view packed, const DictionaryHandle& dictionary, char* texts,
            std::size_t texts_size) {
    if (!fits_room(dictionary, texts_size)) {
        return unpack_to(texts, texts_size, packed,
                         dictionary ? dictionary->bytes() : std::string_view());
    }
    std::unique_ptr<Dictionary::Room> room = dictionary->take_room();
    const std::string_view before(room->bytes.get(), dictionary->bytes().size());
    char* target = room->bytes.get() + before.size();
    const bool is_right = unpack_to(target, texts_size, packed, before);
    if (is_right) std::memcpy(texts, target, texts_size);
    dictionary->give_back(std::move(room));
    return is_right;
}

}  // namespace

FramePacker::FramePacker(DictionaryHandle dictionary)
    : _dictionary(std::move(dictionary)),
      _after_dictionary(LZ4_createStreamHC()),
      _stream(LZ4_createStreamHC()) {
    if (!_after_dictionary || !_stream) throw std::bad_alloc();
    LZ4_resetStreamHC_fast(_after_dictionary.get(), COMPRESSION_LEVEL);
    if (_dictionary) {
        LZ4_loadDictHC(_after_dictionary.get(), _dictionary->bytes().data(),
                       static_cast<int>(_dictionary->bytes().size()));
    }
}

std::string FramePacker::pack(std::span<const Chunk> chunks, bool ends_file) {
    std::string body;
    put_varint(body, chunks.size() * 2 + (ends_file ? 1 : 0));
    put_varint(body, static_cast<std::uint64_t>(chunks.front().start_line));
    put_varint(body, _dictionary ? static_cast<std::uint64_t>(_dictionary->id()) : 0);
    _texts.clear();
    for (const Chunk& chunk : chunks) {
        put_varint(body, static_cast<std::uint64_t>(chunk.end_line - chunk.start_line + 1));
        put_varint(body, chunk.text.size());
        _texts += chunk.text;
    }
    if (_texts.size() > MAX_FRAME_BYTES) throw std::length_error("chunks of more than 256 MiB");
    put_hash(body, hash_of(body, _texts));
    const std::size_t head = body.size();
    const int texts_size = static_cast<int>(_texts.size());
    body.resize(head + static_cast<std::size_t>(LZ4_compressBound(texts_size)));
    // A copy of the stream that has read the dictionary: each packer reads it once, not once for
    // each frame.
    std::memcpy(_stream.get(), _after_dictionary.get(), sizeof(LZ4_streamHC_t));
    const int size = LZ4_compress_HC_continue(_stream.get(), _texts.data(), body.data() + head,
                                              texts_size, static_cast<int>(body.size() - head));
    if (size <= 0) throw std::runtime_error("LZ4 cannot compress a frame");
    body.resize(head + static_cast<std::size_t>(size));
    body.shrink_to_fit();
    return body;
}

void seal_frame(std::string& body, std::int64_t rowid) {
    ByteReader reader(body, WHAT, rowid);
    for (std::uint64_t numbers = reader.varint() / 2 * 2 + 2; numbers > 0; --numbers) {
        reader.varint();
    }
    const std::size_t head = body.size() - reader.rest().size();
    std::string hash;
    put_hash(hash, read_hash(reader.take(HASH_BYTES)) ^ seal_of(rowid));
    body.replace(head, HASH_BYTES, hash);
}

PackedFrame::PackedFrame(const Database& db, Dictionaries& dictionaries, std::int64_t rowid,
                         std::string body)
    : _rowid(rowid), _body(std::move(body)) {
    ByteReader reader(_body, WHAT, _rowid);
    const std::uint64_t head = reader.varint();
    const std::uint64_t chunks = head / 2;
    _ends_file = head % 2 == 1;
    if (chunks == 0 || chunks > FRAME_CHUNKS) reader.damaged("its number of chunks is wrong");
    std::uint64_t line = reader.varint();
    if (line == 0) reader.damaged("its line numbers are wrong");
    const auto dictionary_id = static_cast<std::int64_t>(reader.varint());
    _parts.reserve(chunks);
    for (std::uint64_t i = 0; i < chunks; ++i) {
        const std::uint64_t lines = reader.varint();
        const std::uint64_t size = reader.varint();
        // A difference: a sum could overflow.
        if (size > MAX_FRAME_BYTES - _texts_size) reader.damaged("its texts are too large");
        if (line > MAX_LINE_NUMBER || lines > MAX_LINE_NUMBER) {
            reader.damaged("its line numbers are wrong");
        }
        _parts.push_back({static_cast<std::int64_t>(line),
                          static_cast<std::int64_t>(line + lines - 1), _texts_size, size});
        line += lines;
        _texts_size += size;
    }
    _head_size = _body.size() - reader.rest().size();
    reader.take(HASH_BYTES);
    if (dictionary_id == 0) return;
    _dictionary = dictionaries.find(db, dictionary_id);
    if (!_dictionary) reader.damaged("its dictionary is missing");
}

bool PackedFrame::shows(std::int64_t rowid) const {
    const std::int64_t position = rowid - _rowid;
    if (position >= static_cast<std::int64_t>(_parts.size())) return false;
    const Part& part = _parts[static_cast<std::size_t>(position)];
    return part.start_line <= part.end_line;
}

void PackedFrame::check() {
    _unpacked.run([this] { _unpack(); });
}

std::string_view PackedFrame::text(std::size_t position) {
    check();
    return {_texts.get() + _parts[position].offset, _parts[position].size};
}

void PackedFrame::_unpack() {
    const std::string_view head = std::string_view(_body).substr(0, _head_size);
    const std::string_view hash = std::string_view(_body).substr(_head_size, HASH_BYTES);
    const std::string_view packed = std::string_view(_body).substr(_head_size + HASH_BYTES);
    const ByteReader reader(packed, WHAT, _rowid);
    // Not a std::string, which would fill it with zeros first.
    std::unique_ptr<char[]> texts(new char[_texts_size + 1]);
    if (!unpack(packed, _dictionary, texts.get(), _texts_size)) {
        reader.damaged("it does not unpack to its texts");
    }
    const std::uint64_t computed = hash_of(head, {texts.get(), _texts_size});
    // Schema 3.2.0 sealed no frame, and 3.3.0 seals each: no hash fits both ways.
    const std::uint64_t stored = read_hash(hash);
    if (stored != (computed ^ seal_of(_rowid)) && stored != computed) {
        reader.damaged("its bytes do not match their hash");
    }
    _texts = std::move(texts);
    // From here on the texts are kept, and not the packed bytes too.
    std::string().swap(_body);
}

StoredText::StoredText(std::string text)
    : _text(std::make_shared<const std::string>(std::move(text))) {}

StoredText::StoredText(std::shared_ptr<PackedFrame> frame, std::size_t position)
    : _frame(std::move(frame)), _position(position) {}

std::size_t StoredText::size_bytes() const {
    return _frame ? _frame->parts()[_position].size : _text->size();
}

std::string_view StoredText::view() const {
    return _frame ? _frame->text(_position) : std::string_view(*_text);
}

}  // namespace codetext::chunk_store
