#pragma once

// Work on a row of items, spread over threads, whose results come back in the items' order.
//
//   search::OrderedWork work(files.size(), {.threads = 2}, [&] { return worker_of_its_own(); });
//   for (std::size_t i = 0; i < files.size(); ++i) write(work.next().out);

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "search/run/file_search.hpp"

namespace codetext::search {

/// What the work on one item gives.
struct Rendered {
    std::string out;
    Stats stats;
};

struct OrderedWorkOptions {
    unsigned threads = 0;               ///< 0: each item is worked on when its result is asked for
    std::size_t batch_items = 24;       ///< items that a thread takes at a time
    std::size_t batch_bytes = 1 << 20;  ///< bytes of their results after which it hands in early
    std::size_t window_items = 2048;    ///< items that may be begun before next() takes the first
    std::size_t window_bytes = 32 << 20;  ///< bytes of results after which no more is begun
};

class OrderedWork {
  public:
    /// Works on the item at a position, from 0.
    using Worker = std::function<Rendered(std::size_t item)>;

    /// `make_worker` is called in this constructor, once a thread (once without threads); each
    /// worker is only ever called by one thread at a time.
    OrderedWork(std::size_t items, OrderedWorkOptions options,
                const std::function<Worker()>& make_worker);
    /// Waits for the items that are being worked on; no more are begun.
    ~OrderedWork();
    OrderedWork(const OrderedWork&) = delete;
    OrderedWork& operator=(const OrderedWork&) = delete;

    /// The result of the first item, then of each item after it; to be called at most once an item.
    /// Throws what the work on that item threw; not to be called again then.
    Rendered next();

  private:
    OrderedWork(std::size_t items, OrderedWorkOptions options) : _items(items), _options(options) {}
    struct Batch {
        std::vector<Rendered> results;
        std::exception_ptr failure;  ///< of the item behind the last result
        std::size_t size_bytes = 0;
    };
    void _serve(const Worker& worker);
    bool _may_begin(std::size_t item) const;
    /// The first item of a batch, once it may be begun; none when none is left.
    std::optional<std::size_t> _claim();
    Batch _work_on(std::size_t item, std::size_t end, const Worker& worker) const;
    /// Takes the results from `item` on; gives the item behind them, once it may be begun, or none
    /// when the batch is not to go on.
    std::optional<std::size_t> _hand_in(std::size_t item, Batch done);
    Batch _take_batch();

    std::size_t _items;
    OrderedWorkOptions _options;
    Worker _own_worker;         ///< of a search without threads
    Batch _current;             ///< what next() hands out
    std::size_t _position = 0;  ///< of the next result in it

    std::mutex _mutex;  ///< guards what follows
    std::condition_variable _has_room, _has_batch;
    std::unordered_map<std::size_t, Batch> _done;  ///< by their first item
    std::size_t _claimed = 0, _taken = 0;          ///< items
    std::size_t _waiting_bytes = 0;
    bool _stopping = false;

    std::vector<std::jthread> _threads;
};

}  // namespace codetext::search
