#include "search/query/query_description.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "storage/chunk_store/candidates.hpp"
#include "utils/unicode.hpp"

namespace codetext::search {
namespace {

constexpr std::size_t MAX_SHOWN_BYTES = 60, MAX_SHOWN_TEXTS = 8, MAX_SHOWN_TRIGRAMS = 12;

std::string quoted(const std::string& text) {
    if (text.size() <= MAX_SHOWN_BYTES) return fmt::format("\"{}\"", text);
    const MatchSpan whole = whole_code_points(text, {0, MAX_SHOWN_BYTES});
    return fmt::format("\"{}...\" ({} bytes)", text.substr(0, whole.end), text.size());
}

std::string trigram_text(std::uint32_t trigram) {
    std::string bytes = {static_cast<char>(trigram >> 16), static_cast<char>(trigram >> 8),
                         static_cast<char>(trigram)};
    return fmt::format("\"{}\"", unicode::decode(std::move(bytes)));
}

std::string trigrams_of(const std::string& text) {
    const auto query = chunk_store::trigram_query(text);
    if (!query) return fmt::format("{}: too short to be asked for", quoted(text));
    std::string shown;
    for (std::size_t i = 0; i < std::min(query->trigrams.size(), MAX_SHOWN_TRIGRAMS); ++i) {
        if (i > 0) shown += ' ';
        shown += trigram_text(query->trigrams[i]);
    }
    if (query->trigrams.size() > MAX_SHOWN_TRIGRAMS) shown += " ...";
    return fmt::format("{}: {} trigram(s): {}", quoted(text), query->trigrams.size(), shown);
}

void describe_pattern(const Query& query, std::vector<std::string>& lines) {
    const auto atoms = RequiredAtoms(*query.pattern).atoms();
    for (std::size_t i = 0; i < std::min(atoms.size(), MAX_SHOWN_TEXTS); ++i) {
        for (const std::string& piece : atoms[i]) {
            lines.push_back(fmt::format("a match may need {}", trigrams_of(piece)));
        }
    }
    if (atoms.size() > MAX_SHOWN_TEXTS) {
        lines.push_back(fmt::format("and {} other texts", atoms.size() - MAX_SHOWN_TEXTS));
    }
    if (atoms.empty() && !query.needle) {
        lines.emplace_back("no text of three characters is known that a match holds");
    }
}

}  // namespace

std::vector<std::string> description_of(const Query& query) {
    std::vector<std::string> lines;
    const std::string_view form = query.pattern ? "a regular expression" : "plain text";
    lines.push_back(fmt::format("look for {}{}", form,
                                query.inverted ? ", and show the lines without it" : ""));
    if (query.inverted) {
        lines.emplace_back("every file may have such a line: the trigram index is not asked");
        return lines;
    }
    if (query.needle) {
        lines.push_back(fmt::format("every matching line holds {}{}", trigrams_of(*query.needle),
                                    query.case_sensitive ? "" : " (in any case)"));
    }
    if (query.pattern) describe_pattern(query, lines);
    return lines;
}

}  // namespace codetext::search
