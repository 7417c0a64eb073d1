// Damage to the file of an index: each flipped bit and each cut is found by verify, and no search
// gives another answer for it.

#include <gmock/gmock.h>

#include "storage/temp_index.hpp"
#include "storage/verify.hpp"

namespace codetext {
namespace {

namespace fs = std::filesystem;

/// All that searches of the index find; throws where one meets damage.
std::string answers(const fs::path& path) {
    const Database db = schema::open_index(path, Access::READ_ONLY);
    schema::check_filled(db);
    const auto layout = chunk_store::layout(db).value();
    std::vector<code_text::FileRow> files;
    for (const Row& row : db.fetchall("SELECT id, path FROM files ORDER BY path")) {
        files.push_back({row.integer(0), row.text(1), "text", std::nullopt});
    }
    std::string all;
    for (const auto& needle : {std::optional<std::string>(), {"needle 77"}, {"no such needle"}}) {
        auto choice = code_text::text_source(db, files, needle, true, layout);
        all += choice.reason.value_or("from the index\n");
        for (const code_text::FileRow& file : files) {
            all += file.path + "\n";
            for (const auto& one : code_text::segments(choice.source, file.file_id, file.path)) {
                const std::string_view text = one.lines.text();
                if (!needle || text.find(*needle) != text.npos) all += text;
            }
        }
    }
    return all;
}

class Damage : public ::testing::TestWithParam<chunk_store::Layout> {
  protected:
    Damage() {
        {
            test_support::TempIndex index(GetParam());
            std::mt19937 random(1);
            for (std::int64_t id = 1; id <= 40; ++id) {
                std::string text = test_support::numbered_lines(500, "needle ");
                for (int i = 0; i < 3000; ++i) text += static_cast<char>('!' + random() % 94);
                index.put(id, "f" + std::to_string(id), text);
            }
            schema::set_filled(index.db);
            index.db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
            root_page =
                index.db
                    .fetchone("SELECT rootpage FROM sqlite_master WHERE name = ?",
                              {GetParam() == chunk_store::COMPRESSED ? "chunk_frames"
                                                                     : "code_chunks_content"})
                    ->integer(0);
            folder.write("whole.db", index.folder.read(".codetext/index/code.db"));
        }
        whole = folder.read("whole.db");
        page_bytes = static_cast<std::size_t>(static_cast<unsigned char>(whole[16])) << 8;
    }
    /// What verify says of `bytes`, after checking that searches are right or fail.
    std::string verified(const std::string& bytes, const std::string& right) const {
        folder.write("hurt.db", bytes);
        const fs::path path = folder.path() / "hurt.db";
        try {
            EXPECT_EQ(answers(path), right);
        } catch (const DatabaseError&) {
        } catch (const schema::UnusableIndex&) {
        } catch (const chunk_store::DamagedChunk&) {
        }
        try {
            std::string all;
            for (const std::string& problem : schema::verify_file(path)) all += problem + "\n";
            return all;
        } catch (const schema::UnusableIndex& refusal) {
            return refusal.what();
        }
    }

    test_support::TempFolder folder;
    std::string whole;
    std::size_t page_bytes = 0;
    std::int64_t root_page = 0;
};

TEST_P(Damage, is_found_and_changes_no_answer) {
    const std::string right = answers(folder.path() / "whole.db");
    ASSERT_EQ(verified(whole, right), "");
    const std::size_t pages = whole.size() / page_bytes;
    ASSERT_GT(pages, 12u);
    std::mt19937 random(20261123);
    for (int round = 0; round < 160; ++round) {
        std::string hurt = whole;
        if (round % 8 == 7) {
            hurt.resize(random() % whole.size());
        } else {
            const std::size_t head = random() % pages * page_bytes + random() % 200;
            const std::size_t byte = round % 2 == 0 ? head : random() % whole.size();
            hurt[byte] = static_cast<char>(hurt[byte] ^ 1 << random() % 8);
        }
        EXPECT_NE(verified(hurt, right), "") << round;
    }
    std::string hurt = whole;
    hurt[static_cast<std::size_t>(root_page) * page_bytes - 100] ^= 1;
    const std::string table =
        GetParam() == chunk_store::COMPRESSED ? "chunk_frames" : "code_chunks_content";
    EXPECT_THAT(verified(hurt, right),
                testing::AllOf(testing::HasSubstr("page " + std::to_string(root_page) + " of "),
                               testing::HasSubstr("the table " + table)));
}

INSTANTIATE_TEST_SUITE_P(layouts, Damage, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& layout) { return std::string(layout.param.name); });

}  // namespace
}  // namespace codetext
