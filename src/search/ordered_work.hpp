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

#include "search/file_search.hpp"

namespace codetext::search {

/// What the work on one item gives.
struct Rendered {
    std::string out;
    Stats stats;
};

struct OrderedWorkOptions {
    unsigned threads = 0;              ///< 0: each item is worked on when its result is asked for
    std::size_t batch_items = 8;       ///< items that a thread takes at a time
    std::size_t window_batches = 128;  ///< batches that may wait for next() to take them
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
    std::optional<std::size_t> _claim();
    Batch _work_on(std::size_t batch, const Worker& worker) const;
    Batch _take_batch();

    std::size_t _items;
    OrderedWorkOptions _options;
    std::size_t _next_item = 0;
    Worker _own_worker;  ///< of a search without threads
    Batch _current;      ///< what next() hands out

    std::mutex _mutex;  ///< guards what follows
    std::condition_variable _has_room, _has_batch;
    std::unordered_map<std::size_t, Batch> _done;
    std::size_t _claimed = 0, _taken = 0;  ///< batches
    std::size_t _waiting_bytes = 0;
    bool _stopping = false;

    std::vector<std::jthread> _threads;
};

}  // namespace codetext::search
