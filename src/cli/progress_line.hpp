#pragma once

// One line on a terminal that says how far a run of the indexer is.

#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace codetext::cli {

/// Shows nothing unless `shown`. The line is cleared at the end.
class ProgressLine {
  public:
    explicit ProgressLine(bool shown) : _shown(shown) {}
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { clear(); }

    void show(std::int64_t done, std::int64_t total) {
        if (!_shown || std::chrono::steady_clock::now() < _next) return;
        constexpr std::chrono::milliseconds PAUSE(100);
        _next = std::chrono::steady_clock::now() + PAUSE;
        _dirty = true;
        fmt::print(stderr, "\rindexing {} of {} files", done, total);
        std::fflush(stderr);
    }

    void clear() {
        if (std::exchange(_dirty, false)) fmt::print(stderr, "\r\033[K");
    }

  private:
    bool _shown;
    bool _dirty = false;
    std::chrono::steady_clock::time_point _next = std::chrono::steady_clock::now();
};

}  // namespace codetext::cli
