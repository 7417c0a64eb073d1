#include "cli/foreign_options.hpp"

namespace codetext::cli {
namespace {

Option ignored(std::string_view name, char short_name = 0) {
    return {short_name, name, "", "", "", Ignored{}};
}

Option ignored_with_value(std::string_view name) { return {0, name, "VALUE", "", "", Ignored{}}; }

Option refused(std::string_view name, std::string_view why, char short_name = 0) {
    return {short_name, name, "", "", "", Refused{why}};
}

Option refused_with_value(std::string_view name, std::string_view why) {
    return {0, name, "VALUE", "", "", Refused{why}};
}

constexpr std::string_view LINES_ONLY = "lines are searched one by one; no match reaches past one";
constexpr std::string_view RE2_ONLY = "patterns are RE2's, without look-around and back-references";
constexpr std::string_view NO_PROGRAM = "codetext runs no program on the files";
constexpr std::string_view GIT_RULES =
    "the index holds what git tracks or does not ignore; name further files as PATHs, or leave "
    "files out with -g";
constexpr std::string_view TYPES = "types are built in (--type-list); use -g for others";

}  // namespace

std::vector<Option> foreign_options(SearchArguments& a) {
    return {
        // The index has hidden files that git knows.
        ignored("hidden", '.'),
        ignored("no-hidden"),
        {'u', "unrestricted", "", "", "", Flag{&a.unrestricted}},
        {0, "no-ignore", "", "", "", Flag{&a.unrestricted}},
        {0, "no-ignore-vcs", "", "", "", Flag{&a.unrestricted}},
        ignored("ignore"),
        ignored("ignore-vcs"),
        ignored("ignore-dot"),
        ignored("ignore-exclude"),
        ignored("ignore-files"),
        ignored("ignore-global"),
        ignored("ignore-parent"),
        ignored("ignore-messages"),
        ignored("require-git"),
        ignored("no-ignore-dot"),
        ignored("no-ignore-exclude"),
        ignored("no-ignore-files"),
        ignored("no-ignore-global"),
        ignored("no-ignore-parent"),
        ignored("no-ignore-messages"),
        ignored("no-require-git"),
        ignored("one-file-system"),
        ignored("no-one-file-system"),
        ignored("recursive", 'R'),
        ignored("mmap"),
        ignored("no-mmap"),
        ignored("crlf"),
        ignored("no-crlf"),
        ignored("unicode"),
        ignored("no-pcre2"),
        ignored("pcre2-unicode"),
        ignored("no-pcre2-unicode"),
        ignored("auto-hybrid-regex"),
        ignored("no-auto-hybrid-regex"),
        ignored("multiline-dotall"),
        ignored("no-multiline-dotall"),
        ignored("no-multiline"),
        ignored("no-follow"),
        ignored("no-search-zip"),
        ignored("no-pre"),
        ignored("no-encoding"),
        ignored("no-binary"),
        ignored("no-ignore-file-case-insensitive"),
        ignored("max-columns-preview"),
        ignored("no-max-columns-preview"),
        ignored("block-buffered"),
        ignored("no-block-buffered"),
        ignored("no-glob-case-insensitive"),
        ignored("messages"),
        ignored("no-sort-files"),
        ignored("sort-files"),
        ignored_with_value("regex-size-limit"),
        ignored_with_value("dfa-size-limit"),
        {0, "passthrough", "", "", "", Flag{&a.passthru}},
        {0, "maxdepth", "N", "", "", Number{&a.max_depth}},
        {0, "binary", "", "", "", Flag{&a.text}},
        {'E', "encoding", "ENCODING", "", "",
         Choice{&a.encoding,
                {"auto", "none", "utf-8", "utf8", "UTF-8"},
                "files are read as UTF-8, and other bytes as U+FFFD"}},
        {0, "engine", "ENGINE", "", "", Choice{&a.engine, {"default", "auto"}, RE2_ONLY}},
        {0, "path-separator", "SEPARATOR", "", "", Choice{&a.path_separator, {"/"}}},

        refused("multiline", LINES_ONLY, 'U'),
        refused("null-data", LINES_ONLY),
        refused("pcre2", RE2_ONLY, 'P'),
        refused("pcre2-version", RE2_ONLY),
        refused("no-unicode", "patterns are Unicode's; (?-u) and \\C are not known"),
        refused("search-zip", "compressed files are binary here: unpack them first", 'z'),
        refused_with_value("pre", NO_PROGRAM),
        refused_with_value("pre-glob", NO_PROGRAM),
        refused_with_value("hostname-bin", NO_PROGRAM),
        refused("follow", "no symbolic link is followed, so that nothing leads out of the tree",
                'L'),
        refused_with_value("ignore-file", GIT_RULES),
        refused("ignore-file-case-insensitive", GIT_RULES),
        refused("glob-case-insensitive", "use --iglob for each glob"),
        refused_with_value("type-add", TYPES),
        refused_with_value("type-clear", TYPES),
        refused("stop-on-nonmatch", "not known; -m limits the lines of a file"),
        refused("debug", "use --explain"),
        refused("trace", "use --explain"),
        refused_with_value("generate", "the man page and completions are installed with codetext"),
    };
}

}  // namespace codetext::cli
