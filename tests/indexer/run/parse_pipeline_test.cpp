#include "indexer/run/parse_pipeline.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <system_error>

#include "storage/temp_index.hpp"
#include "utils/binary.hpp"
#include "utils/open_below.hpp"

namespace codetext::indexer {
namespace {

namespace fs = std::filesystem;

TEST(parse_pipeline, keeps_a_file_on_disk_that_is_too_large_or_has_too_many_lines) {
    const test_support::TempFolder folder;
    const std::int64_t most_lines = chunk_store::MAX_FILE_CHUNKS * 64;
    folder.write("large", std::string(BINARY_TEST_BYTES, 'x'));  // and NULs, which take no disk
    fs::resize_file(folder.path() / "large", MAX_CHUNKED_FILE_BYTES + 1);
    folder.write("lines", std::string(most_lines + 1, '\n'));
    for (const char* path : {"large", "lines"}) {
        chunk_store::Packer packer(chunk_store::CODE_CHUNKS, nullptr);
        const PlannedFile file{{path, 0, 0}, "", std::nullopt, std::nullopt};
        EXPECT_EQ(parse_file(open_root(folder.path()), file, packer).outcome, Outcome::KEPT_ON_DISK)
            << path;
    }
}

TEST(parse_pipeline, fails_when_the_process_has_no_descriptors_left) {
    const test_support::TempFolder folder;
    folder.write("f", "text\n");
    std::vector<PlannedFile> files;
    for (const char* path : {"missing", "f"}) {
        files.push_back({{path, 20 << 20, 0}, "", std::nullopt, std::nullopt});
    }
    const Descriptor root = open_root(folder.path());
    ParsePipeline pipeline = parse_files(root, files, chunk_store::COMPRESSED, nullptr, 0);
    // UBSan needs descriptors to look at a type of exception for the first time.
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
