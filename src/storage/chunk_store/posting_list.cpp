#include "storage/chunk_store/posting_list.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace codetext::chunk_store {

namespace {

static_assert(std::endian::native == std::endian::little, "bits are read eight bytes at a time");

constexpr std::uint8_t MAX_PARAMETER = 15;

/// Appends bits to a string, the lowest of each byte first.
class BitWriter {
  public:
    explicit BitWriter(std::string& bytes) : _bytes(bytes) {}
    void put(std::uint64_t bits, unsigned count) {
        _pending |= bits << _used;
        _used += count;
        while (_used >= 32) _put_word();
    }
    void put_zeros(std::uint32_t count) {
        for (; count >= 24; count -= 24) put(0, 24);
        put(0, count);
    }
    void finish() {
        for (; _used > 0; _used -= std::min(_used, 8u)) {
            _bytes.push_back(static_cast<char>(_pending));
            _pending >>= 8;
        }
    }

  private:
    void _put_word() {
        char word[4];
        std::memcpy(word, &_pending, sizeof word);
        _bytes.append(word, sizeof word);
        _pending >>= 32;
        _used -= 32;
    }
    std::string& _bytes;
    std::uint64_t _pending = 0;
    unsigned _used = 0;
};

/// Takes bits from bytes; past their end it gives zeros.
class BitReader {
  public:
    explicit BitReader(std::string_view bytes) : _bytes(bytes) {}
    /// Number of zeros before the next one, both taken; at most `limit` + 1 when there are more.
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

std::uint64_t coded_bits(std::span<const std::uint16_t> numbers, unsigned parameter) {
    std::uint64_t bits = numbers.size() * (parameter + 1u);
    std::uint32_t next = 0;
    for (const std::uint32_t number : numbers) {
        bits += (number - next) >> parameter;
        next = number + 1;
    }
    return bits;
}

/// The best parameter near the one that suits randomly spread numbers; files make them cluster.
std::uint8_t best_parameter(std::span<const std::uint16_t> numbers) {
    const std::uint32_t mean_gap =
        (numbers.back() + 1u - static_cast<std::uint32_t>(numbers.size())) /
        static_cast<std::uint32_t>(numbers.size());
    auto parameter = static_cast<std::uint8_t>(std::bit_width(mean_gap));
    parameter = std::min(parameter, MAX_PARAMETER);
    std::uint64_t bits = coded_bits(numbers, parameter);
    while (parameter > 0) {
        const std::uint64_t fewer = coded_bits(numbers, parameter - 1u);
        if (fewer >= bits) break;
        bits = fewer;
        --parameter;
    }
    return parameter;
}

}  // namespace

std::uint8_t append_postings(std::span<const std::uint16_t> numbers, std::string& bytes) {
    if (numbers.empty()) return 0;
    const std::uint8_t parameter = best_parameter(numbers);
    const std::uint32_t mask = (1u << parameter) - 1;
    BitWriter writer(bytes);
    std::uint32_t next = 0;
    for (const std::uint32_t number : numbers) {
        const std::uint32_t gap = number - next;
        const std::uint32_t zeros = gap >> parameter;
        const std::uint64_t tail = std::uint64_t{gap & mask} << 1 | 1;
        if (zeros < 16) {
            writer.put(tail << zeros, zeros + 1 + parameter);
        } else {
            writer.put_zeros(zeros);
            writer.put(tail, 1u + parameter);
        }
        next = number + 1;
    }
    writer.finish();
    return parameter;
}

namespace {

/// Where gaps have no low bits, each one bit is a number: a bitmap.
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
