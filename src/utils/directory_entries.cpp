#include "utils/directory_entries.hpp"

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace codetext {

void each_entry(const Descriptor& directory, const std::function<bool(const dirent&)>& visit) {
    // A descriptor of its own, which closedir closes.
    Descriptor own(::openat(directory.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!own) throw_system_error("cannot read a directory");
    const auto close = [](DIR* stream) { ::closedir(stream); };
    const std::unique_ptr<DIR, decltype(close)> stream(::fdopendir(own.number()), close);
    if (!stream) throw_system_error("cannot read a directory");
    own.release();
    while (true) {
        errno = 0;  // readdir gives null at the end and on failure alike
        const dirent* entry = ::readdir(stream.get());
        if (entry == nullptr && errno != 0) throw_system_error("cannot read a directory");
        if (entry == nullptr) return;
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != ".." && !visit(*entry)) return;
    }
}

}  // namespace codetext
