#include "indexer/watch/inotify.hpp"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>

#if defined(__linux__)
#include <sys/inotify.h>
#endif

namespace codetext::indexer {

#if defined(__linux__)

namespace {

constexpr std::uint32_t NEW = IN_CREATE | IN_MOVED_TO;
constexpr std::uint32_t OLD = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t NAMES = NEW | OLD | IN_CLOSE_WRITE | IN_MOVE_SELF | IN_DELETE_SELF;
constexpr std::uint32_t CONTENT = NAMES | IN_MODIFY | IN_ATTRIB;

std::uint32_t mask_of(Inotify::Interest interest) {
    constexpr std::array MASKS = {CONTENT, NAMES, NEW, OLD};
    return MASKS.at(static_cast<std::size_t>(interest));
}

FileEvent::Kind kind_of(std::uint32_t mask) {
    if ((mask & IN_Q_OVERFLOW) != 0) return FileEvent::Kind::OVERFLOW;
    if ((mask & (IN_IGNORED | IN_UNMOUNT)) != 0) return FileEvent::Kind::UNWATCHED;
    if ((mask & NEW) != 0) return FileEvent::Kind::APPEARED;
    if ((mask & OLD) != 0) return FileEvent::Kind::VANISHED;
    return FileEvent::Kind::CHANGED;
}

[[noreturn]] void refuse(int error) {
    const std::string why = std::system_category().message(error);
    if (error == ENOSPC) {
        throw CannotWatch(
            "there are more directories than this user may watch (raise the limit: sysctl "
            "fs.inotify.max_user_watches)");
    }
    if (error == EMFILE) {
        throw CannotWatch(
            "this user has too many watchers (raise the limit: sysctl "
            "fs.inotify.max_user_instances), or this process too many open files");
    }
    throw CannotWatch("the system watches no directories: " + why);
}

void append_events(std::string_view bytes, std::vector<FileEvent>& events) {
    struct inotify_event head {};
    while (bytes.size() >= sizeof head) {
        std::memcpy(&head, bytes.data(), sizeof head);
        // Zero bytes fill the name up.
        std::string name(bytes.substr(sizeof head, head.len).data(), 0, head.len);
        name.resize(std::strlen(name.c_str()));
        events.push_back(
            {kind_of(head.mask), head.wd, std::move(name), (head.mask & IN_ISDIR) != 0});
        bytes.remove_prefix(sizeof head + head.len);
    }
}

}  // namespace

Inotify::Inotify(Limits limits)
    : _limits(limits), _queue(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!_queue) refuse(errno);
}

int Inotify::watch(const Descriptor& directory, Interest interest) {
    // The path of the open directory itself: no name is looked up that somebody may have changed.
    const std::string path = fmt::format("/proc/self/fd/{}", directory.number());
    const int watch = ::inotify_add_watch(_queue.number(), path.c_str(),
                                          mask_of(interest) | IN_ONLYDIR | IN_EXCL_UNLINK);
    if (watch == -1 && (errno == EACCES || errno == ENOTDIR)) return -1;
    if (watch == -1) refuse(errno);
    if (static_cast<std::size_t>(watch) > _limits.watches) refuse(ENOSPC);
    return watch;
}

void Inotify::unwatch(int watch) const { ::inotify_rm_watch(_queue.number(), watch); }

std::vector<FileEvent> Inotify::read() {
    constexpr std::size_t BUFFER_BYTES = 64 << 10;
    constexpr int MOST_READS = 256;  // somebody may go on writing for ever
    std::vector<FileEvent> events;
    std::string buffer(BUFFER_BYTES, '\0');
    for (int i = 0; i < MOST_READS; ++i) {
        const ssize_t got = ::read(_queue.number(), buffer.data(), buffer.size());
        if (got <= 0) break;
        append_events(std::string_view(buffer).substr(0, static_cast<std::size_t>(got)), events);
    }
    if (events.size() > _limits.events) return {{FileEvent::Kind::OVERFLOW, -1}};
    return events;
}

#else

Inotify::Inotify(Limits limits) : _limits(limits) {
    throw CannotWatch("this system has no inotify");
}
int Inotify::watch(const Descriptor& /*directory*/, Interest /*interest*/) { return -1; }
void Inotify::unwatch(int /*watch*/) const {}
std::vector<FileEvent> Inotify::read() { return {}; }

#endif

}  // namespace codetext::indexer
