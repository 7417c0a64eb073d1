// The lock is tried again and again, for another process waits for something else too (a watcher
// for the signal that ends it), and all take their turns the same way. Nothing handles signals
// meanwhile, so Ctrl-C ends the wait.

#include "cli/waiting.hpp"

#include <fmt/format.h>

#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

#include "cli/output.hpp"
#include "cli/times.hpp"

namespace codetext::cli {
namespace {

std::string who(const indexer::IndexBusy& busy) {
    return busy.holder() ? described(*busy.holder()) : "another run of codetext";
}

/// Waits, and says once for whom. A holder that has just got the lock may not have written who it
/// is: then it is given a moment.
class Patience {
  public:
    bool operator()(const indexer::IndexBusy& busy) {
        constexpr std::chrono::milliseconds PAUSE(40);
        const bool is_first = std::exchange(_is_first, false);
        if (!_has_said && (busy.holder() || !is_first)) {
            _has_said = true;
            report("waiting for " + who(busy));
        }
        std::this_thread::sleep_for(PAUSE);
        return true;
    }

  private:
    bool _is_first = true, _has_said = false;
};

[[noreturn]] bool refuse(const indexer::IndexBusy& busy) {
    throw std::runtime_error(who(busy) + " is working on the index");
}

}  // namespace

std::string described(const indexer::LockHolder& holder) {
    return fmt::format("process {} ({}, since {})", holder.process, command_of(holder.work),
                       local_time(holder.since_s));
}

indexer::LockOptions lock_options(schema::Owners owners, indexer::Work work, bool no_wait) {
    indexer::LockOptions options{.owners = owners, .work = work};
    if (no_wait) {
        options.wait = refuse;
    } else {
        options.wait = Patience();
    }
    return options;
}

}  // namespace codetext::cli
