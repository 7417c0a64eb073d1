#include "indexer/process.hpp"

#include <gtest/gtest.h>

#include <system_error>

namespace codetext::indexer {
namespace {

const std::vector<std::string> ENVIRONMENT = {"PATH=/usr/bin:/bin", "GREETING=hello"};

TEST(process, gives_output_errors_and_status) {
    const ProcessResult result =
        run_process({"sh", "-c", "echo \"$GREETING\"; echo oh >&2; cat; exit 3"}, ENVIRONMENT);
    EXPECT_EQ(result.output, "hello\n");
    EXPECT_EQ(result.errors, "oh\n");
    EXPECT_EQ(result.status, 3);
}

TEST(process, is_not_held_up_by_output_larger_than_a_pipe) {
    const ProcessResult result = run_process(
        {"sh", "-c", "head -c 1000000 /dev/zero >&2; head -c 2000000 /dev/zero"}, ENVIRONMENT);
    EXPECT_EQ(result.output.size(), 2'000'000U);
    EXPECT_EQ(result.errors.size(), 1'000'000U);
}

TEST(process, tells_the_signal_that_ended_it) {
    EXPECT_EQ(run_process({"sh", "-c", "kill -9 $$"}, ENVIRONMENT).status, 128 + 9);
}

TEST(process, throws_for_a_program_that_is_not_there) {
    EXPECT_THROW(run_process({"codetext-no-such-program"}, ENVIRONMENT), std::system_error);
}

}  // namespace
}  // namespace codetext::indexer
