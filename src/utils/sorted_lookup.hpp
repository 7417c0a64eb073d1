#pragma once

// Looking up many numbers in an ascending list: quick when they ascend too.
//
//   codetext::SortedLookup listed(ids);
//   for (std::int64_t id : others) if (listed.contains(id)) use(id);

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace codetext {

/// The first place in [begin, end) whose value is not less than `value`, as std::lower_bound. It
/// doubles its step until it passes that place, then halves what is left: 2 log2(d) comparisons for
/// a place at distance d from `begin` (J. L. Bentley and A. C. Yao, "An almost optimal algorithm
/// for unbounded searching", 1976).
template <typename Iterator, typename Value>
Iterator galloping_lower_bound(Iterator begin, Iterator end, const Value& value) {
    std::ptrdiff_t step = 1;
    while (step < end - begin && *(begin + step) < value) {
        begin += step;
        step *= 2;
    }
    return std::lower_bound(begin, begin + std::min(step, end - begin), value);
}

/// Tells whether numbers are in an ascending list, which must outlive it. Each lookup begins where
/// the last one ended, or at the list's begin for a smaller number.
class SortedLookup {
  public:
    explicit SortedLookup(std::span<const std::int64_t> numbers)
        : _numbers(numbers), _place(_numbers.begin()) {}

    bool contains(std::int64_t number) {
        if (_place == _numbers.end() || *_place > number) _place = _numbers.begin();
        _place = galloping_lower_bound(_place, _numbers.end(), number);
        return _place != _numbers.end() && *_place == number;
    }

  private:
    std::span<const std::int64_t> _numbers;
    std::span<const std::int64_t>::iterator _place;  ///< where the last lookup ended
};

}  // namespace codetext
