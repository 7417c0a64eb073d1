#pragma once

// Work that is done once, by the thread that first needs its result.
//
//   Once once;
//   once.run([&] { text += "unpacked"; });

#include <atomic>
#include <mutex>

namespace codetext {

/// Not std::call_once: some C++ libraries wait for ever after a call that threw.
class Once {
  public:
    /// Does the work unless it is done; others who ask wait. When it throws it is not done, and the
    /// next who asks does it again.
    template <typename Work>
    void run(const Work& work) {
        if (_is_done.load(std::memory_order_acquire)) return;
        const std::lock_guard lock(_mutex);
        if (_is_done.load(std::memory_order_relaxed)) return;
        work();
        _is_done.store(true, std::memory_order_release);
    }

  private:
    std::mutex _mutex;
    std::atomic<bool> _is_done = false;
};

}  // namespace codetext
