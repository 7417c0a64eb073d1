#pragma once

// Standard output in large writes. Not for error messages.
//
//   cli::Output out(STDOUT_FILENO);
//   if (!out.write("src/main.c:1:int main() {}\n")) stop();   // nobody reads any more

#include <cstddef>
#include <string>
#include <string_view>

namespace codetext::cli {

class Output {
  public:
    explicit Output(int descriptor);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Takes text for output; false once the reader of a pipe is gone. Throws std::system_error
    /// when the output cannot be written for any other reason.
    bool write(std::string_view text);
    /// Writes what was taken and not written yet; to be called at the end. As write.
    bool flush();
    bool is_terminal() const { return _is_terminal; }

  private:
    bool _write_out(std::string_view text);

    int _descriptor;
    bool _is_terminal;
    bool _closed = false;
    std::string _buffer;
};

/// One line, "codetext: MESSAGE", on standard error.
void report(std::string_view message);

}  // namespace codetext::cli
