#include "cli/index_command.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>

#include "cli/output.hpp"
#include "cli/progress_line.hpp"
#include "cli/waiting.hpp"
#include "indexer/run/index_run.hpp"

namespace codetext::cli {
namespace {

using Clock = std::chrono::steady_clock;

indexer::IndexOptions options_of(const IndexArguments& arguments, schema::Owners owners,
                                 ProgressLine& line, Clock::time_point& begin) {
    indexer::IndexOptions options;
    options.lock = lock_options(owners, indexer::Work::INDEX, arguments.repository.no_wait);
    // What it waits is not its own time.
    options.lock.wait = [&begin, wait = std::move(options.lock.wait)](const auto& busy) {
        const bool goes_on = wait(busy);
        begin = Clock::now();
        return goes_on;
    };
    if (arguments.layout == chunk_store::COMPRESSED.name) options.layout = chunk_store::COMPRESSED;
    if (arguments.layout == chunk_store::CODE_CHUNKS.name) {
        options.layout = chunk_store::CODE_CHUNKS;
    }
    if (arguments.force) options.trust = indexer::Trust::NOTHING;
    options.threads = static_cast<unsigned>(arguments.jobs);
    options.progress = [&line](std::int64_t done, std::int64_t total) { line.show(done, total); };
    return options;
}

}  // namespace

Command index_command(IndexArguments& arguments) {
    constexpr std::int64_t MAX_JOBS = 256;
    Command command = repository_command(
        "index", "Make the index of a repository, or bring it up to date with its files",
        arguments.repository);
    command.options = {
        {0, "layout", "LAYOUT", "Options",
         "How a new index keeps the text: compressed (the default from SQLite 3.43 on) or "
         "code_chunks",
         Choice{&arguments.layout, {chunk_store::COMPRESSED.name, chunk_store::CODE_CHUNKS.name}}},
        {'j', "jobs", "N", "Options", "Threads that read files, 1 to 256 (default: one a core)",
         Number{&arguments.jobs, 1, MAX_JOBS}},
        {0, "force", "", "Options",
         "Read every file again, whatever its size and times say; only text that differs is stored",
         Flag{&arguments.force}},
        no_wait_option(arguments.repository),
    };
    return command;
}

std::vector<std::string> problems_of(const indexer::IndexReport& result) {
    std::vector<std::string> problems = result.warnings;
    for (const indexer::UnreadableFile& file : result.unreadable) {
        problems.push_back(fmt::format("cannot read {}: {}", file.path, file.reason));
    }
    return problems;
}

void report_problems(const indexer::IndexReport& result) {
    for (const std::string& problem : problems_of(result)) report(problem);
}

void print_summary(const indexer::IndexReport& report, Clock::duration elapsed) {
    for (const schema::UpgradeStep& step : report.upgrade_steps) {
        print_line(fmt::format("upgraded {} to {}: {}", step.from, step.to, step.what));
    }
    fmt::print(
        "indexed {} files ({} new, {} changed, {} gone, {} kept on disk, {} binary skipped, "
        "{} unreadable) in {:.2f} s\n",
        report.files, report.new_files, report.changed_files, report.gone_files,
        report.kept_on_disk, report.binary_files, report.unreadable.size(),
        std::chrono::duration<double>(elapsed).count());
}

int index_main(const IndexArguments& arguments, const WhichIndex& which) {
    auto begin = Clock::now();
    ProgressLine line(::isatty(STDERR_FILENO) == 1);
    const indexer::IndexReport result = indexer::index_repository(
        which.root_for(arguments.repository), options_of(arguments, which.owners(), line, begin));
    line.clear();
    report_problems(result);
    print_summary(result, Clock::now() - begin);
    return 0;
}

}  // namespace codetext::cli
