#include "search/run/ordered_work.hpp"

#include <algorithm>
#include <utility>

namespace codetext::search {

OrderedWork::OrderedWork(std::size_t items, OrderedWorkOptions options,
                         const std::function<Worker()>& make_worker)
    : OrderedWork(items, options) {
    // A thread that cannot be made ends those that were: the object counts as made already.
    if (_options.threads == 0) {
        _own_worker = make_worker();
        return;
    }
    for (unsigned i = 0; i < _options.threads; ++i) {
        _threads.emplace_back([this, worker = make_worker()] { _serve(worker); });
    }
}

OrderedWork::~OrderedWork() {
    {
        const std::lock_guard lock(_mutex);
        _stopping = true;
    }
    _has_room.notify_all();
}

Rendered OrderedWork::next() {
    if (_own_worker) return _own_worker(_taken++);
    if (_position == _current.results.size() && !_current.failure) {
        _current = _take_batch();
        _position = 0;
    }
    if (_position == _current.results.size()) std::rethrow_exception(_current.failure);
    return std::move(_current.results[_position++]);
}

void OrderedWork::_serve(const Worker& worker) {
    while (std::optional<std::size_t> item = _claim()) {
        const std::size_t end = std::min(*item + _options.batch_items, _items);
        while (item && *item < end) item = _hand_in(*item, _work_on(*item, end, worker));
    }
}

bool OrderedWork::_may_begin(std::size_t item) const {
    // The item that next() waits for may always be begun.
    const bool room =
        item - _taken < _options.window_items && _waiting_bytes < _options.window_bytes;
    return _stopping || room || item == _taken;
}

std::optional<std::size_t> OrderedWork::_claim() {
    std::unique_lock lock(_mutex);
    _has_room.wait(lock, [&] { return _may_begin(_claimed); });
    if (_stopping || _claimed >= _items) return std::nullopt;
    return std::exchange(_claimed, _claimed + _options.batch_items);
}

OrderedWork::Batch OrderedWork::_work_on(std::size_t item, std::size_t end,
                                         const Worker& worker) const {
    Batch done;
    try {
        for (; item < end && done.size_bytes < _options.batch_bytes; ++item) {
            done.results.push_back(worker(item));
            done.size_bytes += done.results.back().out.size();
        }
    } catch (...) {
        done.failure = std::current_exception();
    }
    return done;
}

std::optional<std::size_t> OrderedWork::_hand_in(std::size_t item, Batch done) {
    const std::size_t next = item + done.results.size();
    const bool failed = done.failure != nullptr;
    std::unique_lock lock(_mutex);
    _waiting_bytes += done.size_bytes;
    _done.emplace(item, std::move(done));
    if (item == _taken) _has_batch.notify_one();
    if (failed) return std::nullopt;
    _has_room.wait(lock, [&] { return _may_begin(next); });
    return _stopping ? std::nullopt : std::optional(next);
}

OrderedWork::Batch OrderedWork::_take_batch() {
    std::unique_lock lock(_mutex);
    _has_batch.wait(lock, [&] { return _done.contains(_taken); });
    Batch batch = std::move(_done.extract(_taken).mapped());
    _taken += batch.results.size();
    _waiting_bytes -= batch.size_bytes;
    lock.unlock();
    _has_room.notify_all();
    return batch;
}

}  // namespace codetext::search
