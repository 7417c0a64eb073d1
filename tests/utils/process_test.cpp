#include "utils/process.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <system_error>

#include "utils/descriptor.hpp"

namespace codetext {
namespace {

ProcessResult run_shell(const std::string& script) {
    return run_process({"sh", "-c", script}, {"PATH=/usr/bin:/bin", "GREETING=hello"});
}

TEST(process, gives_output_errors_and_status) {
    const ProcessResult result = run_shell("echo \"$GREETING\"; echo oh >&2; cat; exit 3");
    EXPECT_EQ(result.output, "hello\n");
    EXPECT_EQ(result.errors, "oh\n");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(run_shell("kill -9 $$").status, 128 + 9);
    // More than a pipe holds.
    const ProcessResult large =
        run_shell("head -c 1000000 /dev/zero >&2; head -c 2000000 /dev/zero");
    EXPECT_EQ(large.output.size(), 2'000'000U);
    EXPECT_EQ(large.errors.size(), 1'000'000U);
    EXPECT_THROW(run_process({"codetext-no-such-program"}, {}), std::system_error);
}

TEST(process, does_not_inherit_standard_input) {
    const Descriptor saved(::dup(STDIN_FILENO)), file(::open("/proc/self/status", O_RDONLY));
    ASSERT_EQ(::dup2(file.number(), STDIN_FILENO), STDIN_FILENO);
    EXPECT_EQ(run_shell("cat").output, "");
    ::dup2(saved.number(), STDIN_FILENO);
}

}  // namespace
}  // namespace codetext
