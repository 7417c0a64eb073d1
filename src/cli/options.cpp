// The C library's getopt_long takes the arguments apart. A '-' in front of its option string makes
// it hand out positionals in their order, reorder nothing and ignore POSIXLY_CORRECT; the ':'
// after it keeps it from printing messages. It would accept a long name that is cut short, so each
// long name is checked before getopt_long sees it.

#include "cli/options.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "cli/nearest_name.hpp"

namespace codetext::cli {
namespace {

constexpr int POSITIONAL = 1;  ///< what getopt_long returns for one
/// What it returns for a long option is its position in the table, from here on.
constexpr int FIRST_LONG = 0x100;

bool takes_value(const Option& option) { return !option.value_name.empty(); }

std::string value_fault(const Option& option, std::string_view value, std::string_view wanted) {
    return fmt::format("--{}: \"{}\" is not {}", option.long_name, value, wanted);
}

/// What the letter at the end of a number of bytes stands for; takes it away.
std::int64_t taken_unit(std::string_view& digits) {
    constexpr std::string_view UNITS = "KMG";
    const std::size_t unit = digits.size() < 2 ? UNITS.npos : UNITS.find(digits.back());
    if (unit == UNITS.npos) return 1;
    digits.remove_suffix(1);
    return std::int64_t{1} << (10 * (unit + 1));
}

// Stores the value of one option.
class Setter {
  public:
    Setter(const Option& option, std::string_view value) : _option(option), _value(value) {}

    void operator()(const Flag& flag) const {
        for (bool* other : flag.off) *other = false;
        *flag.on = true;
    }
    void operator()(const Number& number) const {
        std::string_view digits = _value;
        const std::int64_t unit = number.is_bytes ? taken_unit(digits) : 1;
        std::int64_t parsed = 0;
        const char* end = digits.data() + digits.size();
        const auto [stopped, error] = std::from_chars(digits.data(), end, parsed);
        if (error != std::errc() || stopped != end || parsed < number.least ||
            parsed > number.most / unit) {
            const bool is_bounded = number.most < std::numeric_limits<std::int64_t>::max();
            const std::string most = is_bounded ? fmt::format("to {}", number.most) : "up";
            throw UsageError(
                value_fault(_option, _value,
                            fmt::format("a number from {} {}{}", number.least, most,
                                        number.is_bytes ? ", or one with K, M or G" : "")));
        }
        *number.to = parsed * unit;
    }
    void operator()(const Choice& choice) const {
        if (std::ranges::find(choice.words, _value) == choice.words.end()) {
            throw UsageError(value_fault(_option, _value,
                                         fmt::format("one of {}{}{}", fmt::join(choice.words, ", "),
                                                     choice.why.empty() ? "" : "; ", choice.why)));
        }
        *choice.to = _value;
    }
    void operator()(const Text& text) const {
        *text.to = _value;
        if (text.is_given != nullptr) *text.is_given = true;
    }
    void operator()(const List& list) const { list.to->emplace_back(_value); }
    void operator()(const Ignored&) const {}
    void operator()(const Refused& refused) const {
        throw UsageError(fmt::format("--{}: {}", _option.long_name, refused.why));
    }

  private:
    const Option& _option;
    std::string_view _value;
};

// One reading of a command line.
class Parser {
  public:
    Parser(const Command& command, std::vector<std::string>& arguments) : _command(command) {
        static char program[] = "codetext";
        _arguments.push_back(program);
        for (std::string& argument : arguments) _arguments.push_back(argument.data());
        _end = static_cast<int>(_arguments.size());
        _arguments.push_back(nullptr);
        _describe_options();
    }

    void run() {
        _restart();
        for (int code = _next(); code != -1; code = _next()) {
            if (code == POSITIONAL) {
                _add_positional(::optarg);
            } else if (code == '?') {
                _refuse_short();
            } else {
                if (const Flag* cleared = _cleared_by(code)) {
                    *cleared->on = false;
                    continue;
                }
                const Option& option = _option_of(code == ':' ? ::optopt : code);
                if (code == ':') _refuse_without_value(option);
                const std::string_view value = takes_value(option) ? ::optarg : "";
                std::visit(Setter(option, value), option.target);
            }
        }
        for (int i = ::optind; i < _end; ++i) _add_positional(_argument(i));
    }

