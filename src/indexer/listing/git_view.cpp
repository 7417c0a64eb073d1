// A git directory needs a HEAD, `objects` and `refs` to be one. The view has an empty `refs`, its
// own HEAD and configuration, and a copy of info/exclude. The variables GIT_INDEX_FILE and
// GIT_OBJECT_DIRECTORY lead git to the repository's index and objects; the parts of a split index
// are linked in. Everything else of the repository is out of sight, its configuration and hooks
// above all.

#include "indexer/listing/git_view.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "utils/descriptor.hpp"
#include "utils/directory_entries.hpp"
#include "utils/fsio.hpp"
#include "utils/open_below.hpp"
#include "utils/platform.hpp"
#include "utils/process.hpp"

namespace codetext::indexer {
namespace fs = std::filesystem;

namespace {

/// Of the variables of git's own only these pass: where git's programs lie, and the user's
/// configuration. GIT_CONFIG_PARAMETERS is no such thing; it holds what `git -c` gave to a git that
/// runs this program.
bool reaches_git(std::string_view variable) {
    return !variable.starts_with("GIT_") || variable.starts_with("GIT_EXEC_PATH=") ||
           (variable.starts_with("GIT_CONFIG_") && !variable.starts_with("GIT_CONFIG_PARAMETERS="));
}

fs::path temporary_directory() {
    std::string name = (fs::temp_directory_path() / "codetext-git-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw_system_error("cannot make " + name);
    return name;
}

void write(const fs::path& path, std::string_view text) {
    std::ofstream stream(path, std::ios::binary);
    stream << text << std::flush;
    if (!stream) throw_system_error("cannot write " + path.string());
}

/// The bytes of a file of the repository; none where there is no such file. People keep some of
/// these files elsewhere, behind a symbolic link.
std::string bytes_of(const fs::path& file) {
    std::error_code missing;
    const fs::path target = fs::canonical(file, missing);
    return missing ? "" : fsio::read_bytes_no_follow(target);
}

/// Our own settings. On macOS names are compared as its file systems do.
#if defined(__APPLE__)
constexpr std::string_view CONFIG = "[core]\nignoreCase = true\nprecomposeUnicode = true\n";
#else
constexpr std::string_view CONFIG = "";
#endif

/// Whether the text holds `word`, which is in lower case.
bool mentions(std::string_view text, std::string_view word) {
    const auto same = [](char byte, char wanted) {
        return (byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte) == wanted;
    };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), same) != text.end();
}

}  // namespace

std::vector<std::string> git_environment() {
    // What the view leaves no way to. A git that is asked to fetch, or to run a transport, refuses.
    std::vector<std::string> result = {"GIT_OPTIONAL_LOCKS=0", "GIT_NO_LAZY_FETCH=1",
                                       "GIT_ALLOW_PROTOCOL=none", "GIT_TERMINAL_PROMPT=0"};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (reaches_git(*variable)) result.emplace_back(*variable);
    }
    return result;
}

GitView::GitView(const GitRepository& repository) : _directory(temporary_directory()) {
    try {
        // No destructor runs for an object that was not made.
        _fill(repository);
    } catch (...) {
        _remove();
        throw;
    }
    _locations = {"GIT_DIR=" + _directory.string(),
                  "GIT_WORK_TREE=" + repository.work_tree.string(),
                  "GIT_INDEX_FILE=" + (repository.git_directory / "index").string(),
                  "GIT_OBJECT_DIRECTORY=" + (repository.common_directory / "objects").string()};
}

GitView::~GitView() { _remove(); }

void GitView::_remove() const {
    try {
        // Name by name, and never a tree: what is behind a link is the repository's.
        const std::string directory = _directory.string() + '/';
        for (const char* name : {"HEAD", "config", "info/exclude"}) {
            ::unlink((directory + name).c_str());
        }
        for (const std::string& name : _links) ::unlink((directory + name).c_str());
        for (const char* name : {"refs", "objects", "info", ""}) {
            ::rmdir((directory + name).c_str());
        }
    } catch (const std::bad_alloc&) {  // it stays, among the temporary files
    }
}

std::vector<std::string> GitView::environment() const {
    std::vector<std::string> result = git_environment();
    result.insert(result.end(), _locations.begin(), _locations.end());
    return result;
}

void GitView::_fill(const GitRepository& repository) {
    for (const char* name : {"refs", "objects", "info"}) fs::create_directory(_directory / name);
    write(_directory / "HEAD", "ref: refs/heads/main\n");
    write(_directory / "info/exclude", bytes_of(repository.common_directory / "info/exclude"));
    write(_directory / "config", CONFIG);
    _set_object_format(repository);
    // An index may be split: what is shared of it lies beside it.
    each_entry(open_root(repository.git_directory), [&](const dirent& entry) {
        const std::string name = static_cast<const char*>(entry.d_name);
        const fs::path shared = repository.git_directory / name;
        if (!name.starts_with("sharedindex.") || !fs::is_regular_file(shared)) return true;
        _links.push_back(name);
        fs::create_symlink(shared, _directory / name);
        return true;
    });
}

// The index of a repository whose objects have SHA-256 names reads as rubbish without this.
void GitView::_set_object_format(const GitRepository& repository) const {
    const fs::path config = repository.common_directory / "config";
    if (!mentions(bytes_of(config), "objectformat")) return;
    const ProcessResult format =
        run_process({"git", "--git-dir=" + _directory.string(), "config", "--file", config,
                     "--no-includes", "--get", "extensions.objectFormat"},
                    git_environment());
    if (format.status == 1) return;  // it is not set
    if (format.status != 0 || (format.output != "sha256\n" && format.output != "sha1\n")) {
        throw std::runtime_error("git cannot list the files of " + repository.work_tree.string() +
                                 ": cannot tell the format of its objects");
    }
    write(_directory / "config",
          std::string(CONFIG) +
              "[core]\nrepositoryFormatVersion = 1\n[extensions]\nobjectFormat = " + format.output);
}

}  // namespace codetext::indexer
