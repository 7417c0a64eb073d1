#pragma once

// When the next refresh is due. Changes that follow one another quickly make one batch; a refresh
// that failed is tried again after pauses that grow; without events, refreshes come at intervals
// that grow with what one costs. Only arithmetic: the caller says what time it is.

#include <algorithm>
#include <chrono>
#include <optional>

namespace codetext::indexer {

class Pace {
  public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;
    using Duration = std::chrono::milliseconds;

    static constexpr Duration QUIET{60};     ///< after the last change of a batch
    static constexpr Duration LONGEST{400};  ///< after the first one, however many follow
    static constexpr Duration FIRST_RETRY{1'000}, LAST_RETRY{60'000};
    static constexpr Duration SHORTEST_POLL{2'000}, LONGEST_POLL{60'000};
    /// Polling costs a twentieth of the time of a processor.
    static constexpr int POLL_SHARE = 20;

    void polls() { _polls = true; }

    void changed(Time now) {
        if (!_first) _first = now;
        _last = now;
    }
    /// A refresh has ended well; `cost` is how long it took.
    void refreshed(Time now, Clock::duration cost) {
        _first.reset();
        _retry.reset();
        _pause = FIRST_RETRY;
        const Clock::duration poll =
            std::clamp<Clock::duration>(cost * POLL_SHARE, SHORTEST_POLL, LONGEST_POLL);
        _poll = now + poll;
    }
    void failed(Time now) {
        _retry = now + _pause;
        _pause = std::min(_pause * 2, LAST_RETRY);
    }

    /// None while there is nothing to do.
    std::optional<Time> due() const {
        if (_retry) return _retry;
        if (_polls) return _poll;
        if (!_first) return std::nullopt;
        return std::min<Time>(_last + QUIET, *_first + LONGEST);
    }

  private:
    bool _polls = false;
    std::optional<Time> _first, _retry;
    Time _last, _poll;
    Duration _pause = FIRST_RETRY;
};

}  // namespace codetext::indexer
