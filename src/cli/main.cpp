// The program: reads the command line, runs the one command that it names, and turns whatever goes
// wrong into a message and exit status 2.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <malloc.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>
#include <vector>

#include "cli/index_command.hpp"
#include "cli/output.hpp"
#include "cli/search_command.hpp"
#include "cli/status_command.hpp"
#include "cli/upgrade_command.hpp"
#include "cli/verify_command.hpp"

namespace {

constexpr int FAILURE = 2;

/// Texts come and go by the thousand: keeps their memory rather than ask the kernel for each anew,
/// which takes a tenth of a run of the indexer.
void keep_freed_memory() {
    constexpr int LARGEST_KEPT_BYTES = 32 << 20;  // glibc takes no more
    constexpr int KEPT_BYTES = 256 << 20;
    ::mallopt(M_MMAP_THRESHOLD, LARGEST_KEPT_BYTES);
    ::mallopt(M_TRIM_THRESHOLD, KEPT_BYTES);
}

/// Names the command that the user misspelt, if any, and those that there are in its place.
std::string no_such_command(const CLI::App& app) {
    const CLI::App* command = &app;
    std::string above;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        above += command->get_name() + ' ';
    }
    std::vector<std::string> known;
    for (const CLI::App* one : command->get_subcommands(nullptr)) {
        known.push_back(above + one->get_name());
    }
    const std::vector<std::string> given = command->remaining();
    std::string fault = "a command is missing";
    if (!given.empty()) {
        const bool is_option = given.front().starts_with('-');
        fault = (is_option ? fault + " before " : "there is no command " + above) + given.front();
    }
    return fmt::format("{}; known are {}", fault, fmt::join(known, ", "));
}

int run(int argc, char** argv) {
    int exit_status = 0;
    CLI::App app("Keeps the text of a repository in an index and searches it.", "codetext");
    app.require_subcommand(1);
    app.set_version_flag("--version", "codetext " CODETEXT_VERSION);
    codetext::cli::add_index_command(app, exit_status);
    codetext::cli::add_search_command(app, exit_status);
    codetext::cli::add_status_command(app, exit_status);
    codetext::cli::add_upgrade_command(app, exit_status);
    codetext::cli::add_verify_command(app, exit_status);
    app.footer(
        "`codetext index`, anywhere in a repository, comes first; `codetext search code PATTERN` "
        "then\nsearches it. `codetext search code --help` tells the options.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::RequiredError&) {
        codetext::cli::report(no_such_command(app));
        return FAILURE;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        codetext::cli::report(error.what());
        return FAILURE;
    }
    return exit_status;
}

}  // namespace

int main(int argc, char** argv) {
    keep_freed_memory();
    // A reader that goes away is noticed where the output is written.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const int exit_status = run(argc, argv);
        // What was printed may only now meet a full disk; a reader that went away is no failure.
        if (std::fflush(stdout) != 0 && errno != EPIPE) {
            throw std::system_error(errno, std::generic_category(), "cannot write the output");
        }
        return exit_status;
    } catch (const std::exception& error) {
        codetext::cli::report(error.what());
        return FAILURE;
    }
}
