#include "cli/index_command.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "cli/repository.hpp"
#include "indexer/run/index_run.hpp"

namespace codetext::cli {
namespace {

using Clock = std::chrono::steady_clock;

struct Arguments {
    std::string path = ".";
    std::string layout;
    unsigned jobs = 0;
};

/// One line on a terminal that says how far the run is, and is gone at its end.
class ProgressLine {
  public:
    explicit ProgressLine(bool shown) : _shown(shown) {}
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { clear(); }

    void show(std::int64_t done, std::int64_t total) {
        if (!_shown || Clock::now() < _next) return;
        constexpr std::chrono::milliseconds PAUSE(100);
        _next = Clock::now() + PAUSE;
        _dirty = true;
        fmt::print(stderr, "\rindexing {} of {} files", done, total);
        std::fflush(stderr);
    }

    void clear() {
        if (std::exchange(_dirty, false)) fmt::print(stderr, "\r\033[K");
    }

  private:
    bool _shown;
    bool _dirty = false;
    Clock::time_point _next = Clock::now();
};

indexer::IndexOptions options_of(const Arguments& arguments, ProgressLine& line) {
    indexer::IndexOptions options;
    if (arguments.layout == chunk_store::COMPRESSED.name) options.layout = chunk_store::COMPRESSED;
    if (arguments.layout == chunk_store::CODE_CHUNKS.name) {
        options.layout = chunk_store::CODE_CHUNKS;
    }
    options.threads = arguments.jobs;
    options.progress = [&line](std::int64_t done, std::int64_t total) { line.show(done, total); };
    return options;
}

void print_complaints(const indexer::IndexReport& report) {
    for (const std::string& warning : report.warnings) {
        fmt::print(stderr, "codetext: {}\n", warning);
    }
    for (const indexer::UnreadableFile& file : report.unreadable) {
        fmt::print(stderr, "codetext: cannot read {}: {}\n", file.path, file.reason);
    }
}

void print_summary(const indexer::IndexReport& report, Clock::duration elapsed) {
    for (const schema::UpgradeStep& step : report.upgrade_steps) {
        fmt::print("upgraded {} to {}: {}\n", step.from, step.to, step.what);
    }
    fmt::print(
        "indexed {} files ({} new, {} changed, {} gone, {} kept on disk, {} binary skipped, "
        "{} unreadable) in {:.2f} s\n",
        report.files, report.new_files, report.changed_files, report.gone_files,
        report.kept_on_disk, report.binary_files, report.unreadable.size(),
        std::chrono::duration<double>(elapsed).count());
}

void run(const Arguments& arguments) {
    const auto begin = Clock::now();
    ProgressLine line(::isatty(STDERR_FILENO) == 1);
    const indexer::IndexReport report =
        indexer::index_repository(find_root(arguments.path), options_of(arguments, line));
    line.clear();
    print_complaints(report);
    print_summary(report, Clock::now() - begin);
}

}  // namespace

void add_index_command(CLI::App& app, int& exit_status) {
    constexpr unsigned MAX_JOBS = 256;
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "index", "Make the index of a repository, or bring it up to date with its files");
    command->add_option("PATH", arguments->path, "A directory of the repository (default: .)")
        ->type_name("");
    command
        ->add_option("--layout", arguments->layout,
                     "How a new index keeps the text (default: compressed, from SQLite 3.43)")
        ->check(CLI::IsMember({std::string(chunk_store::COMPRESSED.name),
                               std::string(chunk_store::CODE_CHUNKS.name)}))
        ->option_text("compressed|code_chunks");
    command
        ->add_option(
            "--jobs", arguments->jobs,
            fmt::format("Threads that read files, 1 to {} (default: one a core)", MAX_JOBS))
        ->check(CLI::Range(1U, MAX_JOBS))
        ->option_text("N");
    command->callback([arguments, &exit_status] {
        run(*arguments);
        exit_status = 0;
    });
}

}  // namespace codetext::cli
