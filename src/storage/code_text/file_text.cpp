#include "storage/code_text/file_text.hpp"

#include <stdexcept>
#include <system_error>

#include "utils/text_find.hpp"
#include "utils/unicode.hpp"

namespace codetext::code_text {

namespace {

/// Whether the lower-case form of `text` holds `needle`. An ASCII needle in a text whose other
/// characters lower-case to none in ASCII is found without lower-casing the text.
bool lower_case_holds(const std::string& text, const std::string& needle) {
    if (unicode::is_ascii(needle) && !text_find::lowers_into_ascii(text)) {
        // A needle with a capital is in no lower-case form.
        if (unicode::lower(needle) != needle) return false;
        return text_find::find_ignoring_ascii_case(text, needle) != text_find::NOT_FOUND;
    }
    return text_find::find(unicode::lower(text), needle) != text_find::NOT_FOUND;
}

}  // namespace

std::string read_whole_file(const std::filesystem::path& path, std::size_t most_bytes) {
    std::string bytes = fsio::read_bytes_no_follow(path);
    if (bytes.size() > most_bytes) throw chunk_store::TextTooLarge();
    return bytes;
}

std::optional<std::string> _file_text(const std::filesystem::path& path, const ReadFile& read) {
    try {
        // Only what says that this file has no text is absorbed. A reader whose machine fails must
        // throw something else (search/run/tree_reader.cpp does).
        return unicode::decode(read(path));
    } catch (const std::system_error&) {
        return std::nullopt;
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::optional<Lines> _lines_holding(const std::filesystem::path& path,
                                    const std::optional<std::string>& needle, bool case_sensitive,
                                    const ReadFile& read) {
    std::optional<std::string> text = _file_text(path, read);
    if (!text) return std::nullopt;
    // One look at the whole text: a file without the needle is not split into lines.
    if (needle) {
        const bool holds = case_sensitive ? text_find::find(*text, *needle) != text_find::NOT_FOUND
                                          : lower_case_holds(*text, *needle);
        if (!holds) return std::nullopt;
    }
    return Lines::from(unicode::joined_lines(*std::move(text)));
}

}  // namespace codetext::code_text
