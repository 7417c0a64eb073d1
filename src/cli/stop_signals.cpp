#include "cli/stop_signals.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include "utils/platform.hpp"

namespace codetext::cli {
namespace {

/// Where the handler writes. A signal handler may use lock-free atomics and write(2).
std::atomic<int> written_end = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void handle(int /*signal*/) {
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(written_end, "", 1);
    errno = error;
}

void set_handler(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM}) ::sigaction(signal, &action, nullptr);
}

}  // namespace

StopSignals::StopSignals() {
    std::array<int, 2> ends{};
    if (platform::make_pipe(ends) == -1) throw_system_error("cannot make a pipe");
    _read_end = Descriptor(ends[0]);
    _write_end = Descriptor(ends[1]);
    // Thousands of signals must not fill the pipe and hold the handler up.
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
    written_end = ends[1];
    set_handler(handle);
}

StopSignals::~StopSignals() {
    set_handler(SIG_DFL);
    written_end = -1;
}

}  // namespace codetext::cli
