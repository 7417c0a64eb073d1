// code_text takes a std::system_error for "this file has no text" and goes on. That is right for a
// file that is gone, and for one that cannot be read, which is counted here so that the search can
// tell. It is wrong for what is the machine's failure, such as too few descriptors: an answer would
// be short without a word. So that is thrown as another type, which nobody on the way absorbs.

#include "search/run/tree_reader.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "utils/binary.hpp"
#include "utils/fsio.hpp"
#include "utils/once.hpp"
#include "utils/open_below.hpp"
#include "utils/platform.hpp"

namespace codetext::search {
namespace {

/// Whether the error says that there is no such file, or that it is no regular file or binary.
bool is_no_file(int error) {
    return says_nothing_is_there(error) || error == EISDIR || error == EINVAL || error == ENXIO;
}

}  // namespace

class TreeReader::State {
  public:
    State(std::filesystem::path root, Binary binary) : _root(std::move(root)), _binary(binary) {}

    std::string read(const std::filesystem::path& location, std::size_t most_bytes) {
        _open();
        const std::string_view path = _below(location.native());
        try {
            const std::size_t most = std::min(most_bytes, fsio::MAX_FILE_BYTES);
            std::string bytes = fsio::read_file_below(_opened, path, most).bytes;
            if (_binary == Binary::HAS_NO_TEXT && is_binary(bytes))
                throw std::system_error(EINVAL, std::generic_category());
            return bytes;
        } catch (const std::system_error& error) {
            const int code = error.code().value();
            if (code == EFBIG && most_bytes < fsio::MAX_FILE_BYTES) {
                throw chunk_store::TextTooLarge();
            }
            if (is_machine_failure(code)) throw std::runtime_error(error.what());
            if (!is_no_file(code)) _note(path, error.code());
            throw;
        }
    }

    UnreadFiles unread() const {
        const std::lock_guard lock(_mutex);
        return _unread;
    }

    const Descriptor& root() {
        _open();
        return _opened;
    }

  private:
    void _open() {
        _is_open.run([this] {
            try {
                _opened = open_root(_root);
            } catch (const std::system_error& error) {
                throw std::runtime_error(error.what());  // not a file's own failure
            }
        });
    }

    /// The part of the location below the root; empty, which nothing opens, for one elsewhere.
    std::string_view _below(std::string_view location) const {
        const std::string_view root = _root.native();
        if (!location.starts_with(root)) return "";
        location.remove_prefix(root.size());
        if (root.ends_with('/')) return location;
        return location.starts_with('/') ? location.substr(1) : "";
    }

    void _note(std::string_view path, const std::error_code& why) {
        const std::lock_guard lock(_mutex);
        if (_unread.count++ == 0) _unread.first = std::string(path) + ": " + why.message();
    }

    std::filesystem::path _root;
    Binary _binary;
    Once _is_open;
    Descriptor _opened;  ///< the root
    mutable std::mutex _mutex;
    UnreadFiles _unread;
};

TreeReader::TreeReader(const std::filesystem::path& root, Binary binary)
    : _state(std::make_shared<State>(root, binary)) {}

code_text::FileReader TreeReader::reader() const {
    return [state = _state](const std::filesystem::path& location, std::size_t most_bytes) {
        return state->read(location, most_bytes);
    };
}

UnreadFiles TreeReader::unread() const { return _state->unread(); }

TreeReader::Stamps TreeReader::stamps() const { return Stamps(_state); }

std::optional<FileStamp> TreeReader::Stamps::of(std::string_view path) {
    const std::size_t name = path.rfind('/') + 1;  // 0 in the root
    struct stat status {};
    if (_open_directory(path.substr(0, name)) &&
        ::fstatat(_directory.number(), std::string(path.substr(name)).c_str(), &status,
                  AT_SYMLINK_NOFOLLOW) == 0) {
        return S_ISREG(status.st_mode) ? std::optional(stamp_of(status)) : std::nullopt;
    }
    if (says_nothing_is_there(errno)) return std::nullopt;
    const std::error_code code(errno, std::system_category());
    const std::string doing = "cannot look at " + std::string(path);
    if (is_machine_failure(code.value())) throw std::runtime_error(doing + ": " + code.message());
    throw std::system_error(code, doing);
}

std::optional<std::int64_t> TreeReader::Stamps::created_ns(std::string_view path) {
    const std::size_t name = path.rfind('/') + 1;
    if (!_open_directory(path.substr(0, name))) return std::nullopt;
    return platform::creation_time_ns(_directory, std::string(path.substr(name)).c_str());
}

bool TreeReader::Stamps::_open_directory(std::string_view path) {
    if (_directory && _path == path) return true;
    _path = path;
    constexpr int FLAGS = platform::OPEN_FOR_LOOKUP | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    _directory = path.empty() ? Descriptor(::openat(_state->root().number(), ".", FLAGS))
                              : open_below(_state->root(), path.substr(0, path.size() - 1), FLAGS);
    return static_cast<bool>(_directory);
}

}  // namespace codetext::search
