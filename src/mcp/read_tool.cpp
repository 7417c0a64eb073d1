#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "mcp/line_page.hpp"
#include "mcp/tool_calls.hpp"
#include "storage/code_text/segment.hpp"
#include "utils/binary.hpp"
#include "utils/fsio.hpp"
#include "utils/open_below.hpp"
#include "utils/unicode.hpp"

namespace codetext::mcp {
namespace {

/// What a search reads, too.
constexpr std::size_t MOST_FILE_BYTES = std::size_t{256} << 20;
constexpr std::int64_t MOST_LINES = 2000;
/// Lines that somebody asks for by number are shown longer than those that a search finds.
constexpr std::size_t MOST_READ_LINE_BYTES = 2000;
/// Beside its text: `{"line":1234567,"text":},`
constexpr std::size_t LINE_COST = 26;

std::string why_unread(const std::error_code& code) {
    switch (code.value()) {
        case ELOOP:
        case ENOTDIR:
            return "it is, or leads through, a symbolic link or something else than a directory, "
                   "which is not followed";
        case EFBIG:
            return "it is too large";
        case EINVAL:
        case ENXIO:
            return "it is no regular file";
        default:
            return code.message();
    }
}

std::string content(const std::filesystem::path& root, const std::string& path) {
    try {
        return fsio::read_file_below(open_root(root), path, MOST_FILE_BYTES).bytes;
    } catch (const std::system_error& error) {
        throw std::runtime_error(
            fmt::format("{} cannot be read: {}", shown_path(path), why_unread(error.code())));
    }
}

/// The lines as a search counts and prints them.
code_text::Lines lines_of(const std::filesystem::path& root, const std::string& path) {
    constexpr std::string_view BYTE_ORDER_MARK = "\uFEFF";
    std::string bytes = content(root, path);
    if (is_binary(bytes)) {
        throw std::runtime_error(fmt::format("{} is a binary file", shown_path(path)));
    }
    std::optional<std::string> text = unicode::joined_lines(unicode::decode(std::move(bytes)));
    if (text && text->starts_with(BYTE_ORDER_MARK)) text->erase(0, BYTE_ORDER_MARK.size());
    return code_text::Lines::from(std::move(text));
}

}  // namespace

ToolResult read_lines(const Arguments& arguments, const ToolContext& context) {
    const std::string path = arguments.text("path");
    const std::int64_t first = arguments.number("first"), last = arguments.number("last");
    check_path(path);
    if (last < first) throw ProtocolError(ErrorCode::BAD_PARAMS, "\"last\" is less than \"first\"");
    const code_text::Lines lines = lines_of(context.root, path);
    const auto total = static_cast<std::int64_t>(lines.size());
    if (first > std::max<std::int64_t>(total, 1)) {
        throw std::runtime_error(fmt::format("{} has {} lines", shown_path(path), total));
    }
    const std::int64_t end = std::min(last, total);
    auto bytes_left = static_cast<std::size_t>(arguments.number("max_bytes"));
    const std::size_t most_line_bytes = std::min(MOST_READ_LINE_BYTES, bytes_left / 2);
    JsonWriter json;
    std::string text;
    json.begin_object();
    json.text("path", path);
    json.number("total_lines", total);
    json.key("lines");
    json.begin_array();
    std::int64_t number = first;
    for (; number <= std::min(end, first + MOST_LINES - 1); ++number) {
        const std::string line =
            shortened(lines[static_cast<std::size_t>(number - 1)], 0, most_line_bytes);
        const std::size_t bytes = cost_of(line) + LINE_COST;
        if (number > first && bytes > bytes_left) break;
        bytes_left -= std::min(bytes, bytes_left);
        text += fmt::format("{}:{}\n", number, line);
        json.begin_object();
        json.number("line", number);
        json.text("text", line);
        json.end_object();
    }
    json.end_array();
    if (number <= end) json.number("next_line", number);
    json.end_object();
    text += fmt::format("[{} has {} lines", shown_path(path), total);
    if (number <= end) text += fmt::format("; go on with first = {}", number);
    return {text + "]\n", json.str()};
}

}  // namespace codetext::mcp
