#pragma once

// A temporary repository with an index, for tests of whole searches.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "indexer/index_run.hpp"
#include "storage/schema.hpp"

namespace codetext::search {

class IndexedFiles {
  public:
    IndexedFiles(const std::map<std::string, std::string>& files, chunk_store::Layout layout)
        : _root(_new_directory()) {
        for (const auto& [path, bytes] : files) write(path, bytes);
        indexer::IndexOptions options;
        options.layout = layout;
        indexer::index_repository(_root, options);
    }
    ~IndexedFiles() { std::filesystem::remove_all(_root); }
    IndexedFiles(const IndexedFiles&) = delete;
    IndexedFiles& operator=(const IndexedFiles&) = delete;

    void write(const std::string& path, const std::string& bytes) const {
        std::filesystem::create_directories((_root / path).parent_path());
        std::ofstream(_root / path, std::ios::binary) << bytes;
    }
    Database open(Access access = Access::READ_ONLY) const {
        return schema::open_index(schema::index_path(_root), access);
    }

  private:
    static std::filesystem::path _new_directory() {
        std::string name = std::filesystem::temp_directory_path() / "codetext-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
        return name;
    }
    std::filesystem::path _root;
};

}  // namespace codetext::search
