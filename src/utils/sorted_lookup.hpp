#pragma once

// Going through ascending numbers side by side.
//
//   codetext::SortedLookup listed(ids);
//   for (std::int64_t id : others) if (listed.contains(id)) use(id);

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace codetext {

/// As std::lower_bound. Fast when the place is near `begin`: it looks 1, 2, 4, 8 and so on places
/// away first, as in J. L. Bentley and A. C. Yao, "An almost optimal algorithm for unbounded
/// searching", 1976.
template <typename Iterator, typename Value>
Iterator galloping_lower_bound(Iterator begin, Iterator end, const Value& value) {
    std::ptrdiff_t step = 1;
    while (step < end - begin && *(begin + step) < value) {
        begin += step;
        step *= 2;
    }
    return std::lower_bound(begin, begin + std::min(step + 1, end - begin), value);
}

/// Looks numbers up in an ascending list. Asked for in ascending order, near enough, each takes a
/// step or two. The list must outlive it.
class SortedLookup {
  public:
    explicit SortedLookup(std::span<const std::int64_t> numbers) : _numbers(numbers) {}

    bool contains(std::int64_t number) {
        if (_next == _numbers.size() || _numbers[_next] > number) _next = 0;
        const auto from = _numbers.begin() + static_cast<std::ptrdiff_t>(_next);
        const auto found = galloping_lower_bound(from, _numbers.end(), number);
        _next = static_cast<std::size_t>(found - _numbers.begin());
        return found != _numbers.end() && *found == number;
    }

  private:
    std::span<const std::int64_t> _numbers;
    std::size_t _next = 0;
};

}  // namespace codetext
