#pragma once

// Standard output, collected into large writes; and error messages, one at a time.

#include <cstddef>
#include <string>
#include <string_view>

namespace codetext::cli {

class Output {
  public:
    explicit Output(int descriptor);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Adds text to the output, which may write it later. False once the reader of a pipe is gone.
    /// Throws std::system_error when writing fails for any other reason.
    bool write(std::string_view text);
    /// Writes what is still unwritten. To be called at the end. Result and failures as for write.
    bool flush();
    bool is_terminal() const { return _is_terminal; }
    /// Whether each text is written at once. A terminal gets it so in any case.
    void set_line_buffered(bool is_buffered) { _is_line_buffered = is_buffered; }

  private:
    bool _write_out(std::string_view text);

    int _descriptor;
    bool _is_terminal;
    bool _is_line_buffered = false;
    bool _closed = false;
    std::string _buffer;
};

/// Prints the line "codetext: MESSAGE" on standard error, escaped. Every message goes through here.
void report(std::string_view message);

/// Prints a line on standard output, escaped.
void print_line(std::string_view line);

}  // namespace codetext::cli
