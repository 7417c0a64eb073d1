// The program: reads the command line, runs the command that it names, and turns every failure into
// a message and exit status 2.

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "cli/clean_command.hpp"
#include "cli/commands.hpp"
#include "cli/config.hpp"
#include "cli/config_command.hpp"
#include "cli/exit_status.hpp"
#include "cli/help.hpp"
#include "cli/index_command.hpp"
#include "cli/mcp_command.hpp"
#include "cli/output.hpp"
#include "cli/search_command.hpp"
#include "cli/status_command.hpp"
#include "cli/upgrade_command.hpp"
#include "cli/verify_command.hpp"
#include "cli/watch_command.hpp"

namespace codetext::cli {
namespace {

/// The program allocates and frees thousands of texts. Keeping their memory, rather than asking the
/// kernel for new memory each time, saves a tenth of a run of the indexer.
void keep_freed_memory() {
#if defined(__GLIBC__)
    constexpr int LARGEST_KEPT_BYTES = 32 << 20;  // glibc takes no more
    constexpr int KEPT_BYTES = 256 << 20;
    ::mallopt(M_MMAP_THRESHOLD, LARGEST_KEPT_BYTES);
    ::mallopt(M_TRIM_THRESHOLD, KEPT_BYTES);
#endif
}

int print_version() {
    fmt::print("codetext " CODETEXT_VERSION "\n");
    return 0;
}

int run_program_option(AllArguments& arguments, const std::vector<Command>& commands,
                       const std::string& option) {
    const Command program = program_command(arguments);
    parse(program, {option});
    if (!arguments.help && !arguments.version) choose(commands, {});  // "--": says what is missing
    if (!arguments.help) return print_version();
    fmt::print("{}", program_help(program, commands));
    return 0;
}

int run_search(AllArguments& arguments, const Chosen& chosen) {
    return search_main(arguments.search, arguments.which, [&](const Settings& defaults) {
        arguments = {};
        apply(defaults, arguments.search);
        parse(*chosen.command, chosen.arguments);
        return arguments.search;
    });
}

int run_command(std::string_view name, const AllArguments& arguments) {
    if (name == "index") return index_main(arguments.index, arguments.which);
    if (name == "status") return status_main(arguments.status, arguments.which);
    if (name == "upgrade") return upgrade_main(arguments.upgrade, arguments.which);
    if (name == "watch") return watch_main(arguments.watch, arguments.which);
    if (name == "mcp") return mcp_main(arguments.mcp, arguments.which, CODETEXT_VERSION);
    if (name == "config") return config_main(arguments.config, arguments.which);
    if (name == "clean") return clean_main(arguments.clean, arguments.which);
    return verify_main(arguments.verify, arguments.which);
}

int run(const std::vector<std::string>& given) {
    AllArguments arguments;
    const std::vector<Command> commands = all_commands(arguments);
    if (!given.empty() && given.front().starts_with('-') && given.front() != "-") {
        return run_program_option(arguments, commands, given.front());
    }
    const Chosen chosen = choose(commands, given);
    parse(*chosen.command, chosen.arguments);
    if (arguments.version) return print_version();
    if (arguments.help) {
        fmt::print("{}", help_text(*chosen.command));
        return 0;
    }
    if (chosen.command->name == "search code") return run_search(arguments, chosen);
    return run_command(chosen.command->name, arguments);
}

/// Says why the program ends, also where no memory is left to make a message of it.
void report_failure(const char* why) {
    try {
        report(why);
    } catch (const std::bad_alloc&) {
        constexpr std::string_view MESSAGE = "codetext: out of memory\n";
        [[maybe_unused]] const ssize_t written =
            ::write(STDERR_FILENO, MESSAGE.data(), MESSAGE.size());
    }
}

int guarded_run(int argc, char** argv) {
    try {
        const int exit_status = run({argv + (argc > 0 ? 1 : 0), argv + argc});
        // A full disk may show only now. A reader that went away is not a failure.
        if (std::fflush(stdout) != 0 && errno != EPIPE) {
            throw std::system_error(errno, std::generic_category(), "cannot write the output");
        }
        return exit_status;
    } catch (const std::bad_alloc&) {
        report_failure("out of memory");
    } catch (const std::exception& error) {
        report_failure(error.what());
    }
    return FAILURE;
}

}  // namespace
}  // namespace codetext::cli

int main(int argc, char** argv) {
    codetext::cli::keep_freed_memory();
    // Output::write notices a reader that went away, and a write past the limit of a file's size
    // fails with a message.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    return codetext::cli::guarded_run(argc, argv);
}
