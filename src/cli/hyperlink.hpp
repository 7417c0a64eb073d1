#pragma once

// Links to the lines of an answer, which many terminals open on a click: the escape sequence OSC 8
// (https://gist.github.com/egmontkob/eb114294efbcd5adb1944c9f3cb5feda).

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace codetext::cli {

class Hyperlink {
  public:
    /// `form` is a URL with {path}, and perhaps {host}, {line} and {column}; or the name of one:
    /// default, file, grep+, kitty, macvim, textmate, vscode, vscode-insiders, vscodium; or "none".
    /// Throws std::invalid_argument for anything else, and for a control character.
    Hyperlink(std::string_view form, const std::filesystem::path& root);

    bool is_none() const { return _form.empty(); }
    /// What begins the link to a place in the file at `path` below the root; numbers from 1.
    std::string begin(std::string_view path, std::int64_t line, std::int64_t column) const;
    static constexpr std::string_view END = "\x1b]8;;\x1b\\";

  private:
    std::string _form;  ///< empty: none
    std::string _root;  ///< with a "/" at its end
};

}  // namespace codetext::cli
