#include "search/ordered_work.hpp"

#include <algorithm>

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
    const std::size_t item = _next_item++;
    if (_own_worker) return _own_worker(item);
    const std::size_t position = item % _options.batch_items;
    if (position == 0) _current = _take_batch();
    if (position == _current.results.size()) std::rethrow_exception(_current.failure);
    return std::move(_current.results[position]);
}

void OrderedWork::_serve(const Worker& worker) {
    while (const std::optional<std::size_t> batch = _claim()) {
        Batch done = _work_on(*batch, worker);
        const std::lock_guard lock(_mutex);
        _waiting_bytes += done.size_bytes;
        _done.emplace(*batch, std::move(done));
        if (*batch == _taken) _has_batch.notify_one();
    }
}

std::optional<std::size_t> OrderedWork::_claim() {
    std::unique_lock lock(_mutex);
    // The batch that next() waits for may always be begun.
    _has_room.wait(lock, [&] {
        const bool room =
            _claimed - _taken < _options.window_batches && _waiting_bytes < _options.window_bytes;
        return _stopping || room || _claimed == _taken;
    });
    if (_stopping || _claimed * _options.batch_items >= _items) return std::nullopt;
    return _claimed++;
}

OrderedWork::Batch OrderedWork::_work_on(std::size_t batch, const Worker& worker) const {
    Batch done;
    const std::size_t first = batch * _options.batch_items;
    const std::size_t end = std::min(first + _options.batch_items, _items);
    try {
        for (std::size_t item = first; item < end; ++item) {
            done.results.push_back(worker(item));
            done.size_bytes += done.results.back().out.size();
        }
    } catch (...) {
        done.failure = std::current_exception();
    }
    return done;
}

OrderedWork::Batch OrderedWork::_take_batch() {
    std::unique_lock lock(_mutex);
    _has_batch.wait(lock, [&] { return _done.contains(_taken); });
    Batch batch = std::move(_done.extract(_taken).mapped());
    ++_taken;
    _waiting_bytes -= batch.size_bytes;
    lock.unlock();
    _has_room.notify_all();
    return batch;
}

}  // namespace codetext::search
