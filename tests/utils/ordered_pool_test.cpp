#include "utils/ordered_pool.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace codetext {
namespace {

using Pool = OrderedPool<std::string>;

constexpr PoolOptions OPTIONS[] = {
    {.threads = 0},
    {.threads = 1, .batch_items = 4, .batch_bytes = 12, .window_bytes = 10},
    {.threads = 2, .window_items = 1},
    {.threads = 3, .batch_items = 4, .batch_bytes = 1, .window_items = 3, .window_bytes = 10},
    {.threads = 3, .batch_items = 7, .window_items = 20},
    {.threads = 20, .window_bytes = 1},
};

Pool make_pool(std::size_t items, const Pool::Worker& worker, const PoolOptions& options,
               std::size_t expected_bytes = 0) {
    return Pool({items, [&] { return worker; }, [](const std::string& text) { return text.size(); },
                 [expected_bytes](std::size_t) { return expected_bytes; }},
                options);
}

std::string text_of(std::size_t item) {
    return std::string(item * 7 % 5, 'x') + (item % 3 == 0 ? "" : std::to_string(item));
}

void expect_texts(Pool& pool, std::size_t count) {
    for (std::size_t item = 0; item < count; ++item) {
        ASSERT_EQ(pool.next(), text_of(item)) << "item " << item;
    }
}

TEST(ordered_pool, hands_results_out_in_order_and_a_failure_at_its_item) {
    for (const PoolOptions& options : OPTIONS) {
        Pool small = make_pool(1, text_of, options);
        expect_texts(small, 1);
        for (const std::size_t failing : {0U, 37U, 98U, 99U, 100U}) {
            SCOPED_TRACE(std::to_string(&options - OPTIONS) + ": " + std::to_string(failing));
            std::atomic<int> failures = 0;
            const auto worker = [&](std::size_t item) {
                return item == failing && ++failures > 0 ? throw std::runtime_error("item")
                                                         : text_of(item);
            };
            Pool pool = make_pool(100, worker, options, 3);
            expect_texts(pool, failing);
            if (failing == 100) continue;
            EXPECT_THROW(pool.next(), std::runtime_error);
            EXPECT_EQ(failures, 1);
        }
    }
}

TEST(ordered_pool, may_go_while_items_are_left) {
    for (const PoolOptions& options : OPTIONS) {
        for (const std::size_t taken : {0U, 1U, 50U}) {
            SCOPED_TRACE(&options - OPTIONS);
            std::atomic<std::size_t> begun = 0, ended = 0;
            const auto worker = [&](std::size_t item) {
                ++begun;
                std::string text = text_of(item);
                ++ended;
                return text;
            };
            {
                Pool pool = make_pool(100'000, worker, options);
                expect_texts(pool, taken);
            }
            EXPECT_EQ(begun, ended);
            EXPECT_LT(begun, 10'000U);
            if (options.threads == 0) {
                EXPECT_EQ(begun, taken);
            }
        }
    }
}

// The pool is left alone twice, until it has begun what the window has room for; a pool that begins
// less never ends.
TEST(ordered_pool, begins_as_much_as_the_window_holds) {
    const struct {
        PoolOptions options;
        std::size_t result_bytes, expected_bytes;
        std::size_t begun;       ///< items that are begun ahead of the first next()
        std::size_t most_ahead;  ///< items by which one that is begun may be ahead of next()
    } CASES[] = {
        {{.threads = 3, .window_items = 10}, 1, 0, 10, 9},
        {{.threads = 3, .batch_items = 4, .window_items = 10}, 1, 0, 10, 9 + 3 + 3},
        {{.threads = 3, .window_bytes = 100}, 10, 0, 10, 11},
        {{.threads = 3, .batch_items = 50, .batch_bytes = 10, .window_bytes = 100}, 10, 0, 10, 111},
        {{.threads = 1, .batch_items = 50, .batch_bytes = 20, .window_bytes = 100}, 10, 0, 10, 11},
        {{.threads = 3, .window_bytes = 100}, 100, 100, 1, 0},
        {{.threads = 3, .window_items = 50, .window_bytes = 100}, 1, 40, 50, 49}};
    for (const auto& c : CASES) {
        std::atomic<std::size_t> asked = 0, begun = 0, most_ahead = 0;
        const auto worker = [&](std::size_t item) {
            const std::size_t next = asked, ahead = item > next ? item - next : 0;
            std::size_t most = most_ahead;
            while (ahead > most && !most_ahead.compare_exchange_weak(most, ahead)) continue;
            ++begun;
            begun.notify_one();
            return std::string(c.result_bytes, 'x');
        };
        Pool pool = make_pool(400, worker, c.options, c.expected_bytes);
        for (std::size_t item = 0; item < 400; ++item) {
            // At the start, and half-way, where threads go on when the window is half empty.
            const std::size_t wanted = item == 0 ? c.begun : item == 200 ? 200 + c.begun / 2 : 0;
            for (std::size_t now; (now = begun) < wanted;) begun.wait(now);
            ++asked;
            pool.next();
        }
        EXPECT_LE(most_ahead, c.most_ahead) << &c - CASES;
    }
}

}  // namespace
}  // namespace codetext
