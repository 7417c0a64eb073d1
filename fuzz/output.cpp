// Output: paths and lines as they are shown do no harm, a quoted path tells which path it is, and
// JSON reads back.

#include <rapidjson/document.h>

#include "cli/escaped.hpp"
#include "cli/json_output.hpp"
#include "fuzz.hpp"
#include "utils/reference.hpp"
#include "utils/unicode.hpp"

namespace codetext::fuzz {

/// The path that git's way of quoting stands for.
std::string unquoted(const std::string& shown) {
    if (!shown.starts_with('"')) return shown;
    std::string path;
    for (std::size_t at = 1; at + 1 < shown.size(); ++at) {
        const std::size_t name = std::string("abtnvfr").find(shown[at + 1]);
        if (shown[at] != '\\') {
            path += shown[at];
        } else if (shown[++at] >= '0' && shown[at] <= '3') {
            path += static_cast<char>(std::stoi(shown.substr(at, 3), nullptr, 8));
            at += 2;
        } else {
            path += name == std::string::npos ? shown[at] : "\a\b\t\n\v\f\r"[name];
        }
    }
    return path;
}

void require_harmless(const std::string& shown, bool with_tabs) {
    require(unicode::decode(shown) == shown, "what is shown is UTF-8");
    for (const char c : shown) {
        require((c < 0 || c >= ' ' || (with_tabs && c == '\t')) && c != 0x7F,
                "no control character");
    }
    for (const char* harmful : {"\u0080", "\u009B", "\u200E", "\u2028", "\u202E", "\u2066"}) {
        require(shown.find(harmful) == shown.npos, "no override of direction");
    }
}

/// Strings of a line of JSON below `data`.
std::string text_of(const rapidjson::Value& object, const char* key) {
    const rapidjson::Value& text = object[key]["text"];
    return {text.GetString(), text.GetStringLength()};
}

void check_line(const rapidjson::Value& data, const std::string& line) {
    require(text_of(data, "lines") == line + "\n", "JSON gives the line");
    for (const rapidjson::Value& match : data["submatches"].GetArray()) {
        const std::size_t start = match["start"].GetUint64(), end = match["end"].GetUint64();
        require(start <= end && end <= line.size() &&
                    text_of(match, "match") == unicode::decode(line.substr(start, end - start)),
                "JSON gives the matches");
    }
}

void target(Input input) {
    const std::string pattern = input.line(), path = input.line();
    const std::string text = unicode::decode(input.rest());
    require_harmless(cli::quoted_path(path), false);
    require(unquoted(cli::quoted_path(path)) == path, "a quoted path tells which path it is");
    require_harmless(cli::escaped(input.rest()), true);

    static const cli::SearchPaths paths({"/"}, std::nullopt);
    const code_text::FileRow file{1, unicode::decode(path), "", std::nullopt};
    const std::vector<std::string> lines = reference::words(text, '\n');
    std::string json;
    search::OutputBuffer out(text.size() % 100 + 1, [&](std::string_view part) { json += part; });
    try {
        const search::Query query = search::make_query({.patterns = {pattern}});
        const auto renderer = cli::make_json_renderer(query, paths, nullptr);
        renderer->begin(file, out);
        std::int64_t number = 0;
        for (const std::string& line : lines) {
            const std::int64_t column = number % 3 - 1;
            renderer->line({++number, column, line}, out);
        }
        renderer->end({}, out);
        out.hand_on();
    } catch (const std::invalid_argument&) {
        return;
    }
    const std::vector<std::string> objects = reference::words(json, '\n');
    require(objects.size() == lines.size() + 3, "JSON has a line for each, begin and end");
    for (std::size_t i = 0; i + 1 < objects.size(); ++i) {
        rapidjson::Document object;
        object.Parse<rapidjson::kParseValidateEncodingFlag>(objects[i].c_str());
        require(!object.HasParseError(), "JSON parses");
        require(text_of(object["data"], "path") == paths.shown(file.path), "JSON gives the path");
        if (i > 0 && i <= lines.size()) check_line(object["data"], lines[i - 1]);
    }
}

}  // namespace codetext::fuzz
