#include "storage/chunk_store/dictionary.hpp"

#include <zdict.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace codetext::chunk_store {

namespace {

/// zstd's own advice: past about 100 KB a dictionary gains little.
constexpr std::size_t MAX_DICTIONARY_BYTES = 110 << 10;
/// A dictionary should be trained on about a hundred times its size.
constexpr std::size_t SAMPLES_PER_DICTIONARY_BYTE = 64;

}  // namespace

Dictionary::Dictionary(std::string bytes)
    : _bytes(std::move(bytes)), _digested(ZSTD_createDDict(_bytes.data(), _bytes.size())) {
    if (!_digested) throw std::bad_alloc();
}

std::uint32_t Dictionary::id() const { return ZDICT_getDictID(_bytes.data(), _bytes.size()); }

DictionaryHandle DictionaryShelf::find(const Database& db, std::uint32_t id) {
    if (id == 0) return nullptr;
    const std::lock_guard lock(_mutex);
    if (auto found = _dictionaries.find(id); found != _dictionaries.end()) return found->second;
    auto row = db.fetchone("SELECT body FROM chunk_dictionaries WHERE id = ?", {std::int64_t{id}});
    if (!row) return nullptr;
    return _dictionaries.emplace(id, std::make_shared<const Dictionary>(row->blob(0)))
        .first->second;
}

DictionaryHandle load_dictionary(const Database& db) {
    if (layout(db) != COMPRESSED) return nullptr;
    auto row =
        db.fetchone("SELECT body FROM chunk_dictionaries ORDER BY added DESC, id DESC LIMIT 1");
    return row ? std::make_shared<const Dictionary>(row->blob(0)) : nullptr;
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
    std::string bytes(std::min(MAX_DICTIONARY_BYTES, joined.size() / SAMPLES_PER_DICTIONARY_BYTE),
                      '\0');
    const std::size_t size =
        ZDICT_trainFromBuffer(bytes.data(), bytes.size(), joined.data(), sizes.data(),
                              static_cast<unsigned>(sizes.size()));
    if (ZDICT_isError(size)) return nullptr;
    bytes.resize(size);
    auto dictionary = std::make_shared<const Dictionary>(std::move(bytes));
    db.execute(
        "INSERT OR IGNORE INTO chunk_dictionaries(id, added, body) "
        "VALUES (?, (SELECT coalesce(max(added), 0) + 1 FROM chunk_dictionaries), ?)",
        {std::int64_t{dictionary->id()}, BlobView{dictionary->bytes()}});
    return dictionary;
}

}  // namespace codetext::chunk_store
