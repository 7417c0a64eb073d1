#include "indexer/run/parse_pipeline.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "storage/temp_index.hpp"

namespace codetext::indexer {
namespace {

using test_support::TempFolder;

PlannedFile planned(const std::string& path, std::int64_t size = 0) {
    return {{path, size, 0}, "", std::nullopt, std::nullopt};
}

TEST(parse_pipeline, hands_results_out_in_order_and_failures_at_their_place) {
    TempFolder folder;
    std::vector<PlannedFile> files;
    for (int i = 0; i < 100; ++i) {
        const std::string path = "f" + std::to_string(i);
        folder.write(path, test_support::numbered_lines(64 * (1 + i * 37 % 50)));
        files.push_back(planned(path));
    }
    files[60] = planned("gone");
    files[70] = planned(std::string("no\0path", 7));

    for (const unsigned threads : {1U, 4U, 200U}) {
        ParsePipeline pipeline(folder.path(), files, chunk_store::COMPRESSED, nullptr, threads);
        for (std::size_t i = 0; i < 70; ++i) {
            const ParsedFile parsed = pipeline.next();
            if (i == 60) {
                EXPECT_EQ(parsed.outcome, Outcome::UNREADABLE);
                EXPECT_EQ(parsed.error, "No such file or directory");
            } else {
                EXPECT_EQ(parsed.outcome, Outcome::CHUNKS) << i;
                EXPECT_EQ(parsed.packed.lines.size(), 1 + i * 37 % 50) << i;
            }
        }
        EXPECT_THROW(pipeline.next(), std::invalid_argument) << threads << " threads";
        EXPECT_EQ(pipeline.next().outcome, Outcome::CHUNKS);
        // The rest is left undone when the pipeline goes.
    }
}

TEST(parse_pipeline, goes_on_when_one_result_takes_more_than_all_may) {
    TempFolder folder;
    folder.write("f", "x\n");
    const std::vector<PlannedFile> files(8, planned("f", 2 * PIPELINE_BYTES));
    ParsePipeline pipeline(folder.path(), files, chunk_store::COMPRESSED, nullptr, 3);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(pipeline.next().outcome, Outcome::CHUNKS);
}

}  // namespace
}  // namespace codetext::indexer
