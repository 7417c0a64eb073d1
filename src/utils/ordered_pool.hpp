#pragma once

// Threads that work on a row of items. The results come out in the order of the items.
//
//   const auto make_worker = [&] { return [&](std::size_t item) { return read(files[item]); }; };
//   const auto size = [](const std::string& text) { return text.size(); };
//   OrderedPool<std::string> pool({files.size(), make_worker, size}, {.threads = 2});
//   for (std::size_t item = 0; item < files.size(); ++item) print(pool.next());
//
// A thread claims a batch of neighbouring items, works on them without a lock, and hands all their
// results in at once, or in parts when they grow large. A lock is taken a few times for each batch.
//
// The window bounds memory: no item is begun while too many items, or too many bytes, are ahead of
// next(). The item that next() waits for may always be begun, whatever its size, so the pool always
// makes progress.

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "utils/threads.hpp"

namespace codetext {

struct PoolOptions {
    unsigned threads = 0;         ///< 0: next() itself does the work
    std::size_t batch_items = 1;  ///< items that a thread claims at a time; at least 1
    std::size_t batch_bytes =
        1 << 20;  ///< a thread with so many bytes of results hands them in; at least 1
    std::size_t window_items = 2048;      ///< items that may be begun ahead of next()
    std::size_t window_bytes = 32 << 20;  ///< bytes ahead of next() from which no item is begun
};

template <typename Result>
class OrderedPool {
  public:
    /// Works on one item, given by its index.
    using Worker = std::function<Result(std::size_t item)>;

    struct Work {
        std::size_t items = 0;
        /// Called by the constructor, once for each thread (once when there are none, never when
        /// there are no items). Only one thread at a time calls a worker.
        std::function<Worker()> make_worker;
        /// The bytes that a result takes in the window.
        std::function<std::size_t(const Result& result)> result_bytes;
        /// The bytes that an item takes in the window while it is worked on; none: no bytes. It
        /// must always return the same number for an item.
        std::function<std::size_t(std::size_t item)> expected_bytes = nullptr;
    };

    /// Starts the threads. Where the system cannot make as many as wanted, fewer do the work; where
    /// it can make none, next() does. Throws what `make_worker` throws.
    OrderedPool(Work work, PoolOptions options) : _work(std::move(work)), _options(options) {
        const std::size_t batches = (_work.items + _options.batch_items - 1) / _options.batch_items;
        const std::size_t workers = std::min<std::size_t>(std::max(_options.threads, 1U), batches);
        _workers.reserve(workers);  // a worker must never move
        for (std::size_t i = 0; i < workers; ++i) {
            const Worker& worker = _workers.emplace_back(_work.make_worker());
            const auto serve = [this, &worker](const std::stop_token& stop) {
                _serve(stop, worker);
            };
            if (_options.threads == 0 || !add_thread(_threads, serve)) break;
        }
    }

    /// Waits for the items that are being worked on; begins no other.
    ~OrderedPool() {
        for (std::jthread& thread : _threads) thread.request_stop();
    }
    OrderedPool(const OrderedPool&) = delete;
    OrderedPool& operator=(const OrderedPool&) = delete;

    /// The result of the first item, then of each item after it. Throws what the work on that item
    /// threw. REQUIRES: called at most once for each item, and not again after it threw.
    Result next() {
        if (_threads.empty()) return _workers.front()(_taken++);
        if (_position == _current.results.size() && !_current.failure) {
            _current = _take_batch();
            _position = 0;
        }
        if (_position == _current.results.size()) std::rethrow_exception(_current.failure);
        return std::move(_current.results[_position++]);
    }

  private:
    /// The results of neighbouring items.
    struct Batch {
        std::vector<Result> results;
        std::exception_ptr failure;  ///< of the item after the last result
        std::size_t size_bytes = 0;
    };

    void _serve(const std::stop_token& stop, const Worker& worker) {
        try {
            _work_through(stop, worker);
        } catch (...) {  // no memory to hand results in
            const std::lock_guard lock(_mutex);
            _failure = std::current_exception();
            _has_batch.notify_one();
        }
    }

