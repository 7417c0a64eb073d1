// The index knows the language of a file, so a type is a list of languages. Endings are in it where
// a type is wider than its language: a header that ends in .h has the language c, and -t cpp should
// find it.

#include "cli/file_types.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "cli/escaped.hpp"
#include "cli/nearest_name.hpp"
#include "cli/options.hpp"
#include "indexer/plan/language.hpp"

namespace codetext::cli {
namespace {

using Names = std::vector<std::string_view>;

struct Type {
    std::string_view name;
    std::string_view members;  ///< languages and endings, separated by spaces
};

/// Other names of one language.
constexpr auto ALIASES = std::to_array<Type>({
    {"adoc", "asciidoc"},
    {"assembly", "asm"},
    {"bash", "sh"},
    {"batch", "bat"},
    {"bib", "bibtex"},
    {"bzl", "bazel"},
    {"c#", "csharp"},
    {"c++", "cpp"},
    {"cc", "cpp"},
    {"clj", "clojure"},
    {"coffee", "coffeescript"},
    {"cs", "csharp"},
    {"cxx", "cpp"},
    {"devicetree", "dts"},
    {"dockerfile", "docker"},
    {"erl", "erlang"},
    {"ex", "elixir"},
    {"f#", "fsharp"},
    {"golang", "go"},
    {"hpp", "cpp"},
    {"hs", "haskell"},
    {"htm", "html"},
    {"ipynb", "jupyter"},
    {"jl", "julia"},
    {"js", "javascript"},
    {"jsx", "javascript"},
    {"kt", "kotlin"},
    {"latex", "tex"},
    {"makefile", "make"},
    {"md", "markdown"},
    {"mk", "make"},
    {"ml", "ocaml"},
    {"objective-c", "objc"},
    {"pas", "pascal"},
    {"patch", "diff"},
    {"pl", "perl"},
    {"proto", "protobuf"},
    {"ps", "powershell"},
    {"py", "python"},
    {"rb", "ruby"},
    {"rs", "rust"},
    {"scss", "sass"},
    {"shell", "sh"},
    {"sv", "systemverilog"},
    {"terraform", "hcl"},
    {"tf", "hcl"},
    {"ts", "typescript"},
    {"tsx", "typescript"},
    {"txt", "text"},
    {"viml", "vim"},
    {"yml", "yaml"},
    {"zsh", "sh"},
});

/// Types that are more, or less, than one language. A file that ends in .h is of the language c.
constexpr auto MIXED = std::to_array<Type>({
    {"cpp", "cpp .h"},
    {"cuda", "cuda .h"},
    {"h", ".h .hh .hpp .hxx .h++ .H"},
    {"objc", "objc .h"},
    {"objcpp", "objcpp .h"},
});

Names split(std::string_view text) {
    Names words;
    while (!text.empty()) {
        words.push_back(text.substr(0, text.find(' ')));
        text.remove_prefix(std::min(words.back().size() + 1, text.size()));
    }
    return words;
}

template <std::size_t SIZE>
std::string_view found(const std::array<Type, SIZE>& types, std::string_view name) {
    const auto* type = std::ranges::find(types, name, &Type::name);
    return type == types.end() ? "" : type->members;
}

/// The type's members; none for an unknown type.
Names members(std::string_view name) {
    if (const std::string_view language = found(ALIASES, name); !language.empty()) name = language;
    if (const std::string_view mixed = found(MIXED, name); !mixed.empty()) return split(mixed);
    return indexer::known_language(name) ? Names{name} : Names{};
}

/// The types without their other names, in order.
Names main_names() {
    Names names;
    for (const indexer::Language& language : indexer::known_languages()) {
        names.push_back(language.name);
    }
    for (const Type& type : MIXED) {
        if (!indexer::known_language(type.name)) names.push_back(type.name);
    }
    std::ranges::sort(names);
    return names;
}

[[noreturn]] void refuse(const std::string& type, const OwnTypes& own) {
    Names known = type_names();
    for (const auto& [name, members] : own) known.emplace_back(name);
    throw UsageError(fmt::format("unknown type {}{}; --type-list shows all types",
                                 type.empty() ? "\"\"" : type,
                                 did_you_mean(nearest_names(type, known))));
}

/// The file names of a language as globs.
std::vector<std::string> globs_of(const indexer::Language& language) {
    std::vector<std::string> globs;
    for (const auto extension : split(language.extensions)) {
        globs.push_back(fmt::format("*.{}", extension));
    }
    for (const auto name : split(language.file_names)) globs.emplace_back(name);
    return globs;
}

/// The file names of a type, as globs.
std::vector<std::string> globs_of_type(std::string_view type) {
    std::vector<std::string> globs;
    for (const std::string_view member : members(type)) {
        if (member.starts_with('.')) globs.push_back(fmt::format("*{}", member));
        for (const indexer::Language& language : indexer::known_languages()) {
            if (language.name != member) continue;
            const std::vector<std::string> own = globs_of(language);
            globs.insert(globs.end(), own.begin(), own.end());
        }
    }
    return globs;
}

}  // namespace

std::vector<std::string> members_of_types(const std::vector<std::string>& types,
                                          const OwnTypes& own) {
    std::vector<std::string> result;
    for (const std::string& type : types) {
        const Names built_in = members(type);
        const auto added = own.find(type);
        if (built_in.empty() && added == own.end()) refuse(type, own);
        result.insert(result.end(), built_in.begin(), built_in.end());
        if (added == own.end()) continue;
        result.insert(result.end(), added->second.begin(), added->second.end());
    }
    return result;
}

std::vector<std::string_view> type_names() {
    Names names = main_names();
    for (const Type& alias : ALIASES) names.push_back(alias.name);
    return names;
}

std::optional<std::string> member_of_glob(std::string_view glob) {
    const bool is_ending = glob.starts_with("*.") && glob.size() > 2;
    const std::string_view name = is_ending ? glob.substr(1) : glob;
    if (name.empty() || name.find_first_of("*?[]{}\\/!") != name.npos) return std::nullopt;
    return is_ending ? std::string(name) : fmt::format("/{}", name);
}

bool is_built_in_type(std::string_view name) { return !members(name).empty(); }

std::string type_list(const OwnTypes& own) {
    std::string text;
    for (const std::string_view name : main_names()) {
        Names names = {name};
        for (const Type& alias : ALIASES) {
            if (alias.members == name) names.push_back(alias.name);
        }
        text +=
            fmt::format("{}: {}\n", fmt::join(names, ", "), fmt::join(globs_of_type(name), ", "));
    }
    for (const auto& [name, added] : own) {
        std::vector<std::string> globs;
        for (const std::string& member : added) {
            globs.push_back(escaped(member.starts_with('.') ? "*" + member : member.substr(1)));
        }
        text += fmt::format("{}: {} (config)\n", name, fmt::join(globs, ", "));
    }
    return text;
}

}  // namespace codetext::cli
