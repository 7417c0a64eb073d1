#include "storage/chunk_store/compressed/posting_list.hpp"

#include <gtest/gtest.h>

#include <random>

namespace codetext::chunk_store {
namespace {

using Numbers = std::vector<std::uint16_t>;

// Also, a list that is cut is noticed.
void expect_round_trip(const Numbers& numbers) {
    std::string bytes = "before";
    const std::uint8_t parameter = append_postings(numbers, bytes);
    const std::string_view body = std::string_view(bytes).substr(6);
    const auto count = static_cast<std::uint32_t>(numbers.size());
    Numbers read;
    ASSERT_TRUE(read_postings({count, parameter, body}, read));
    ASSERT_EQ(read, numbers);
    for (std::size_t left = 0; left + 1 < std::min<std::size_t>(body.size(), 900); ++left) {
        ASSERT_FALSE(read_postings({count, parameter, body.substr(0, left)}, read)) << left;
    }
}

TEST(posting_list, reads_back_every_small_list_and_lists_of_every_density) {
    for (unsigned set = 1; set < 1u << 14; ++set) {
        Numbers numbers;
        for (std::uint16_t i = 0; i < 14; ++i) {
            if (set >> i & 1) numbers.push_back(i);
        }
        expect_round_trip(numbers);
    }
    std::mt19937 random(7);
    for (const double density : {1.0, 0.9, 0.5, 0.1, 0.01, 0.001, 0.0001}) {
        SCOPED_TRACE(density);
        Numbers numbers = {0};
        for (std::uint16_t i = 1; i < 65535; ++i) {
            // Clusters, as files make them, with gaps far above the mean.
            const bool listed = i / 4096 % 3 != 1 && std::bernoulli_distribution(density)(random);
            if (listed) numbers.push_back(i);
        }
        numbers.push_back(65535);
        expect_round_trip(numbers);
    }
}

}  // namespace
}  // namespace codetext::chunk_store
