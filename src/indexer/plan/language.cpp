// A file's whole name decides first (CMakeLists.txt), then its ending, first as it is written and
// then in lower case (`C` is C++, `c` is C), then its name up to the first dot (Dockerfile.dev).
// The tables are made and sorted by the compiler, which also sees that no ending stands for two
// languages.

#include "indexer/plan/language.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

namespace codetext::indexer {
namespace {

constexpr auto LANGUAGES = std::to_array<Language>({
    {"ada", "ada adb ads", ""},
    {"asciidoc", "adoc asc asciidoc", ""},
    {"asm", "asm nasm s", ""},
    {"awk", "awk", ""},
    {"bat", "bat cmd", ""},
    {"bazel", "bazel bzl star", "BUILD WORKSPACE"},
    {"bibtex", "bib", ""},
    {"bitbake", "bb bbappend bbclass", ""},
    {"c", "c h", ""},
    {"clojure", "clj cljc cljs edn", ""},
    {"cmake", "cmake", "CMakeLists.txt"},
    {"coccinelle", "cocci", ""},
    {"coffeescript", "coffee", ""},
    {"cpp", "C H c++ cc cpp cppm cxx h++ hh hpp hxx inl ipp ixx tpp", ""},
    {"crystal", "cr", ""},
    {"csharp", "cs csx", ""},
    {"css", "css", ""},
    {"csv", "csv tsv", ""},
    {"cuda", "cu cuh", ""},
    {"cython", "pxd pxi pyx", ""},
    {"d", "d di", ""},
    {"dart", "dart", ""},
    {"diff", "diff patch", ""},
    {"docker", "", "Containerfile Dockerfile"},
    {"dts", "dts dtsi dtso", ""},
    {"elisp", "el", ""},
    {"elixir", "ex exs", ""},
    {"elm", "elm", ""},
    {"erlang", "erl hrl", ""},
    {"fortran", "f f03 f08 f77 f90 f95 for", ""},
    {"fsharp", "fs fsi fsx", ""},
    {"gitignore", "", ".dockerignore .gitignore .ignore .npmignore"},
    {"glsl", "comp frag geom glsl tesc tese vert", ""},
    {"go", "go", ""},
    {"gradle", "gradle", ""},
    {"graphql", "gql graphql graphqls", ""},
    {"groovy", "groovy", "Jenkinsfile"},
    {"haskell", "hs lhs", ""},
    {"hcl", "hcl tf tfvars", ""},
    {"hlsl", "hlsl", ""},
    {"html", "htm html xhtml", ""},
    {"ini", "cfg conf ini", ".editorconfig .gitconfig .gitmodules setup.cfg"},
    {"java", "java", ""},
    {"javascript", "cjs js jsx mjs", ""},
    {"json", "avsc geojson har json jsonld sarif topojson webmanifest",
     ".babelrc .eslintrc .prettierrc Pipfile.lock composer.lock flake.lock"},
    {"json5", "json5 jsonc", ""},
    {"jsonl", "jsonl ndjson", ""},
    {"julia", "jl", ""},
    {"jupyter", "ipynb", ""},
    {"just", "", "Justfile justfile"},
    {"kconfig", "kconfig", "Kconfig"},
    {"kotlin", "kt kts", ""},
    {"less", "less", ""},
    {"lex", "l ll", ""},
    {"linker", "ld lds", ""},
    {"lisp", "cl lisp lsp", ""},
    {"log", "log", ""},
    {"lua", "lua", ""},
    {"m4", "ac m4", "configure.ac"},
    {"make", "mak make mk", "GNUmakefile Kbuild Makefile Makefile.am Makefile.in makefile"},
    {"markdown", "markdown md mdown mkd", ""},
    {"matlab", "mat", ""},
    {"meson", "", "meson.build meson_options.txt"},
    {"nim", "nim", ""},
    {"nix", "nix", ""},
    {"objc", "m", ""},
    {"objcpp", "mm", ""},
    {"ocaml", "ml mli mll mly", ""},
    {"pascal", "lpr pas pp", ""},
    {"perl", "pl pm pod", ""},
    {"php", "php phtml", ""},
    {"po", "po pot", ""},
    {"powershell", "ps1 psd1 psm1", ""},
    {"prolog", "pro", ""},
    {"protobuf", "proto", ""},
    {"purescript", "purs", ""},
    {"python", "py pyi pyw", ""},
    {"qml", "qml", ""},
    {"r", "r", ""},
    {"racket", "rkt", ""},
    {"rst", "rst", ""},
    {"ruby", "gemspec rake rb", "Gemfile Rakefile Vagrantfile"},
    {"rust", "rs", ""},
    {"sass", "sass scss", ""},
    {"scala", "sbt sc scala", ""},
    {"scheme", "scm ss", ""},
    {"sh", "bash csh fish ksh sh zsh", ".bash_profile .bashrc .profile .zshrc PKGBUILD"},
    {"sml", "sml", ""},
    {"solidity", "sol", ""},
    {"sql", "sql", ""},
    {"svelte", "svelte", ""},
    {"svg", "svg", ""},
    {"swift", "swift", ""},
    {"systemd", "service socket timer", ""},
    {"systemverilog", "sv svh", ""},
    {"tcl", "tcl", ""},
    {"tex", "cls ltx sty tex", ""},
    {"text", "text txt",
     "AUTHORS CHANGELOG CHANGES COPYING CREDITS INSTALL LICENCE LICENSE MAINTAINERS NEWS README "
     "TODO"},
    {"thrift", "thrift", ""},
    {"toml", "toml", "Cargo.lock poetry.lock"},
    {"typescript", "cts mts ts tsx", ""},
    {"vala", "vala vapi", ""},
    {"vb", "vb vbs", ""},
    {"verilog", "v vh", ""},
    {"vhdl", "vhd vhdl", ""},
    {"vim", "vim", ".vimrc"},
    {"vue", "vue", ""},
    {"wgsl", "wgsl", ""},
    {"xml", "csproj plist xml xsd xsl xslt", ""},
    {"yacc", "y yy", ""},
    {"yaml", "yaml yml", ".clang-format .clang-tidy"},
    {"zig", "zig", ""},
});

struct Rule {
    std::string_view key, language;
};

constexpr std::size_t count_words(std::string_view Language::*words) {
    std::size_t count = 0;
    for (const Language& language : LANGUAGES) {
        const std::string_view text = language.*words;
        count += text.empty() ? 0 : 1 + static_cast<std::size_t>(std::ranges::count(text, ' '));
    }
    return count;
}

/// A rule for each word of that column, to be searched by halves.
template <std::size_t COUNT>
constexpr std::array<Rule, COUNT> sorted_rules(std::string_view Language::*words) {
    std::array<Rule, COUNT> rules;
    std::size_t filled = 0;
    for (const Language& language : LANGUAGES) {
        std::string_view rest = language.*words;
        while (!rest.empty()) {
            const std::string_view word = rest.substr(0, rest.find(' '));
            rules[filled++] = {word, language.name};
            rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        }
    }
    std::ranges::sort(rules, {}, &Rule::key);
    return rules;
}

template <std::size_t COUNT>
constexpr bool are_distinct(const std::array<Rule, COUNT>& rules) {
    return std::ranges::adjacent_find(rules, {}, &Rule::key) == rules.end();
}

constexpr auto EXTENSIONS = sorted_rules<count_words(&Language::extensions)>(&Language::extensions);
constexpr auto NAMES = sorted_rules<count_words(&Language::file_names)>(&Language::file_names);
static_assert(are_distinct(EXTENSIONS) && are_distinct(NAMES));
static_assert(std::ranges::is_sorted(LANGUAGES, {}, &Language::name));

template <std::size_t SIZE>
std::optional<std::string_view> find(const std::array<Rule, SIZE>& table, std::string_view key) {
    const auto at = std::ranges::lower_bound(table, key, {}, &Rule::key);
    if (at == table.end() || at->key != key) return std::nullopt;
    return at->language;
}

std::string ascii_lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::optional<std::string_view> by_extension(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return std::nullopt;
    const std::string_view extension = name.substr(dot + 1);
    if (auto language = find(EXTENSIONS, extension)) return language;
    return find(EXTENSIONS, ascii_lower(extension));
}

}  // namespace

std::string_view language_of(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    if (auto language = find(NAMES, name)) return *language;
    if (auto language = by_extension(name)) return *language;
    return find(NAMES, name.substr(0, name.find('.'))).value_or("");
}

std::span<const Language> known_languages() { return LANGUAGES; }

bool known_language(std::string_view name) {
    return std::ranges::binary_search(LANGUAGES, name, {}, &Language::name);
}

}  // namespace codetext::indexer
