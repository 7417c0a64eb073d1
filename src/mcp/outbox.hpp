#pragma once

// Where answers go: one line each, whole, whichever thread makes it.

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mcp/message.hpp"

namespace codetext::mcp {

class Outbox {
  public:
    /// `stop` is a descriptor that becomes readable when a client that does not read is waited for
    /// no more.
    Outbox(int output, int stop) : _output(output), _stop(stop) {}

    /// Writes the line, and drops it once the client is gone. Throws std::system_error when writing
    /// fails for another reason.
    void send(std::string_view json);

  private:
    bool _wait() const;
    int _output, _stop;
    std::mutex _mutex;
    bool _is_closed = false;
};

/// Where the answers to one line of the client go: each by itself, or those of a batch together,
/// when the last of them is there. Several threads may use one.
class Answers {
  public:
    /// `expected` is how many answers there will be, those that are dropped included.
    Answers(Outbox& outbox, bool is_batch, std::size_t expected)
        : _outbox(&outbox), _is_batch(is_batch), _expected(expected) {}

    void result(std::string_view id, std::string_view result_json);
    /// `id` is none where it could not be read.
    void error(const std::optional<std::string>& id, ErrorCode code, std::string_view message);
    /// This one is not answered.
    void drop() { _add({}); }

  private:
    void _add(const std::string& json);

    Outbox* _outbox;
    bool _is_batch;
    std::mutex _mutex;
    std::size_t _expected;
    std::string _batch;  ///< the answers so far, with commas between them
};

}  // namespace codetext::mcp
