// Any bytes in the place of an index: each command ends, with a failure of ours if it fails, and
// shows no line that does not match. The pages get their checksums, which would hide the rest.

#include "fuzz.hpp"
#include "search/run/line_renderer.hpp"
#include "search/run/search_run.hpp"
#include "storage/database/page_checksum.hpp"
#include "storage/schema.hpp"
#include "storage/verify.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::fuzz {

namespace fs = std::filesystem;

void put_checksums(std::string& bytes) {
    if (bytes.size() < page_checksum::HEADER_BYTES) return;
    const page_checksum::Header header = page_checksum::read_header(bytes);
    if (!header.has_checksums || header.page_bytes == 0) return;
    for (std::size_t page = 0; (page + 1) * header.page_bytes <= bytes.size(); ++page) {
        page_checksum::put({&bytes[page * header.page_bytes], header.page_bytes},
                           static_cast<std::int64_t>(page) + 1);
    }
}

void search_all(Database& db, const std::string& pattern) {
    const search::SearchOptions options{.query = search::make_query({.patterns = {pattern}}),
                                        .filter = {},
                                        .wants = {.before = 1, .after = 1},
                                        .threads = 1};
    const auto check = [&](const code_text::FileRow&, const search::ResultLine& line) {
        const bool matches = !search::match_spans(options.query, line.text).empty();
        require(matches == line.is_match(), "the lines shown as matches are those that match");
        return std::string();
    };
    search::run_search(db, options, test_support::renderer(check),
                       [](std::string_view, bool) { return true; });
}

template <typename Use>
void with_index(const fs::path& path, Access access, const Use& use) {
    try {
        Database db = schema::open_any_version(path, access);
        use(db);
    } catch (const DatabaseError&) {
    } catch (const schema::UnusableIndex&) {
    } catch (const chunk_store::DamagedChunk&) {
    }
}

void target(Input input) {
    static const test_support::TempFolder folder;
    static const fs::path path = schema::index_path(folder.path());
    std::string bytes = input.rest();
    put_checksums(bytes);
    fs::remove_all(path.parent_path());
    folder.write(".codetext/index/code.db", bytes);
    with_index(path, Access::READ_ONLY, [](Database& db) { schema::verify(db); });
    for (const char* pattern : {"needle", "[a-z]+ = [0-9]", "int|return"}) {
        with_index(path, Access::READ_ONLY, [&](Database& db) { search_all(db, pattern); });
    }
    with_index(path, Access::READ_WRITE, [](Database& db) { schema::upgrade(db); });
}

}  // namespace codetext::fuzz
