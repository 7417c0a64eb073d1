#include "utils/process.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "utils/descriptor.hpp"
#include "utils/platform.hpp"

namespace codetext {
namespace {

constexpr std::size_t READ_BYTES = 256 << 10;
constexpr const char* DEFAULT_PATH = "/usr/local/bin:/usr/bin:/bin";

struct Pipe {
    Descriptor read_end, write_end;
};

Pipe make_pipe() {
    std::array<int, 2> ends{};
    if (platform::make_pipe(ends) == -1) throw_system_error("cannot make a pipe");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::vector<char*> pointers(const std::vector<std::string>& strings) {
    std::vector<char*> result;
    result.reserve(strings.size() + 1);
    for (const std::string& string : strings) result.push_back(const_cast<char*>(string.c_str()));
    result.push_back(nullptr);
    return result;
}

class FileActions {
  public:
    FileActions() { ::posix_spawn_file_actions_init(&_actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy(&_actions); }

    void open_null(int target) {
        ::posix_spawn_file_actions_addopen(&_actions, target, "/dev/null", O_RDONLY, 0);
    }
    void redirect(int target, const Descriptor& source) {
        ::posix_spawn_file_actions_adddup2(&_actions, source.number(), target);
    }
    const posix_spawn_file_actions_t* get() const { return &_actions; }

  private:
    posix_spawn_file_actions_t _actions;
};

std::string read_to_end(const Descriptor& source) {
    std::string bytes;
    while (true) {
        const std::size_t filled = bytes.size();
        bytes.resize(filled + READ_BYTES);
        const ssize_t got = ::read(source.number(), bytes.data() + filled, READ_BYTES);
        if (got == -1 && errno != EINTR) throw_system_error("cannot read a program's output");
        bytes.resize(filled + static_cast<std::size_t>(got == -1 ? 0 : got));
        if (got == 0) return bytes;
    }
}

int wait_for(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) == -1) {
        if (errno != EINTR) throw_system_error("cannot wait for a program");
    }
    // As a shell tells of a signal.
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// A file to read `input` from: with a pipe, the program could wait for us while we wait for it.
Descriptor file_with(std::string_view input) {
    Descriptor file = platform::unnamed_file();
    if (!file) throw_system_error("cannot make an unnamed file");
    while (!input.empty()) {
        const ssize_t written = ::write(file.number(), input.data(), input.size());
        if (written == -1 && errno != EINTR) throw_system_error("cannot write an unnamed file");
        input.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    ::lseek(file.number(), 0, SEEK_SET);
    return file;
}

/// The program's file in the first directory of PATH that has it. An entry that is not absolute
/// names a directory in the tree where the user stands, which may hold anything; it is passed over.
std::string found_on_path(const std::string& program) {
    if (program.find('/') != std::string::npos) return program;
    const char* variable = std::getenv("PATH");
    std::string_view rest = variable == nullptr ? DEFAULT_PATH : variable;
    while (!rest.empty()) {
        const std::string_view directory = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(directory.size() + 1, rest.size()));
        std::string file = std::string(directory) + '/' + program;
        if (directory.starts_with('/') && ::access(file.c_str(), X_OK) == 0) return file;
    }
    errno = ENOENT;
    throw_system_error("cannot run " + program);
}

}  // namespace

ProcessResult run_process(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment, std::string_view input) {
    // Standard error goes to a file: with two pipes the program could wait for the one not read.
    const Descriptor errors = platform::unnamed_file();
    if (!errors) throw_system_error("cannot make an unnamed file");
    Pipe output = make_pipe();
    FileActions actions;
    // What is not named here is closed: all descriptors of this program are closed on exec.
    const Descriptor given = input.empty() ? Descriptor() : file_with(input);
    if (given) {
        actions.redirect(STDIN_FILENO, given);
    } else {
        actions.open_null(STDIN_FILENO);
    }
    actions.redirect(STDOUT_FILENO, output.write_end);
    actions.redirect(STDERR_FILENO, errors);

    pid_t process = 0;
    const std::string program = found_on_path(arguments[0]);
    errno = ::posix_spawn(&process, program.c_str(), actions.get(), nullptr,
                          pointers(arguments).data(), pointers(environment).data());
    if (errno != 0) throw_system_error("cannot run " + arguments[0]);
    // Only the program has the other end now, so the read ends when the program does.
    output.write_end.close();
    std::string written;
    try {
        written = read_to_end(output.read_end);
    } catch (const std::exception&) {
        output.read_end.close();  // the program ends when it writes on
        wait_for(process);
        throw;
    }
    const int status = wait_for(process);
    ::lseek(errors.number(), 0, SEEK_SET);
    return {std::move(written), read_to_end(errors), status};
}

}  // namespace codetext
