// What roff would take for something of its own is escaped: a `\`, a line that begins with `.` or
// `'`, a `-`, which would become a hyphen that no shell knows, and the quotes and accents that
// become typographic ones. `code` in a help text becomes bold.

#include "pages/man_page.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "pages/option_values.hpp"

namespace codetext::pages {
namespace {

std::string_view roff_escape(char byte) {
    switch (byte) {
        case '\\':
            return "\\e";
        case '-':
            return "\\-";
        case '\'':
            return "\\(aq";
        case '`':
            return "\\(ga";
        case '^':
            return "\\(ha";
        case '~':
            return "\\(ti";
        case '"':
            return "\\(dq";
        default:
            return "";
    }
}

/// `text` as roff shows it byte for byte, within a line.
std::string escaped(std::string_view text) {
    std::string roff;
    for (const char byte : text) {
        const std::string_view escape = roff_escape(byte);
        if (escape.empty()) {
            roff += byte;
        } else {
            roff += escape;
        }
    }
    return roff;
}

std::string bold(std::string_view text) { return fmt::format("\\fB{}\\fR", escaped(text)); }
std::string italic(std::string_view text) { return fmt::format("\\fI{}\\fR", escaped(text)); }

/// A whole line of text, with what stands between backquotes in bold. Only a line of text may begin
/// with a dot, and roff takes `\&` for nothing.
std::string line_of_text(std::string_view text) {
    std::string roff = text.starts_with('.') ? "\\&" : "";
    while (!text.empty()) {
        const std::size_t open = text.find('`');
        const std::size_t close = open == text.npos ? open : text.find('`', open + 1);
        if (close == text.npos) return roff + escaped(text) + '\n';
        roff += escaped(text.substr(0, open)) + bold(text.substr(open + 1, close - open - 1));
        text.remove_prefix(close + 1);
    }
    return roff + '\n';
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == text.npos) return parts;
        text.remove_prefix(end + separator.size());
    }
}

std::string lines_of_text(std::string_view text) {
    std::string roff;
    for (const std::string_view line : split(text, "\n")) roff += line_of_text(line);
    return roff;
}

std::string upper(std::string_view text) {
    std::string result(text);
    for (char& byte : result) {
        if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 'a' + 'A');
    }
    return result;
}

std::string section(std::string_view title) { return fmt::format(".SH {}\n", upper(title)); }

/// A paragraph of the notes. One that begins with "Title: " is a section of that title, and what
/// follows "Title:" in indented lines is shown byte for byte.
std::string note(std::string_view paragraph) {
    const std::size_t colon = paragraph.find(':');
    const std::string_view title = paragraph.substr(0, colon);
    const bool has_title =
        colon != paragraph.npos && title.size() < 20 && title.find_first_of("`,.\n") == title.npos;
    if (!has_title) return ".PP\n" + lines_of_text(paragraph);
    paragraph.remove_prefix(colon + 2);
    if (!paragraph.starts_with(' ')) return section(title) + lines_of_text(paragraph);
    return fmt::format("{}.nf\n{}\n.fi\n", section(title), escaped(paragraph));
}

/// The notes of a table: those with a title are sections, and stand behind the others.
std::string notes(std::string_view text) {
    std::string plain, sections;
    if (text.empty()) return plain;
    for (const std::string_view paragraph : split(text, "\n\n")) {
        const std::string roff = note(paragraph);
        (roff.starts_with(".PP") ? plain : sections) += roff;
    }
    return plain.empty() ? sections : section("notes") + plain.substr(4) + sections;
}

std::string entry(const std::string& term, std::string_view help) {
    return fmt::format(".TP\n{}\n{}", term, line_of_text(help));
}

std::string option_entry(const cli::Option& option) {
    std::vector<std::string> terms;
    for (const std::string& name : names(option)) terms.push_back(bold(name));
    std::string term = fmt::format("{}", fmt::join(terms, ", "));
    if (takes_value(option)) term += ' ' + italic(option.value_name);
    return entry(term, option.help);
}

std::string options(const std::vector<cli::Option>& options) {
    std::string roff = section("options");
    std::string_view group;
    for (const cli::Option& option : options) {
        if (option.group != group) roff += fmt::format(".SS {}\n", option.group);
        group = option.group;
        roff += option_entry(option);
    }
    return roff;
}

/// What `whatis` shows: the summary without the name that stands in front of it already.
std::string in_a_line(std::string_view summary) {
    constexpr std::string_view NAME = "codetext ";
    if (summary.starts_with(NAME)) summary.remove_prefix(NAME.size());
    if (summary.ends_with('.')) summary.remove_suffix(1);
    return escaped(replaced(summary, '`', ""));
}

std::string head(const cli::Command& command, std::string_view version) {
    const std::string name = page_name(command);
    return fmt::format(".TH {} 1 \"\" \"codetext {}\" \"User Commands\"\n.nh\n.ad l\n", upper(name),
                       version) +
           section("name") + fmt::format("{} \\- {}\n", escaped(name), in_a_line(command.summary)) +
           section("synopsis");
}

constexpr std::string_view PLACES = R"(.SH ENVIRONMENT
.TP
\fBNO_COLOR\fR
Where it is set and not empty, nothing is colored unless \fB\-\-color\fR says so.
.TP
\fBCODETEXT_COLOR\fR, \fBCODETEXT_FRESH_AFTER\fR, \fBCODETEXT_THREADS\fR
Defaults of the options of these names in a search, before the command line and after the files below.
.TP
\fBCODETEXT_CONFIG\fR
The file of your own defaults, in place of the one below; empty: none.
.SH FILES
.TP
\fI~/.config/codetext/config.toml\fR
Your own defaults of a search; \fBcodetext config\fR(1) shows them.
.TP
\fI.codetext.toml\fR
At the root of a repository: the few defaults that it may set for all who search it.
.TP
\fI.codetext/\fR
At the root of a repository: its index, which holds the text of its files.
)";

}  // namespace

std::string page_name(const cli::Command& command) {
    if (command.name.empty()) return "codetext";
    return "codetext-" + replaced(command.name, ' ', "-");
}

std::string man_page(const cli::Command& command, std::string_view version) {
    std::string roff = head(command, version);
    roff += fmt::format("{} [\\fIOPTION\\fR...] {}\n",
                        bold("codetext " + std::string(command.name)), escaped(command.usage));
    roff += section("description") + line_of_text(fmt::format("{}.", command.summary));
    for (const cli::Positional& positional : command.positionals) {
        roff += entry(italic(positional.name), positional.help);
    }
    roff += options(command.options) + notes(command.notes);
    return roff + section("see also") + "\\fBcodetext\\fR(1)\n";
}

std::string program_man_page(const cli::Command& program, const std::vector<cli::Command>& commands,
                             std::string_view version) {
    std::string roff = head(program, version);
    roff += fmt::format("{} {}\n", bold("codetext"), escaped(program.usage));
    roff += section("description") + line_of_text(program.summary) + notes(program.notes);
    roff += section("commands");
    std::vector<std::string> pages;
    for (const cli::Command& command : commands) {
        const std::string term = bold("codetext " + std::string(command.name));
        roff += entry(fmt::format("{} {}", term, escaped(command.usage)), command.summary);
        pages.push_back(fmt::format("{}(1)", bold(page_name(command))));
    }
    roff += options(program.options) + std::string(PLACES) + section("see also");
    return roff + fmt::format("{}\n", fmt::join(pages, ",\n"));
}

}  // namespace codetext::pages
