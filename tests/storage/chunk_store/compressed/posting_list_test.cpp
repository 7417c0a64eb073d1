#include "storage/chunk_store/compressed/posting_list.hpp"

#include <gtest/gtest.h>

#include <random>

namespace codetext::chunk_store {
namespace {

using Numbers = std::vector<std::uint16_t>;

void expect_round_trip(const Numbers& numbers) {
    std::string bytes = "before";
    const std::uint8_t parameter = append_postings(numbers, bytes);
    const PostingList list{static_cast<std::uint32_t>(numbers.size()), parameter,
                           std::string_view(bytes).substr(6)};
    Numbers read;
    ASSERT_TRUE(read_postings(list, read));
    ASSERT_EQ(read, numbers);
    for (std::size_t bytes_left = 0; bytes_left + 1 < std::min<std::size_t>(list.bytes.size(), 900);
         ++bytes_left) {
        ASSERT_FALSE(read_postings({list.count, parameter, list.bytes.substr(0, bytes_left)}, read))
            << bytes_left;
    }
}

TEST(posting_list, reads_back_every_small_list) {
    for (unsigned set = 1; set < 1u << 14; ++set) {
        Numbers numbers;
        for (std::uint16_t i = 0; i < 14; ++i) {
            if (set >> i & 1) numbers.push_back(i);
        }
        expect_round_trip(numbers);
    }
}

TEST(posting_list, reads_back_lists_of_every_density) {
    std::mt19937 random(7);
    for (const double density : {1.0, 0.9, 0.5, 0.1, 0.01, 0.001, 0.0001}) {
        std::bernoulli_distribution holds(density);
        Numbers numbers = {0};
        for (std::uint32_t i = 1; i < 65535; ++i) {
            // Clusters, as files make them, with gaps far above the mean.
            if (i / 4096 % 3 != 1 && holds(random)) {
                numbers.push_back(static_cast<std::uint16_t>(i));
            }
        }
        numbers.push_back(65535);
        SCOPED_TRACE(density);
        expect_round_trip(numbers);
    }
}

}  // namespace
}  // namespace codetext::chunk_store
