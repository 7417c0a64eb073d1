#include "cli/program.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace codetext::test {

namespace {

// A file without a name: the program can fill it without anybody reading meanwhile.
class Capture {
  public:
    Capture() : _descriptor(memfd_create("capture", 0)) {
        if (_descriptor < 0) throw std::system_error(errno, std::generic_category(), "memfd");
    }
    ~Capture() { close(_descriptor); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    int descriptor() const { return _descriptor; }
    std::string bytes() const {
        std::string result(static_cast<std::size_t>(lseek(_descriptor, 0, SEEK_END)), '\0');
        std::size_t done = 0;
        while (done < result.size()) {
            const ssize_t count = pread(_descriptor, result.data() + done, result.size() - done,
                                        static_cast<off_t>(done));
            if (count <= 0) throw std::runtime_error("cannot read what the program wrote");
            done += static_cast<std::size_t>(count);
        }
        return result;
    }

  private:
    int _descriptor;
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::string_view name_of(std::string_view variable) {
    return variable.substr(0, variable.find('='));
}

std::vector<std::string> with_environment(const std::vector<std::string>& added) {
    std::vector<std::string> result = added;
    for (char** own = environ; *own != nullptr; ++own) {
        const bool replaced = std::any_of(added.begin(), added.end(), [&](const auto& one) {
            return name_of(one) == name_of(*own);
        });
        if (!replaced) result.emplace_back(*own);
    }
    return result;
}

pid_t spawn(std::vector<std::string> command, std::vector<std::string> environment,
            const std::filesystem::path& cwd, const Capture& out, const Capture& err) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.descriptor(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.descriptor(), STDERR_FILENO);
    pid_t child = 0;
    const int failure = posix_spawnp(&child, command.front().c_str(), &actions, nullptr,
                                     pointers(command).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category(), "running " + command.front());
    }
    return child;
}

}  // namespace

Outcome run_command(const std::vector<std::string>& command, const std::filesystem::path& cwd,
                    const std::vector<std::string>& environment) {
    const Capture out, err;
    const pid_t child = spawn(command, with_environment(environment), cwd, out, err);
    int status = 0;
    if (waitpid(child, &status, 0) != child) throw std::runtime_error("waitpid failed");
    return {out.bytes(), err.bytes(),
            WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

Outcome run(const std::vector<std::string>& arguments, const std::filesystem::path& cwd,
            const std::vector<std::string>& environment) {
    std::vector<std::string> command = {CODETEXT_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_command(command, cwd, environment);
}

Repository::Repository() {
    std::string name = (std::filesystem::temp_directory_path() / "codetext-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "making " + name);
    }
    _root = std::filesystem::canonical(name);
}

Repository::~Repository() {
    std::error_code ignored;
    std::filesystem::remove_all(_root, ignored);
}

void Repository::write(std::string_view path, std::string_view bytes) const {
    const std::filesystem::path file = _root / path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream << bytes;
    stream.close();
    if (!stream) throw std::runtime_error("cannot write " + file.string());
}

std::string Repository::read(std::string_view path) const {
    std::ifstream stream(_root / path, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + std::string(path));
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace codetext::test
