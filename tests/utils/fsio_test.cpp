#include "utils/fsio.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <system_error>

#include "utils/descriptor.hpp"
#include "utils/fsio_read.hpp"
#include "utils/temp_folder.hpp"

namespace codetext {
namespace {

namespace fs = std::filesystem;
using test_support::TempFolder;

/// errno's number of the failure of `read`; 0 when it succeeds.
template <typename Read>
int error_of(Read read) {
    try {
        read();
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), testing::StartsWith("cannot read "));
        return error.code().value();
    }
    return 0;
}

// A FIFO without a writer would block; /dev/zero would never end, nor would a sparse file soon.
TEST(fsio, refuses_all_but_regular_files_and_leaks_no_descriptor) {
    const TempFolder folder;
    const fs::path& path = folder.path();
    folder.write("file", "x");
    folder.write("sparse", "");
    ASSERT_EQ(::mkfifo((path / "fifo").c_str(), 0600), 0);
    fs::create_symlink("file", path / "link");
    fs::create_directory_symlink(path, path / "folder_link");
    fs::resize_file(path / "sparse", fsio::MAX_FILE_BYTES + 1);
    const auto open_descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = open_descriptors();
    const std::pair<fs::path, int> cases[] = {
        {path / "missing", ENOENT}, {path / "file/below", ENOTDIR},     {path, EISDIR},
        {path / "link", ELOOP},     {path / "folder_link", ELOOP},      {path / "fifo", EINVAL},
        {path / "sparse", EFBIG},   {path / "folder_link" / "file", 0}, {"/dev/zero", EINVAL}};
    for (const auto& [given, error] : cases) {
        EXPECT_EQ(error_of([&] { fsio::read_bytes_no_follow(given); }), error) << given;
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_THROW(fsio::read_bytes_no_follow(std::string("a\0b", 3)), std::invalid_argument);
}

// A pipe of packets gives one at a time: reads that are short without being the last.
TEST(fsio, reads_to_the_end_whatever_size_was_expected) {
    const TempFolder folder;
    for (const std::size_t size : {0u, 1u, 5000u, 10000u, 10001u}) {
        folder.write("file", std::string(size, 'x'));
        for (const std::int64_t expected : {0, 1, 4999, 5000, 5001, 10000, 10001}) {
            const Descriptor file(::open((folder.path() / "file").c_str(), O_RDONLY));
            std::size_t read = 0;
            const int error = error_of([&] {
                read = fsio::_read_to_end(file.number(), expected, "cannot read it", 10000).size();
            });
            const bool too_long = size > 10000 || expected > 10000;
            EXPECT_EQ(error, too_long ? EFBIG : 0) << size << " for " << expected;
            EXPECT_EQ(read, too_long ? 0 : size) << size << " for " << expected;
        }
    }
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_DIRECT | O_CLOEXEC), 0);
    const Descriptor from(ends[0]);
    for (const char* part : {"abc", "de", "fghi"})
        ASSERT_GT(::write(ends[1], part, strlen(part)), 0);
    ::close(ends[1]);
    EXPECT_EQ(fsio::_read_to_end(ends[0], 100, "cannot read it"), "abcdefghi");
}

}  // namespace
}  // namespace codetext
