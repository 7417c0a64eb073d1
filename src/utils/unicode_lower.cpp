#include <unicode/ucasemap.h>
#include <unicode/utypes.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "utils/byte_block.hpp"
#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

// Lower case. ICU knows every rule and is slow, and nearly all code is ASCII. So lines that are
// ASCII are lower-cased here, in blocks of sixteen bytes, and only runs of other lines go to ICU.
// Cutting a text at an LF changes no result: in the root locale only the rule Final_Sigma looks at
// a character's neighbours. It skips case-ignorable characters and stops at any other; LF is not
// case-ignorable, and not cased.

namespace codetext::unicode {
namespace {

using byte_block::BLOCK_BYTES;

struct CaseMapCloser {
    void operator()(UCaseMap* map) const { ucasemap_close(map); }
};
using CaseMap = std::unique_ptr<UCaseMap, CaseMapCloser>;

[[noreturn]] void throw_icu_error(UErrorCode code) {
    throw std::runtime_error(std::string("cannot lower-case a text: ") + u_errorName(code));
}

CaseMap open_case_map() {
    UErrorCode code = U_ZERO_ERROR;
    CaseMap map(ucasemap_open("", U_FOLD_CASE_DEFAULT, &code));
    if (U_FAILURE(code) != 0) throw_icu_error(code);
    return map;
}

/// Opened by the first call that needs it, since that takes time. Threads share it: it is only read
/// from then on.
const UCaseMap* root_case_map() {
    static const CaseMap map = open_case_map();
    return map.get();
}

std::int32_t checked_size(std::size_t size_bytes) {
    if (size_bytes > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw_icu_error(U_INDEX_OUTOFBOUNDS_ERROR);
    }
    return static_cast<std::int32_t>(size_bytes);
}

/// Writes the lower-case form of `text` at `at`, as far as the string has room. Returns the size of
/// the whole form.
std::size_t write_icu_lower(std::string& out, std::size_t at, std::string_view text) {
    UErrorCode code = U_ZERO_ERROR;
    const std::int32_t size =
        ucasemap_utf8ToLower(root_case_map(), out.data() + at, checked_size(out.size() - at),
                             text.data(), checked_size(text.size()), &code);
    if (U_FAILURE(code) != 0 && code != U_BUFFER_OVERFLOW_ERROR) throw_icu_error(code);
    return static_cast<std::size_t>(size);
}

void append_icu_lower(std::string& out, std::string_view text) {
    if (text.empty()) return;
    const std::size_t begin = out.size();
    out.resize(begin + text.size());
    const std::size_t size = write_icu_lower(out, begin, text);
    // Lower case is rarely longer than the text. Where it is, ICU has said how long, and writes it
    // again.
    const bool fitted = begin + size <= out.size();
    out.resize(begin + size);
    if (!fitted) write_icu_lower(out, begin, text);
}

void append_ascii_lower(std::string& out, std::string_view text) {
    const std::size_t begin = out.size();
    out.append(text);
    char* to = out.data() + begin;
    std::size_t at = 0;
    for (; text.size() - at >= BLOCK_BYTES; at += BLOCK_BYTES) {
        byte_block::store(to + at, byte_block::folded(byte_block::load(text.data() + at)));
    }
    for (; at < text.size(); ++at) {
        if (text[at] >= 'A' && text[at] <= 'Z') to[at] = static_cast<char>(text[at] + ('a' - 'A'));
    }
}

std::size_t line_end(std::string_view text, std::size_t from) {
    const std::size_t feed = text.find('\n', from);
    return feed == std::string_view::npos ? text.size() : feed + 1;
}

/// The end of the run of lines from `begin` on that are not ASCII. They go to ICU in one call.
std::size_t other_lines_end(std::string_view text, std::size_t begin) {
    std::size_t end = begin;
    while (true) {
        const std::size_t other = byte_block::ascii_end(text, end);
        if (other == text.size() || text_find::line_begin(text, end, other) != end) return end;
        end = line_end(text, other);
    }
}

}  // namespace

std::string lower(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t done = 0;
    while (done < text.size()) {
        const std::size_t other = byte_block::ascii_end(text, done);
        const std::size_t begin =
            other == text.size() ? other : text_find::line_begin(text, done, other);
        append_ascii_lower(out, text.substr(done, begin - done));
        done = other_lines_end(text, begin);
        append_icu_lower(out, text.substr(begin, done - begin));
    }
    return out;
}

}  // namespace codetext::unicode
