// codetext_pages DIRECTORY: writes what the build installs beside the program and makes from the
// tables of its commands: the man pages (man1/) and the completions of the shells.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "cli/commands.hpp"
#include "pages/completions.hpp"
#include "pages/man_page.hpp"

namespace codetext::pages {
namespace {

namespace fs = std::filesystem;

void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
}

void write_all(const fs::path& directory) {
    cli::AllArguments arguments;
    const cli::Command program = cli::program_command(arguments);
    std::vector<cli::Command> commands = cli::all_commands(arguments);
    for (cli::Command& command : commands) {  // as the help texts, which leave these out
        std::erase_if(command.options,
                      [](const cli::Option& option) { return option.group.empty(); });
    }
    const fs::path man1 = directory / "man1";
    fs::remove_all(man1);  // a command that is no more has no page
    write(man1 / "codetext.1", program_man_page(program, commands, CODETEXT_VERSION));
    for (const cli::Command& command : commands) {
        write(man1 / (page_name(command) + ".1"), man_page(command, CODETEXT_VERSION));
    }
    write(directory / "bash" / "codetext", bash_completion(program, commands));
    write(directory / "zsh" / "_codetext", zsh_completion(program, commands));
    write(directory / "fish" / "codetext.fish", fish_completion(program, commands));
}

}  // namespace
}  // namespace codetext::pages

int main(int argc, char** argv) {
    try {
        if (argc != 2) throw std::invalid_argument("usage: codetext_pages DIRECTORY");
        codetext::pages::write_all(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "codetext_pages: %s\n", error.what());
        return 2;
    }
}
