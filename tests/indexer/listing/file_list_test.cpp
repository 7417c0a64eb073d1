// What a listing tells of each file. Which files it names is shown in tests/cli/transcripts/git.txt
// and listing.txt.

#include "indexer/listing/file_list.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "indexer/listing/file_status.hpp"
#include "utils/open_below.hpp"
#include "utils/reference.hpp"
#include "utils/temp_folder.hpp"

namespace codetext::indexer {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(file_list, has_size_and_time_in_path_order_and_reports_paths_that_are_no_utf8) {
    for (const bool in_git : {false, true}) {
        const test_support::TempFolder folder;
        const std::vector<std::string> names = reference::words("a.c a/b a0 plain");
        for (const std::string& name : names) folder.write(name, name);
        for (const char* name : {"caf\xE9", "d/\xFF/x"}) folder.write(name, "");
        const std::string make_repository = "git init -q '" + folder.path().string() + "'";
        ASSERT_EQ(in_git ? std::system(make_repository.c_str()) : 0, 0);
        for (const unsigned threads : {1U, 2U, 4U}) {
            const FileList list = list_files(folder.path(), threads);
            EXPECT_THAT(list.warnings,
                        ElementsAre(HasSubstr("caf\uFFFD"), HasSubstr("d/\uFFFD/x")));
            ASSERT_EQ(list.files.size(), names.size());
            for (std::size_t i = 0; i < names.size(); ++i) {
                struct stat status {};
                ASSERT_EQ(::lstat((folder.path() / names[i]).c_str(), &status), 0);
                EXPECT_EQ(list.files[i].path, names[i]);
                EXPECT_EQ(list.files[i].stamp, stamp_of(status));
            }
        }
    }
}

TEST(file_list, warns_of_paths_that_lead_out_or_are_too_long) {
    const test_support::TempFolder folder;
    folder.write("new", "");
    const std::vector<std::string> too_long = {"new", std::string(300, 'x')},
                                   outside = {"../" + folder.path().filename().string() + "/new"};
    EXPECT_THAT(look_at_paths(open_root(folder.path()), outside, 1).warnings,
                ElementsAre(HasSubstr("leads out")));
    EXPECT_THAT(look_at_paths(open_root(folder.path()), too_long, 2).warnings,
                ElementsAre(HasSubstr("File name too long")));
}

}  // namespace
}  // namespace codetext::indexer
