#pragma once

// What a search did, step by step, for a user who wants to know why it took so long or found so
// little. A search that nobody asks about keeps no log.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace codetext::search {

struct SearchStep {
    std::string what;     ///< one line
    std::int64_t ns = 0;  ///< since the step before
};

class StepLog {
  public:
    explicit StepLog(bool is_kept) : _is_kept(is_kept) {}

    /// Adds a step that is done now; `describe` is called only where the log is kept.
    template <typename Describe>
    void add(const Describe& describe) {
        if (!_is_kept) return;
        const auto now = std::chrono::steady_clock::now();
        const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(now - _before).count();
        _steps.push_back({describe(), ns});
        _before = std::chrono::steady_clock::now();
    }
    const std::vector<SearchStep>& steps() const { return _steps; }

  private:
    bool _is_kept;
    std::chrono::steady_clock::time_point _before = std::chrono::steady_clock::now();
    std::vector<SearchStep> _steps;
};

}  // namespace codetext::search
