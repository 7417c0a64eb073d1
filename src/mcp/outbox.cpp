// A client may stop reading for good. So that the server can still be ended, nothing is written
// that could block: only as much as a pipe takes for certain when poll says that it takes any.

#include "mcp/outbox.hpp"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "mcp/json.hpp"
#include "utils/descriptor.hpp"

namespace codetext::mcp {
namespace {

constexpr std::size_t PART_BYTES = PIPE_BUF;
/// How long a client that does not read is waited for when the server is to end.
constexpr int GRACE_MS = 500;

bool is_gone(int error) { return error == EPIPE || error == ECONNRESET || error == EBADF; }

}  // namespace

void Outbox::send(std::string_view json) {
    const std::string line = std::string(json) + '\n';
    const std::lock_guard lock(_mutex);
    std::string_view rest = line;
    while (!_is_closed && !rest.empty()) {
        if (!_wait()) {
            _is_closed = true;
            return;
        }
        const ssize_t count = ::write(_output, rest.data(), std::min(rest.size(), PART_BYTES));
        if (count >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(count));
        } else if (is_gone(errno)) {
            _is_closed = true;
        } else if (errno != EINTR && errno != EAGAIN) {
            throw_system_error("cannot write an answer");
        }
    }
}

/// Waits until a part can be written; false when it is not to be waited for any longer.
bool Outbox::_wait() const {
    std::array<struct pollfd, 2> waited = {{{_output, POLLOUT, 0}, {_stop, POLLIN, 0}}};
    while (::poll(waited.data(), waited.size(), -1) == -1) {
        if (errno != EINTR) throw_system_error("cannot wait for the client");
    }
    if (waited[0].revents != 0) return true;
    return ::poll(waited.data(), 1, GRACE_MS) > 0;
}

void Answers::result(std::string_view id, std::string_view result_json) {
    JsonWriter json;
    json.begin_object();
    json.text("jsonrpc", "2.0");
    json.raw("id", id);
    json.raw("result", result_json);
    json.end_object();
    _add(json.str());
}

void Answers::error(const std::optional<std::string>& id, ErrorCode code,
                    std::string_view message) {
    JsonWriter json;
    json.begin_object();
    json.text("jsonrpc", "2.0");
    json.raw("id", id.value_or("null"));
    json.key("error");
    json.begin_object();
    json.number("code", static_cast<int>(code));
    json.text("message", message);
    json.end_object();
    json.end_object();
    _add(json.str());
}

void Answers::_add(const std::string& json) {
    if (!_is_batch) {
        if (!json.empty()) _outbox->send(json);
        return;
    }
    const std::lock_guard lock(_mutex);
    if (!_batch.empty() && !json.empty()) _batch += ',';
    _batch += json;
    if (--_expected == 0 && !_batch.empty()) _outbox->send('[' + _batch + ']');
}

}  // namespace codetext::mcp
