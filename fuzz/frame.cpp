// Frames: any body is read or is damage, what was packed reads back, and a changed byte shows.

#include <fmt/format.h>

#include "fuzz.hpp"
#include "storage/chunk_store/compressed/packed_frame.hpp"
#include "utils/reference.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::fuzz {

using namespace chunk_store;

/// The texts of the frame, each behind its lines; none when it is damaged.
std::optional<std::string> texts_of(const Database& db, std::string body) {
    static Dictionaries dictionaries;
    try {
        PackedFrame frame(db, dictionaries, 7340032, std::move(body));
        std::string texts;
        for (std::size_t i = 0; i < frame.parts().size(); ++i) {
            const PackedFrame::Part& part = frame.parts()[i];
            texts += fmt::format("{} {} {}\n", part.start_line, part.end_line, frame.text(i));
        }
        return texts;
    } catch (const DamagedChunk&) {
        return std::nullopt;
    }
}

void target(Input input) {
    static const test_support::TempFolder folder;
    static const std::string dictionary = "int main(void) { return 0; }";
    static Database db(folder.path() / "db", Access::CREATE);
    static const bool is_made = [] {
        db.execute("CREATE TABLE chunk_dictionaries(id INTEGER PRIMARY KEY, body BLOB)");
        db.execute("INSERT INTO chunk_dictionaries VALUES (1, ?)", {BlobView{dictionary}});
        return true;
    }();
    require(is_made, "a table is made");
    texts_of(db, input.rest());

    const bool has_dictionary = input.number(1) % 2 == 1;
    const std::uint32_t place = input.number(2), change = input.number(1);
    FramePacker packer(has_dictionary ? std::make_shared<const Dictionary>(1, dictionary)
                                      : nullptr);
    std::vector<Chunk> chunks;
    std::string expected;
    for (const std::string& text : reference::words(input.rest(), '\n')) {
        const std::int64_t line = chunks.empty() ? 1 + place : chunks.back().end_line + 1;
        if (chunks.size() == FRAME_CHUNKS) break;
        chunks.push_back({line, line + static_cast<std::int64_t>(text.size()), text});
        expected += fmt::format("{} {} {}\n", line, chunks.back().end_line, text);
    }
    if (chunks.empty()) return;
    std::string body = packer.pack(chunks, true);
    seal_frame(body, 7340032);
    require(texts_of(db, body) == expected, "a frame reads back");
    body[place % body.size()] = static_cast<char>(change);
    require(texts_of(db, body).value_or(expected) == expected, "a changed byte shows");
}

}  // namespace codetext::fuzz
