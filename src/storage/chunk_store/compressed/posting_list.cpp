// Each number is coded by its gap, the numbers left out since the one before. A Rice code with
// parameter k writes gap >> k zeros, a one, and the low k bits (R. F. Rice, "Some practical
// universal noiseless coding techniques", JPL publication 79-22, 1979). The best k is looked for
// from the one that suits evenly spread numbers downwards, by the exact size of the list: numbers
// cluster, since the chunks of one file lie side by side. k = 0 makes the list a bitmap, which is
// read a word at a time. Coding and reading are linear in the list.

#include "storage/chunk_store/compressed/posting_list.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace codetext::chunk_store {

namespace {

static_assert(std::endian::native == std::endian::little, "bits are read eight bytes at a time");

constexpr std::uint8_t MAX_PARAMETER = 15;

/// Writes bits, the lowest of each byte first. REQUIRES: eight bytes of room after the last one.
class BitWriter {
  public:
    explicit BitWriter(char* bytes) : _bytes(bytes) {}
    /// At most 56 bits.
    void put(std::uint64_t bits, unsigned count) {
        _pending |= bits << _used;
        _used += count;
        std::memcpy(_bytes, &_pending, sizeof _pending);
        const unsigned whole = _used / 8;
        _bytes += whole;
        _pending >>= 8 * whole;
        _used %= 8;
    }
    void put_zeros(std::uint32_t count) {
        for (; count > 48; count -= 48) put(0, 48);
        put(0, count);
    }

  private:
    char* _bytes;                ///< the byte that is being filled
    std::uint64_t _pending = 0;  ///< its bits so far
    unsigned _used = 0;          ///< how many, below 8
};

/// Takes bits from bytes. After their end it gives zeros.
class BitReader {
  public:
    explicit BitReader(std::string_view bytes) : _bytes(bytes) {}
    /// Takes the zeros before the next one bit, and that bit; returns how many zeros. When there
    /// are more than `limit`, returns `limit` + 1.
    std::uint32_t take_unary(std::uint32_t limit) {
        std::uint32_t zeros = 0;
        while (true) {
            const std::uint64_t window = _window();
            if (window != 0) {
                const auto run = static_cast<unsigned>(std::countr_zero(window));
                _bit += run + 1;
                return zeros + run;
            }
            zeros += 56;
            _bit += 56;
            if (zeros > limit || _bit > _bytes.size() * 8) return limit + 1;
        }
    }
    std::uint32_t take(unsigned count) {
        const std::uint64_t window = _window();
        _bit += count;
        return static_cast<std::uint32_t>(window & ((std::uint64_t{1} << count) - 1));
    }

  private:
    /// The next 56 bits or more.
    std::uint64_t _window() const {
        const std::size_t byte = _bit / 8;
        std::uint64_t window = 0;
        if (byte + 8 <= _bytes.size()) {
            std::memcpy(&window, _bytes.data() + byte, 8);
        } else if (byte < _bytes.size()) {
            std::memcpy(&window, _bytes.data() + byte, _bytes.size() - byte);
        }
        return window >> _bit % 8 & ((std::uint64_t{1} << 56) - 1);
    }
    std::string_view _bytes;
    std::size_t _bit = 0;
};

/// Fills `gaps` with the gap before each number.
void take_gaps(std::span<const std::uint16_t> numbers, std::span<std::uint16_t> gaps) {
    std::uint32_t next = 0;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        gaps[i] = static_cast<std::uint16_t>(numbers[i] - next);
        next = numbers[i] + 1u;
    }
}

std::uint64_t coded_bits(std::span<const std::uint16_t> gaps, unsigned parameter) {
    std::uint32_t zeros = 0;  // at most 2^16: all gaps together lie below that
    for (const std::uint16_t gap : gaps) zeros += std::uint32_t{gap} >> parameter;
    return gaps.size() * (parameter + 1u) + zeros;
}

struct Code {
    std::uint8_t parameter;
    std::uint64_t bits;
};

/// The smallest code, from the parameter of evenly spread numbers downwards.
Code best_code(std::span<const std::uint16_t> gaps, std::uint32_t bound) {
    const auto count = static_cast<std::uint32_t>(gaps.size());
    const std::uint32_t mean_gap = (bound - count) / count;
    auto parameter = static_cast<std::uint8_t>(std::bit_width(mean_gap));
    parameter = std::min(parameter, MAX_PARAMETER);
    std::uint64_t bits = coded_bits(gaps, parameter);
    while (parameter > 0) {
        const std::uint64_t fewer = coded_bits(gaps, parameter - 1u);
        if (fewer >= bits) break;
        bits = fewer;
        --parameter;
    }
    return {parameter, bits};
}

}  // namespace

std::uint8_t append_postings(std::span<const std::uint16_t> numbers, std::string& bytes) {
    if (numbers.empty()) return 0;
    // Most lists are short, and an allocation for each would cost more than coding it.
    std::array<std::uint16_t, 256> few;
    std::vector<std::uint16_t> many(numbers.size() > few.size() ? numbers.size() : 0);
    const std::span<std::uint16_t> gaps =
        many.empty() ? std::span(few).first(numbers.size()) : std::span(many);
    take_gaps(numbers, gaps);
    const auto [parameter, bits] = best_code(gaps, numbers.back() + 1u);
    const std::size_t before = bytes.size();
    const std::size_t size = before + (bits + 7) / 8;
    // The writer always stores eight bytes; those past the end are cut off below.
    bytes.resize(size + sizeof(std::uint64_t));
    BitWriter writer(bytes.data() + before);
    const std::uint32_t mask = (1u << parameter) - 1;
    for (const std::uint32_t gap : gaps) {
        const std::uint32_t zeros = gap >> parameter;
        const std::uint64_t tail = std::uint64_t{gap & mask} << 1 | 1;
        // At most 31 zeros, a one and 15 bits: put() takes them at once.
        if (zeros < 32) {
            writer.put(tail << zeros, zeros + 1 + parameter);
        } else {
            writer.put_zeros(zeros);
            writer.put(tail, 1u + parameter);
        }
    }
    bytes.resize(size);
    return parameter;
}

namespace {

/// With parameter 0 each one bit stands for the number of its place: a bitmap.
void read_bitmap(std::string_view bytes, std::uint32_t count, std::vector<std::uint16_t>& numbers) {
    for (std::size_t byte = 0; byte < bytes.size() && numbers.size() < count; byte += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data() + byte, std::min<std::size_t>(8, bytes.size() - byte));
        for (; word != 0; word &= word - 1) {
            const auto bit = static_cast<std::size_t>(std::countr_zero(word));
            numbers.push_back(static_cast<std::uint16_t>(byte * 8 + bit));
        }
    }
}

}  // namespace

bool read_postings(const PostingList& list, std::vector<std::uint16_t>& numbers) {
    constexpr std::uint32_t BOUND = 1u << 16;
    if (list.count > BOUND || list.parameter > MAX_PARAMETER) return false;
    numbers.clear();
    numbers.reserve(list.count);
    if (list.parameter == 0) {
        if (list.bytes.size() > BOUND / 8) return false;
        read_bitmap(list.bytes, list.count, numbers);
        return numbers.size() == list.count;
    }
    BitReader reader(list.bytes);
    std::uint32_t next = 0;
    for (std::uint32_t i = 0; i < list.count; ++i) {
        const std::uint32_t zeros = reader.take_unary(BOUND);
        next += (zeros << list.parameter) + reader.take(list.parameter);
        if (next >= BOUND) return false;
        numbers.push_back(static_cast<std::uint16_t>(next++));
    }
    return true;
}

}  // namespace codetext::chunk_store
