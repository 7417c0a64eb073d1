#pragma once

// The zstd dictionaries of an index. Each frame of chunks names the one that it was compressed
// with, so that an index may hold several.

#include <zstd.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "storage/chunk_store/writer.hpp"
#include "storage/database.hpp"

namespace codetext::chunk_store {

/// A trained dictionary, by the id that zstd writes into each frame.
class Dictionary {
  public:
    explicit Dictionary(std::string bytes);
    std::uint32_t id() const;
    const std::string& bytes() const { return _bytes; }
    /// Digested for reading; shared by threads.
    const ZSTD_DDict* for_reading() const { return _digested.get(); }

  private:
    struct Free {
        void operator()(ZSTD_DDict* digested) const { ZSTD_freeDDict(digested); }
    };
    std::string _bytes;
    std::unique_ptr<ZSTD_DDict, Free> _digested;
};

/// The dictionaries of one database, each read when a frame first asks for it.
class DictionaryShelf {
  public:
    /// Null for id 0 (no dictionary) and for one that the index does not hold.
    DictionaryHandle find(const Database& db, std::uint32_t id);

  private:
    std::mutex _mutex;
    std::unordered_map<std::uint32_t, DictionaryHandle> _dictionaries;
};

}  // namespace codetext::chunk_store
