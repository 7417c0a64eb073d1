#pragma once

// What the fuzz targets share. Each has a file that defines `target`.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace codetext::fuzz {

/// Ends the program, so that the fuzzer keeps the input, unless what the library promises holds.
inline void require(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

/// An input, taken part by part. After its end it gives zeros and empty texts.
class Input {
  public:
    explicit Input(std::string_view rest) : _rest(rest) {}

    std::uint32_t number(std::size_t bytes) {
        std::uint32_t value = 0;
        for (const char byte : _take(bytes)) value = value << 8 | static_cast<unsigned char>(byte);
        return value;
    }
    /// Up to the next LF, which is left out.
    std::string line() {
        const std::string line(_take(_rest.find('\n')));
        _take(1);
        return line;
    }
    std::string rest() const { return std::string(_rest); }

  private:
    std::string_view _take(std::size_t bytes) {
        const std::string_view taken = _rest.substr(0, bytes);
        _rest.remove_prefix(taken.size());
        return taken;
    }
    std::string_view _rest;
};

/// One run. Calls `require`, and throws nothing.
void target(Input input);

}  // namespace codetext::fuzz
