#include "cli/watch_command.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/exit_status.hpp"
#include "cli/index_command.hpp"
#include "cli/output.hpp"
#include "cli/progress_line.hpp"
#include "cli/stop_signals.hpp"
#include "indexer/watch/watcher.hpp"
#include "utils/platform.hpp"

namespace codetext::cli {
namespace {

using Elapsed = std::chrono::steady_clock::duration;

/// Prints what the watcher tells. What cannot be read is reported once, not after each run.
class WatchOutput {
  public:
    explicit WatchOutput(bool is_quiet) : _is_quiet(is_quiet) {}

    void show_run(const indexer::IndexReport& report, Elapsed elapsed) {
        _line.clear();
        _report_new_problems(problems_of(report));
        const bool is_first = std::exchange(_is_first, false);
        if (is_first && !_is_quiet) print_summary(report, elapsed);
        if (!is_first && !_is_quiet) _print_batch(report, elapsed);
        _flush();
        platform::give_memory_back();
    }

    void show_watching(const std::filesystem::path& root, std::size_t directories) {
        if (_is_quiet) return;
        print_line(fmt::format("watching {} ({} directories)", root.string(), directories));
        _flush();
    }

    ProgressLine& line() { return _line; }

  private:
    static void _print_batch(const indexer::IndexReport& report, Elapsed elapsed) {
        if (report.changed_files + report.new_files + report.gone_files == 0) return;
        print_line(
            fmt::format("{} changed, {} new, {} gone in {} ms", report.changed_files,
                        report.new_files, report.gone_files,
                        std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()));
    }

    /// The index matters more than the lines about it: without a reader they end, the watcher not.
    void _flush() {
        if (_is_quiet || std::fflush(stdout) == 0) return;
        _is_quiet = true;
        if (errno != EPIPE) {
            report(
                fmt::format("cannot write the output: {}", std::generic_category().message(errno)));
        }
    }

    void _report_new_problems(const std::vector<std::string>& problems) {
        for (const std::string& problem : problems) {
            if (!_known_problems.contains(problem)) report(problem);
        }
        _known_problems = {problems.begin(), problems.end()};
    }

    bool _is_quiet, _is_first = true;
    ProgressLine _line{::isatty(STDERR_FILENO) == 1};
    std::set<std::string> _known_problems;
};

}  // namespace

Command watch_command(WatchArguments& arguments) {
    Command command = repository_command("watch", "Keep the index up to date while files change",
                                         arguments.repository);
    command.options = {
        {'q', "quiet", "", "Options", "Print nothing but what goes wrong", Flag{&arguments.quiet}}};
    command.notes =
        "Makes or refreshes the index, then refreshes it within a second of each change,\n"
        "and prints a line for each refresh that found one. To take in at once what has\n"
        "changed, `codetext search code --fresh` asks it.\n\n"
        "Exit status: 0 after Ctrl-C or SIGTERM, 2 when the repository or its index goes\n"
        "away, when another watcher is running, or when the first refresh fails.";
    return command;
}

int watch_main(const WatchArguments& arguments, const WhichIndex& which) {
    const std::filesystem::path root = which.root_for(arguments.repository);
    const StopSignals signals;
    WatchOutput output(arguments.quiet);
    indexer::WatchOptions options;
    options.owners = which.owners();
    options.stop = signals.descriptor();
    options.refreshed = [&](const indexer::IndexReport& report, Elapsed elapsed) {
        output.show_run(report, elapsed);
    };
    options.watching = [&](std::size_t directories) { output.show_watching(root, directories); };
    options.troubled = [&](const std::string& trouble) { report(trouble); };
    options.progress = [&](std::int64_t done, std::int64_t total) {
        output.line().show(done, total);
    };
    indexer::watch_repository(root, options);
    return SUCCESS;
}

}  // namespace codetext::cli
