#pragma once

// Indexes in temporary folders, for tests.

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "storage/chunk_store/writer.hpp"
#include "storage/code_text.hpp"
#include "storage/schema.hpp"
#include "utils/reference.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::test_support {

/// The layouts that the linked SQLite can make.
inline std::vector<chunk_store::Layout> layouts() {
    if (chunk_store::default_layout() == chunk_store::COMPRESSED) {
        return {chunk_store::COMPRESSED, chunk_store::CODE_CHUNKS};
    }
    return {chunk_store::CODE_CHUNKS};
}

/// An index of files that tests put there, with the files on disk beside it.
class TempIndex {
  public:
    explicit TempIndex(chunk_store::Layout wanted)
        : layout(wanted), db(schema::open_or_create_index(folder.path(), wanted)) {}

    /// Adds or replaces a file, in the index and on disk.
    code_text::FileRow put(std::int64_t file_id, const std::string& path, const std::string& text) {
        folder.write(path, text);
        add_row(file_id, path, 0);
        store(file_id, text);
        return {file_id, path, "text", std::nullopt};
    }

    void add_row(std::int64_t file_id, const std::string& path, std::int64_t text_on_disk) {
        db.execute(
            "INSERT OR REPLACE INTO files(id, path, language, size, mtime_ns, content_hash, "
            "text_on_disk) VALUES (?, ?, 'text', 0, 0, 0, ?)",
            {file_id, path, text_on_disk});
    }

    /// Stores the text's chunks in a transaction of its own.
    void store(std::int64_t file_id, const std::string& text) {
        chunk_store::Packer packer(layout, chunk_store::load_dictionary(db));
        Transaction transaction(db, Transaction::Kind::WRITE);
        chunk_store::Writer writer(db, layout);
        writer.put(file_id, packer.pack(code_text::code_chunks(text)));
        writer.flush();
        transaction.commit();
    }

    void drop(std::int64_t file_id) {
        Transaction transaction(db, Transaction::Kind::WRITE);
        chunk_store::Writer writer(db, layout);
        writer.drop(file_id);
        writer.flush();
        db.execute("DELETE FROM files WHERE id = ?", {file_id});
        transaction.commit();
    }

    TempFolder folder;
    chunk_store::Layout layout;
    Database db;
};

/// A text of `count` lines: `prefix` and the line's number.
inline std::string numbered_lines(int count, const std::string& prefix = "line ") {
    std::string text;
    for (int i = 1; i <= count; ++i) text += prefix + std::to_string(i) + "\n";
    return text;
}

inline std::vector<std::string> strings(const code_text::Lines& lines) {
    std::vector<std::string> all;
    for (const std::string_view line : lines) all.emplace_back(line);
    return all;
}

/// A random text over pieces that make line splitting, decoding and folding go wrong.
inline std::string nasty_text(std::mt19937& random, int pieces) {
    using namespace std::string_view_literals;
    static const std::vector<std::string> PIECES = reference::words(
        "a,b,ab,Foo,foo,\n,\r\n,\r,\v,\x1c,\u0085,\u2028, ,K,k,\u212a,\u0130,\u03a3,\u00e9,x_y,\t,"
        "int main(){},%,_,ABC,abc,\U0001F600,\0"sv,
        ',');
    std::string text;
    for (int i = 0; i < pieces; ++i) text += PIECES[random() % PIECES.size()];
    return text;
}

}  // namespace codetext::test_support
