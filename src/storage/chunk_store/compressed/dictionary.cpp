// A dictionary is chosen by ZDICT's fastCover: it scores pieces of the samples by how often their
// short sequences come, and takes the best of each part of the samples, in linear time (after
// M. Liao et al., "Effective construction of relative Lempel-Ziv dictionaries", WWW 2016).

#include "storage/chunk_store/compressed/dictionary.hpp"

#define ZDICT_STATIC_LINKING_ONLY  // for the trainer's parameters
#include <zdict.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "storage/chunk_store/limits.hpp"

namespace codetext::chunk_store {

namespace {

/// How far back LZ4 reaches; more would never be used.
constexpr std::size_t MAX_DICTIONARY_BYTES = 64 << 10;
/// Dictionaries kept in memory; a run makes one at most.
constexpr std::size_t MAX_KEPT = 256;
/// Bytes of samples for each byte of a dictionary. (zstd's manual advises about a hundred.)
constexpr std::size_t SAMPLES_PER_DICTIONARY_BYTE = 64;

/// What the trainer looks for: pieces of 64 bytes made of frequent sequences of six bytes. zstd
/// would take longer pieces. With these, the kernel's frames are 1% smaller than with what
/// ZDICT_trainFromBuffer finds by trial, and training takes a sixth of its time.
ZDICT_fastCover_params_t trainer() {
    ZDICT_fastCover_params_t parameters{};
    parameters.k = 64;
    parameters.d = 6;
    parameters.f = 20;
    parameters.accel = 2;
    return parameters;
}

DictionaryHandle dictionary_of(std::int64_t id, std::string bytes) {
    if (bytes.size() > MAX_DICTIONARY_BYTES) throw_damage("dictionary", id, "it is too large");
    return std::make_shared<const Dictionary>(id, std::move(bytes));
}

/// The text of a dictionary that zstd trained, without the tables before it, which are zstd's own.
/// Its best part is at the end, next to the frame.
std::string content_of(std::string_view trained) {
    const std::size_t header = ZDICT_getDictHeaderSize(trained.data(), trained.size());
    return std::string(trained.substr(ZDICT_isError(header) ? 0 : header));
}

}  // namespace

DictionariesHandle make_dictionaries() { return std::make_shared<Dictionaries>(); }

std::unique_ptr<Dictionary::Room> Dictionary::take_room() const {
    {
        const std::lock_guard lock(_mutex);
        if (std::unique_ptr<Room> room = std::move(_rooms)) {
            _rooms = std::move(room->next);
            return room;
        }
    }
    auto room = std::make_unique<Room>();
    room->bytes.reset(new char[_bytes.size() + TEXT_BYTES]);
    std::memcpy(room->bytes.get(), _bytes.data(), _bytes.size());
    return room;
}

void Dictionary::give_back(std::unique_ptr<Room> room) const {
    const std::lock_guard lock(_mutex);
    room->next = std::move(_rooms);
    _rooms = std::move(room);
}

DictionaryHandle Dictionaries::find(const Database& db, std::int64_t id) {
    if (id == 0) return nullptr;
    const std::lock_guard lock(_mutex);
    if (auto found = _dictionaries.find(id); found != _dictionaries.end()) return found->second;
    auto row = db.fetchone("SELECT body FROM chunk_dictionaries WHERE id = ?", {id});
    if (!row) return nullptr;
    // Frames hold handles of their own, so none loses its dictionary by this.
    if (_dictionaries.size() == MAX_KEPT) _dictionaries.clear();
    return _dictionaries.emplace(id, dictionary_of(id, row->blob(0))).first->second;
}

DictionaryHandle load_dictionary(const Database& db) {
    if (layout(db) != COMPRESSED) return nullptr;
    auto row = db.fetchone("SELECT id, body FROM chunk_dictionaries ORDER BY id DESC LIMIT 1");
    if (!row) return nullptr;
    return dictionary_of(row->integer(0), row->blob(1));
}

DictionaryHandle train_dictionary(Database& db, std::span<const std::string> samples) {
    std::string joined;
    std::vector<std::size_t> sizes;
    for (const std::string& sample : samples) {
        if (sample.empty()) continue;
        if (joined.size() + sample.size() > DICTIONARY_SAMPLE_BYTES) break;
        joined += sample;
        sizes.push_back(sample.size());
    }
    if (joined.size() < DICTIONARY_MIN_BYTES) return nullptr;
    std::string trained(std::min(MAX_DICTIONARY_BYTES, joined.size() / SAMPLES_PER_DICTIONARY_BYTE),
                        '\0');
    const std::size_t size =
        ZDICT_trainFromBuffer_fastCover(trained.data(), trained.size(), joined.data(), sizes.data(),
                                        static_cast<unsigned>(sizes.size()), trainer());
    if (ZDICT_isError(size)) return nullptr;
    trained.resize(size);
    std::string content = content_of(trained);
    db.execute("INSERT INTO chunk_dictionaries(body) VALUES (?)", {BlobView{content}});
    return std::make_shared<const Dictionary>(db.last_insert_rowid(), std::move(content));
}

}  // namespace codetext::chunk_store
