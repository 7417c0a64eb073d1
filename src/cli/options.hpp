#pragma once

// What a command takes on its command line, as a table, and the reader that follows the table. The
// table is data: help.hpp makes the help text from it too. Every argument reaches its target as the
// exact bytes that the user gave; nothing is read from the environment or from a file.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace codetext::cli {

/// An option without a value. It sets `on` and clears `off`: of flags that contradict one another,
/// the last one given counts. `--no-NAME` clears `on`, unless the table has an option of that name
/// or NAME begins with "no-".
struct Flag {
    bool* on;
    std::vector<bool*> off = {};
};

/// A decimal number; the last one given counts. A number of bytes may end in K, M or G: so many
/// times 1024, 1024 * 1024 and so on.
struct Number {
    std::int64_t* to;
    std::int64_t least = 0;
    std::int64_t most = std::numeric_limits<std::int64_t>::max();
    bool is_bytes = false;
};

/// One of a few words; the last one given counts.
struct Choice {
    std::string* to;
    std::vector<std::string_view> words;
    std::string_view why = "";  ///< there are no others; follows the message about another word
};

/// Any text; the last one given counts.
struct Text {
    std::string* to;
    bool* is_given = nullptr;  ///< set when the option is given; may be none
};

/// Any text; each one given is added.
struct List {
    std::vector<std::string>* to;
};

/// Accepted, so that a command line made for another program works, and without effect.
struct Ignored {};

/// Known from another program, and refused with the reason.
struct Refused {
    std::string_view why;
};

struct Option {
    char short_name = 0;  ///< 0: none
    std::string_view long_name;
    std::string_view value_name;  ///< empty for an option without a value
    std::string_view group;       ///< the heading that the help text shows it under; empty: nowhere
    std::string_view help;
    std::variant<Flag, Number, Choice, Text, List, Ignored, Refused> target;
};

struct Positional {
    std::string_view name;
    std::string_view help;
};

/// All that a command takes. The targets must outlive every call of parse.
struct Command {
    std::string_view name;  ///< the words that choose it: "search code"; empty for the program
    std::string_view summary;
    std::vector<Positional> positionals;
    std::string_view usage;          ///< what follows the options in the usage line
    std::vector<std::string>* rest;  ///< takes the positionals, in the order given
    std::size_t most_positionals = std::numeric_limits<std::size_t>::max();
    std::vector<Option> options;
    std::string_view notes;     ///< the end of the help text: exit status, examples
    std::string_view dash_tip;  ///< follows the message about an unknown option
};

/// The command line is wrong; the message says what to change.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments that follow the command's name and fills the table's targets. Options may
/// stand before, between and after positionals; `--` ends the options. A long name must be given in
/// full. Throws UsageError. Not safe for use by two threads at once.
void parse(const Command& command, std::vector<std::string> arguments);

}  // namespace codetext::cli
