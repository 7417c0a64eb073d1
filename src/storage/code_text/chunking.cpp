// A text is first made one in which LF alone ends a line (unicode::joined_lines), and then cut
// behind every 64th line. The LF between two chunks belongs to neither. Linear time; each byte is
// copied into its chunk once.

#include "storage/code_text/chunking.hpp"

#include <algorithm>
#include <optional>

#include "utils/unicode.hpp"

namespace codetext::code_text {

namespace {

/// Bytes that end `lines` lines of `joined`: the offset of the LF after them, or the text's size;
/// `lines` is lowered to the number of lines there are.
std::size_t end_of_lines(std::string_view joined, std::int64_t& lines) {
    std::size_t end = std::min(joined.find('\n'), joined.size());
    std::int64_t found = 1;
    for (; found < lines && end < joined.size(); ++found) {
        end = std::min(joined.find('\n', end + 1), joined.size());
    }
    lines = found;
    return end;
}

/// Number of lone surrogates, each of which stands as three bytes from ED A0 80 to ED BF BF.
std::int64_t lone_surrogates(std::string_view text) {
    std::int64_t surrogates = 0;
    for (std::size_t at = text.find('\xED'); at != text.npos; at = text.find('\xED', at + 1)) {
        const bool second =
            at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) >= 0xA0;
        surrogates += second ? 1 : 0;
    }
    return surrogates;
}

}  // namespace

std::vector<Chunk> code_chunks(std::string text) {
    const std::optional<std::string> joined = unicode::joined_lines(std::move(text));
    if (!joined) return {Chunk{1, 0, ""}};
    std::vector<Chunk> chunks;
    std::string_view rest = *joined;
    for (std::int64_t before = 0;;) {
        std::int64_t lines = CODE_CHUNK_LINES;
        const std::size_t end = end_of_lines(rest, lines);
        chunks.push_back({before + 1, before + lines, std::string(rest.substr(0, end))});
        if (end == rest.size()) return chunks;
        rest.remove_prefix(end + 1);
        before += lines;
    }
}

std::int64_t stored_text_bytes(std::string text) {
    const std::optional<std::string> joined = unicode::joined_lines(std::move(text));
    if (!joined) return 0;
    return static_cast<std::int64_t>(joined->size()) - 2 * lone_surrogates(*joined);
}

Lines _chunk_lines(std::int64_t start_line, std::int64_t end_line, chunk_store::StoredText text) {
    return end_line < start_line ? Lines() : Lines(std::move(text));
}

}  // namespace codetext::code_text