  private:
    void _describe_options() {
        for (const Option& option : _command.options) {
            _long_names.emplace_back(option.long_name);
            if (option.short_name == 0) continue;
            _short_options += option.short_name;
            if (takes_value(option)) _short_options += ':';
        }
        for (const Option& option : _command.options) {
            const Flag* flag = std::get_if<Flag>(&option.target);
            const std::string name = "no-" + std::string(option.long_name);
            const bool is_negative = option.long_name.starts_with("no-");
            if (flag == nullptr || is_negative || _has_option(name)) continue;
            _long_names.push_back(name);
            _cleared.push_back(flag);
        }
        int code = FIRST_LONG;
        for (std::size_t i = 0; i < _long_names.size(); ++i) {
            const bool takes = i < _command.options.size() && takes_value(_command.options[i]);
            const int has_value = takes ? required_argument : no_argument;
            _long_options.push_back({_long_names[i].c_str(), has_value, nullptr, code++});
        }
        _long_options.push_back({nullptr, 0, nullptr, 0});
    }

    bool _has_option(std::string_view long_name) const {
        return std::ranges::find(_command.options, long_name, &Option::long_name) !=
               _command.options.end();
    }

    // The flag that a "--no-NAME" with this code clears.
    const Flag* _cleared_by(int code) const {
        const int first = FIRST_LONG + static_cast<int>(_command.options.size());
        return code < first ? nullptr : _cleared[static_cast<std::size_t>(code - first)];
    }

    static void _restart() {
        ::opterr = 0;
#if defined(__APPLE__) || defined(__FreeBSD__) || defined(__NetBSD__) || defined(__OpenBSD__)
        ::optreset = 1;
        ::optind = 1;
#else
        ::optind = 0;  // glibc and musl: start anew
#endif
    }

    const char* _argument(int index) const { return _arguments[static_cast<std::size_t>(index)]; }

    int _next() {
        const int index = std::max(::optind, 1);
        // getopt_long does not say which argument it is about to read. Within a row of short
        // options this is still the argument that holds them.
        _current = index < _end ? _argument(index) : "";
        if (_current.starts_with("--") && _current.size() > 2) _check_long(_current.substr(2));
        return ::getopt_long(_end, _arguments.data(), _short_options.c_str(), _long_options.data(),
                             nullptr);
    }

    void _check_long(std::string_view argument) const {
        const std::string_view name = argument.substr(0, argument.find('='));
        const auto known = std::ranges::find(_long_names, name);
        if (known == _long_names.end()) {
            _refuse_unknown(fmt::format("--{}", name.empty() ? argument : name), name);
        }
        const auto position = static_cast<std::size_t>(known - _long_names.begin());
        const bool takes =
            position < _command.options.size() && takes_value(_command.options[position]);
        if (!takes && name.size() < argument.size()) {
            throw UsageError(fmt::format("--{} takes no value", name));
        }
    }

    void _refuse_short() const {
        const bool is_ascii = ::optopt > ' ' && ::optopt < 0x7F;
        if (!is_ascii || _current.size() == 2) {
            _refuse_unknown(std::string(_current), _current.substr(1));
        }
        const std::string_view dash = ::optopt == '-' ? "" : "-";
        _refuse_unknown(fmt::format("{}{} in {}", dash, static_cast<char>(::optopt), _current),
                        _current.substr(1));
    }

    [[noreturn]] void _refuse_unknown(const std::string& shown, std::string_view name) const {
        std::vector<std::string_view> known;
        for (const Option& option : _command.options) known.push_back(option.long_name);
        std::string advice = did_you_mean(nearest_names(name, known), "--");
        if (advice.empty() && !_command.dash_tip.empty()) {
            advice = fmt::format("; {}", _command.dash_tip);
        }
        throw UsageError(fmt::format("unknown option {}{}", shown, advice));
    }

    void _refuse_without_value(const Option& option) const {
        const bool is_long = _current.starts_with("--");
        throw UsageError(fmt::format(
            "{} needs a value: {}",
            is_long ? fmt::format("--{}", option.long_name) : fmt::format("-{}", option.short_name),
            option.value_name));
    }

    const Option& _option_of(int code) const {
        if (code >= FIRST_LONG) {
            return _command.options[static_cast<std::size_t>(code - FIRST_LONG)];
        }
        return *std::ranges::find(_command.options, static_cast<char>(code), &Option::short_name);
    }

    void _add_positional(const char* argument) const {
        if (_command.rest->size() == _command.most_positionals) {
            throw UsageError(fmt::format("too many arguments: {}", argument));
        }
        _command.rest->emplace_back(argument);
    }

    const Command& _command;
    std::vector<char*> _arguments;
    int _end = 0;  ///< how many arguments there are, the program's name included
    std::vector<std::string> _long_names;  ///< of the options, then those that clear a flag
    std::vector<const Flag*> _cleared;     ///< by the latter
    std::vector<::option> _long_options;
    std::string _short_options = "-:";
    std::string_view _current;  ///< the argument that the last option was found in
};

}  // namespace

void parse(const Command& command, std::vector<std::string> arguments) {
    Parser(command, arguments).run();
}

}  // namespace codetext::cli