    void _work_through(const std::stop_token& stop, const Worker& worker) {
        while (std::optional<std::size_t> item = _claim(stop)) {
            const std::size_t end = std::min(*item + _options.batch_items, _work.items);
            while (item && *item < end) {
                item = _hand_in(stop, *item, end, _work_on(stop, *item, end, worker));
            }
        }
    }

    bool _may_begin(std::size_t item) const {
        const bool has_room =
            item - _taken < _options.window_items && _window_bytes < _options.window_bytes;
        return has_room || item == _taken;
    }

    /// Threads that wait for room are woken when there is room for much work, not after each batch.
    bool _is_half_empty() const {
        return _claimed - _taken < _options.window_items / 2 &&
               _window_bytes < _options.window_bytes / 2;
    }

    std::size_t _expected_bytes(std::size_t begin, std::size_t end) const {
        std::size_t bytes = 0;
        if (!_work.expected_bytes) return bytes;
        for (std::size_t item = begin; item < end; ++item) bytes += _work.expected_bytes(item);
        return bytes;
    }

    /// Waits until the next batch may be begun. Returns its first item; none when no batch is left.
    std::optional<std::size_t> _claim(const std::stop_token& stop) {
        std::unique_lock lock(_mutex);
        _has_room.wait(lock, stop,
                       [this] { return _claimed == _work.items || _may_begin(_claimed); });
        if (stop.stop_requested() || _claimed == _work.items) return std::nullopt;
        const std::size_t end = std::min(_claimed + _options.batch_items, _work.items);
        _window_bytes += _expected_bytes(_claimed, end);
        return std::exchange(_claimed, end);
    }

    Batch _work_on(const std::stop_token& stop, std::size_t item, std::size_t end,
                   const Worker& worker) const {
        Batch done;
        try {
            for (; item < end && done.size_bytes < _options.batch_bytes; ++item) {
                if (stop.stop_requested()) break;
                done.results.push_back(worker(item));
                done.size_bytes += _work.result_bytes(done.results.back());
            }
        } catch (...) {
            done.failure = std::current_exception();
        }
        return done;
    }

    /// Takes the results of `item` and those after it. Returns the item that the thread goes on
    /// with, once it may be begun; none when the thread is to leave the batch.
    std::optional<std::size_t> _hand_in(const std::stop_token& stop, std::size_t item,
                                        std::size_t end, Batch done) {
        const std::size_t next = item + done.results.size();
        const bool failed = done.failure != nullptr;
        std::unique_lock lock(_mutex);
        _window_bytes += done.size_bytes;
        _window_bytes -= _expected_bytes(item, next);
        _done.emplace(item, std::move(done));
        if (item == _taken) _has_batch.notify_one();
        if (failed || next == end) return std::nullopt;
        _has_room.wait(lock, stop, [&] { return _may_begin(next); });
        return stop.stop_requested() ? std::nullopt : std::optional(next);
    }

    Batch _take_batch() {
        std::unique_lock lock(_mutex);
        _has_batch.wait(lock, [this] { return _failure || _done.contains(_taken); });
        if (_failure) std::rethrow_exception(_failure);
        Batch batch = std::move(_done.extract(_taken).mapped());
        _taken += batch.results.size();
        _window_bytes -= batch.size_bytes;
        // The next item may be one that a thread waits for room to begin.
        const bool wake = _is_half_empty() || !_done.contains(_taken);
        lock.unlock();
        if (wake) _has_room.notify_all();
        return batch;
    }

    Work _work;
    PoolOptions _options;
    std::vector<Worker> _workers;
    Batch _current;             ///< what next() hands out
    std::size_t _position = 0;  ///< of the next result in it

    std::mutex _mutex;  ///< guards the members down to _failure
    std::condition_variable_any _has_room;
    std::condition_variable _has_batch;
    std::unordered_map<std::size_t, Batch> _done;  ///< by their first item
    std::size_t _claimed = 0;                      ///< items that threads have claimed
    std::size_t _taken = 0;                        ///< items whose results next() has taken
    std::size_t _window_bytes = 0;  ///< of results in _done, and expected of claimed items
    std::exception_ptr _failure;    ///< of a thread, not of an item

    std::vector<std::jthread> _threads;  ///< last: joined before the rest goes
};

}  // namespace codetext
