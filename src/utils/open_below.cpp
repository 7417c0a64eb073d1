// O_NOFOLLOW guards the last component of a path only: a directory that is exchanged for a link
// between listing and reading would lead out of the tree. openat2 refuses links at every component,
// in one call. Where it is missing, each component is opened below the one before it.

#include "utils/open_below.hpp"

#include <fcntl.h>

#include <atomic>
#include <cerrno>
#include <string>

#include "utils/platform.hpp"

#if defined(__linux__) && __has_include(<linux/openat2.h>)
#include <linux/openat2.h>
#include <sys/syscall.h>
#define CODETEXT_HAS_OPENAT2 1
#endif

namespace codetext {
namespace {

constexpr int OPEN_ON_THE_WAY = platform::OPEN_FOR_LOOKUP | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

#if defined(CODETEXT_HAS_OPENAT2)
/// Whether errno says that the system, or a sandbox around this process, has no openat2.
bool is_refused_call() { return errno == ENOSYS || errno == EPERM; }

Descriptor open_at_once(const Descriptor& root, const std::string& path, int flags) {
    struct open_how how {};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return Descriptor(
        static_cast<int>(::syscall(SYS_openat2, root.number(), path.c_str(), &how, sizeof how)));
}
#endif

}  // namespace

Descriptor open_root(const std::filesystem::path& path) {
    Descriptor root(::open(path.c_str(), platform::OPEN_FOR_LOOKUP | O_DIRECTORY | O_CLOEXEC));
    if (!root) throw_system_error("cannot open " + path.string());
    return root;
}

Descriptor _open_by_components(const Descriptor& root, std::string_view path, int flags) {
    Descriptor directory;
    const auto number = [&] { return directory ? directory.number() : root.number(); };
    while (true) {
        const std::size_t slash = path.find('/');
        const std::string component(path.substr(0, slash));
        if (slash == std::string_view::npos) {
            return Descriptor(::openat(number(), component.c_str(), flags | O_NOFOLLOW));
        }
        directory = Descriptor(::openat(number(), component.c_str(), OPEN_ON_THE_WAY));
        if (!directory) return {};
        path.remove_prefix(slash + 1);
    }
}

Descriptor open_below(const Descriptor& root, std::string_view path, int flags) {
    if (!is_path_below(path)) {
        errno = EINVAL;
        return {};
    }
#if defined(CODETEXT_HAS_OPENAT2)
    static std::atomic<bool> has_openat2 = true;
    if (has_openat2.load(std::memory_order_relaxed)) {
        Descriptor opened = open_at_once(root, std::string(path), flags);
        if (opened || !is_refused_call()) return opened;
        // A file may be refused for reasons of its own; a path that is there in any case tells.
        if (!open_at_once(root, ".", OPEN_ON_THE_WAY)) has_openat2 = false;
    }
#endif
    return _open_by_components(root, path, flags);
}

}  // namespace codetext
