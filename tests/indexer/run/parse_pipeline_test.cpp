#include "indexer/run/parse_pipeline.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <stdexcept>
#include <system_error>

#include "storage/temp_index.hpp"
#include "utils/open_below.hpp"

namespace codetext::indexer {
namespace {

using test_support::TempFolder;

/// A file that is not as large as it was when it was listed.
PlannedFile planned(const std::string& path) {
    return {{path, 20 << 20, 0}, "", std::nullopt, std::nullopt};
}

ParsePipeline parse(const TempFolder& folder, const std::vector<PlannedFile>& files,
                    unsigned threads) {
    static Descriptor root;
    root = open_root(folder.path());
    return parse_files(root, files, chunk_store::COMPRESSED, nullptr, threads);
}

TEST(parse_pipeline, parses_in_order_and_fails_at_the_file_that_fails) {
    TempFolder folder;
    std::vector<PlannedFile> files;
    for (int i = 0; i < 70; ++i) {
        const std::string path = "f" + std::to_string(i);
        if (i != 60) folder.write(path, test_support::numbered_lines(64 * (1 + i * 37 % 50)));
        files.push_back(planned(path));
    }
    for (const unsigned threads : {0U, 1U, 4U}) {
        ParsePipeline pipeline = parse(folder, files, threads);
        for (std::size_t i = 0; i < 70; ++i) {
            const ParsedFile parsed = pipeline.next();
            EXPECT_EQ(parsed.outcome, i == 60 ? Outcome::UNREADABLE : Outcome::CHUNKS) << i;
            EXPECT_EQ(parsed.error, i == 60 ? "No such file or directory" : "");
            EXPECT_EQ(parsed.packed.lines.size(), i == 60 ? 0 : 1 + i * 37 % 50) << i;
        }
    }
}

TEST(parse_pipeline, fails_when_the_process_has_no_descriptors_left) {
    TempFolder folder;
    folder.write("f", "text\n");
    const std::vector<PlannedFile> files = {planned("missing"), planned("f")};
    ParsePipeline pipeline = parse(folder, files, 0);
    // A first failure too: UBSan needs descriptors to look at a type of exception for the first
    // time.
    EXPECT_EQ(pipeline.next().outcome, Outcome::UNREADABLE);
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const struct rlimit none { 0, before.rlim_max };
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_THROW(pipeline.next(), std::system_error);
    ::setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace codetext::indexer
