// The time of a request's last change is its state: a watcher sets it to SEEN or REFUSED. That
// harms nothing, whatever the name leads to. A request that has no name any more is answered.

#include "indexer/watch/request.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <thread>

#include "indexer/watch/watcher_lock.hpp"
#include "utils/directory_entries.hpp"

namespace codetext::indexer {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr time_t SEEN = 1, REFUSED = 2;  // seconds since the epoch
constexpr std::size_t DIGITS = 32;

/// How long a watcher that has nothing else to do may take to mark a request as seen.
constexpr milliseconds UNTIL_SEEN(100);
constexpr milliseconds UNTIL_ANSWERED(60'000);

std::string new_name() {
    std::random_device random;
    std::string name(schema::REQUEST);
    while (name.size() < schema::REQUEST.size() + DIGITS) name += fmt::format("{:08x}", random());
    return name;
}

bool is_name(std::string_view name) {
    return name.size() == schema::REQUEST.size() + DIGITS && name.starts_with(schema::REQUEST) &&
           name.find_first_not_of("0123456789abcdef", schema::REQUEST.size()) ==
               std::string_view::npos;
}

void set_state(const Descriptor& directory, const std::string& name, time_t state) {
    const std::array<struct timespec, 2> times = {{{state, 0}, {state, 0}}};
    ::utimensat(directory.number(), name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

/// A request of this process. It goes with the object.
class Request {
  public:
    Request(Descriptor directory) : _directory(std::move(directory)), _name(new_name()) {
        constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        _file = Descriptor(::openat(_directory.number(), _name.c_str(), FLAGS, 0600));
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    ~Request() {
        if (_file) ::unlinkat(_directory.number(), _name.c_str(), 0);
    }

    /// Whether the index is up to date; nothing before the watcher answers.
    std::optional<bool> answer() {
        struct stat status {};
        if (!_file || ::fstat(_file.number(), &status) == -1) return false;
        if (status.st_nlink == 0) return true;
        if (status.st_mtime == REFUSED) return false;
        _is_seen = status.st_mtime == SEEN;
        return std::nullopt;
    }
    bool is_seen() const { return _is_seen; }

  private:
    Descriptor _directory, _file;
    std::string _name;
    bool _is_seen = false;
};

}  // namespace

bool ask_watcher(const std::filesystem::path& root, schema::Owners owners) {
    const WatcherSight watcher(root, owners);
    if (!watcher.lives()) return false;
    Descriptor directory = schema::open_request_directory(root, owners);
    if (!directory) return false;
    Request request(std::move(directory));
    const Clock::time_point begin = Clock::now();
    Clock::time_point heard = begin;
    constexpr milliseconds SHORTEST(1), LONGEST(8);
    for (milliseconds pause = SHORTEST; Clock::now() < begin + UNTIL_ANSWERED;
         pause = std::min(pause * 2, LONGEST)) {
        std::this_thread::sleep_for(pause);
        if (const std::optional<bool> answer = request.answer()) return *answer;
        if (request.is_seen() || watcher.is_busy()) heard = Clock::now();
        if (Clock::now() > heard + UNTIL_SEEN || !watcher.lives()) return false;
    }
    return false;
}

void Requests::add(std::string_view name) {
    if (is_name(name) && std::ranges::find(_names, name) == _names.end()) _names.emplace_back(name);
}

void Requests::add_all() {
    constexpr int MOST = 4096;
    int left = MOST;
    each_entry(_directory, [&](const dirent& entry) {
        add(static_cast<const char*>(entry.d_name));
        return --left > 0;
    });
}

void Requests::acknowledge() const {
    for (const std::string& name : _names) set_state(_directory, name, SEEN);
}

void Requests::answer(bool is_up_to_date) {
    for (const std::string& name : _names) {
        if (is_up_to_date) {
            ::unlinkat(_directory.number(), name.c_str(), 0);
        } else {
            set_state(_directory, name, REFUSED);
        }
    }
    _names.clear();
}

}  // namespace codetext::indexer
