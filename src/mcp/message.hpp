#pragma once

// A line that a client has sent, taken apart: JSON-RPC 2.0 requests, notifications and responses.
// The client may be anybody: nothing of the line is trusted.

#include <rapidjson/document.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::mcp {

using Json = rapidjson::Value;

/// The codes of JSON-RPC's errors.
enum class ErrorCode {
    PARSE_ERROR = -32700,
    INVALID_REQUEST = -32600,
    UNKNOWN_METHOD = -32601,
    BAD_PARAMS = -32602,
    INTERNAL_ERROR = -32603,
    TOO_MANY_CALLS = -32000,
};

/// Is answered with a JSON-RPC error.
class ProtocolError : public std::runtime_error {
  public:
    ProtocolError(ErrorCode code, const std::string& message)
        : std::runtime_error(message), _code(code) {}
    ErrorCode code() const { return _code; }

  private:
    ErrorCode _code;
};

/// Objects and arrays in one another that a line may have. The protocol needs six.
inline constexpr int MAX_DEPTH = 64;

struct Message {
    /// JSON of the id, as it was sent: a string or a number. None for what is no request, or has an
    /// id that is neither.
    std::optional<std::string> id;
    const Json* value;                 ///< the object, which belongs to the Messages
    std::optional<std::string> fault;  ///< why it is no message; then only `id` counts

    bool is_notification() const { return !fault && !value->HasMember("id"); }
    /// A response, which answers nothing: this server asks its client nothing.
    bool is_response() const { return !fault && !value->HasMember("method"); }
    std::string_view method() const;
    /// The parameters, an object; none when they are missing. Throws ProtocolError for others.
    const Json* params() const;
};

struct Messages {
    std::shared_ptr<const rapidjson::Document> document;
    bool is_batch = false;
    std::vector<Message> messages;
};

/// Takes a line apart. Throws ProtocolError for what is no JSON, is nested too deeply, has a number
/// out of range, is neither an object nor an array, or is an empty array.
Messages parse_messages(std::string_view line);

/// The member of an object; none when it is missing.
const Json* member(const Json& object, const char* name);
std::string_view text_of(const Json& string);
/// The value written out; equal for equal strings and integers.
std::string json_of(const Json& value);

}  // namespace codetext::mcp
