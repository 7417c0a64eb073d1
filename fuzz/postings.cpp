// Posting lists and their blocks: a list reads back, and any bytes are a list or damage, when their
// hash fits too.

#include "fuzz.hpp"
#include "storage/chunk_store/compressed/trigram_block.hpp"

namespace codetext::fuzz {

using namespace chunk_store;
using Numbers = std::vector<std::uint16_t>;

void read_any(const PostingList& list) {
    Numbers numbers;
    if (!read_postings(list, numbers)) return;
    require(numbers.size() == list.count, "a list has as many numbers as it says");
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        require(numbers[i - 1] < numbers[i], "numbers ascend");
    }
}

void read_block(const std::string& numbers, Blocks blocks, std::uint32_t trigram) {
    try {
        ByteReader reader(numbers, "", 0);
        for (int i = 0; i < 3; ++i) reader.varint();
        const bool is_tiled = blocks == Blocks::TILED;
        const std::size_t hashed = numbers.size() - (is_tiled ? reader.rest().size() : 0);
        std::string body;
        put_hash(body, block_hash(numbers.substr(0, hashed), is_tiled ? trigram : 0));
        body += numbers;
        const auto list = TrigramBlock(body, trigram, blocks).find(trigram);
        if (list) read_any({list->count, list->parameter, list->bytes});
    } catch (const DamagedChunk&) {
    }
}

void target(Input input) {
    const std::uint32_t trigram = input.number(3);
    read_block(input.rest(), Blocks::LOOSE, trigram);
    read_block(input.rest(), Blocks::TILED, trigram);
    Numbers numbers;
    std::uint32_t next = trigram & 0xFF;
    for (const char byte : input.rest()) {
        const auto gap = static_cast<unsigned char>(byte);
        next += gap < 0x80 ? gap : (gap - 0x80u) * 32;
        if (next > 0xFFFF) break;
        numbers.push_back(static_cast<std::uint16_t>(next++));
    }
    std::string bytes;
    const std::uint8_t parameter = append_postings(numbers, bytes);
    Numbers read;
    require(read_postings({static_cast<std::uint32_t>(numbers.size()), parameter, bytes}, read) &&
                read == numbers && bytes.size() <= MAX_POSTINGS_BYTES,
            "a list reads back");
    const auto any_parameter = static_cast<std::uint8_t>(input.number(1));
    const std::uint32_t count = input.number(3);
    bytes = input.rest();
    read_any({count, any_parameter, bytes});
}

}  // namespace codetext::fuzz
