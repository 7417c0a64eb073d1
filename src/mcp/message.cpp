// A line is read twice. The first pass makes nothing: it finds what is nested too deeply, and keeps
// the ids as they were written, because a number of many digits would come out as another one. Both
// passes are iterative, so depth costs no stack.

#include "mcp/message.hpp"

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <utility>

#include "mcp/json.hpp"

namespace codetext::mcp {
namespace {

constexpr unsigned CHECKED = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

/// What the first pass keeps: an id for each object that may be a message.
class Screening {
  public:
    std::vector<std::optional<std::string>> ids;
    bool is_too_deep = false;

    // NOLINTBEGIN(readability-identifier-naming): RapidJSON calls them so
    bool Null() { return _other(); }
    bool Bool(bool) { return _other(); }
    bool Int(int) { return _other(); }
    bool Uint(unsigned) { return _other(); }
    bool Int64(std::int64_t) { return _other(); }
    bool Uint64(std::uint64_t) { return _other(); }
    bool Double(double) { return _other(); }
    bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
        return _scalar(std::string(text, size));
    }
    bool String(const char* text, rapidjson::SizeType size, bool) {
        return _is_id ? _scalar(json_text({text, size})) : true;
    }
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        _is_id = _depth == _message_depth && std::string_view(text, size) == "id" &&
                 !std::exchange(_has_id, true);
        return true;
    }
    bool StartObject() {
        if (_depth + 1 == _message_depth) ids.emplace_back(), _has_id = false;
        return _enter();
    }
    bool EndObject(rapidjson::SizeType) { return _leave(); }
    bool StartArray() {
        if (_depth == 0) _message_depth = 2;
        return _enter();
    }
    bool EndArray(rapidjson::SizeType) { return _leave(); }
    // NOLINTEND(readability-identifier-naming)

  private:
    bool _enter() {
        _other();
        is_too_deep = ++_depth > MAX_DEPTH;
        return !is_too_deep;
    }
    bool _leave() { return --_depth, true; }
    bool _other() { return _is_id = false, true; }
    bool _scalar(std::string json) {
        if (std::exchange(_is_id, false)) ids.back() = std::move(json);
        return true;
    }

    int _depth = 0;
    int _message_depth = 1;  ///< 2 in a batch
    bool _has_id = false;    ///< of two members of one name the first counts, as in the document
    bool _is_id = false;     ///< the next value is the id of a message
};

[[noreturn]] void refuse(rapidjson::ParseErrorCode code, std::size_t offset_bytes) {
    throw ProtocolError(ErrorCode::PARSE_ERROR,
                        fmt::format("this is no JSON: {} (at byte {})",
                                    rapidjson::GetParseError_En(code), offset_bytes));
}

Screening screened(std::string_view line) {
    Screening screening;
    rapidjson::Reader reader;
    rapidjson::MemoryStream stream(line.data(), line.size());
    const auto result =
        reader.Parse<CHECKED | rapidjson::kParseNumbersAsStringsFlag>(stream, screening);
    if (screening.is_too_deep) {
        throw ProtocolError(
            ErrorCode::PARSE_ERROR,
            fmt::format("more than {} objects and arrays in one another", MAX_DEPTH));
    }
    if (result.IsError()) refuse(result.Code(), result.Offset());
    return screening;
}

/// Why the value is neither a request, nor a notification, nor a response.
std::optional<std::string> fault_of(const Json& value, const std::optional<std::string>& id) {
    if (!value.IsObject()) return "a message is an object";
    const Json* version = member(value, "jsonrpc");
    if (!version || !version->IsString() || text_of(*version) != "2.0") {
        return "\"jsonrpc\" is not \"2.0\"";
    }
    const Json* method = member(value, "method");
    if (!method && (value.HasMember("result") || value.HasMember("error"))) return std::nullopt;
    if (!method || !method->IsString()) return "\"method\" is missing, or no string";
    if (value.HasMember("id") && !id) return "\"id\" is neither a string nor a number";
    return std::nullopt;
}

}  // namespace

const Json* member(const Json& object, const char* name) {
    const auto found = object.FindMember(name);
    return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string_view text_of(const Json& string) {
    return {string.GetString(), string.GetStringLength()};
}

std::string json_of(const Json& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string_view Message::method() const { return text_of(*member(*value, "method")); }

const Json* Message::params() const {
    const Json* params = member(*value, "params");
    if (params && !params->IsObject()) {
        throw ProtocolError(ErrorCode::BAD_PARAMS, "\"params\" is no object");
    }
    return params;
}

Messages parse_messages(std::string_view line) {
    // RapidJSON takes a NUL for the end.
    if (line.find('\0') != std::string_view::npos) refuse(rapidjson::kParseErrorValueInvalid, 0);
    const Screening screening = screened(line);
    const auto document = std::make_shared<rapidjson::Document>();
    document->Parse<CHECKED>(line.data(), line.size());
    if (document->HasParseError()) refuse(document->GetParseError(), document->GetErrorOffset());
    Messages result{document, document->IsArray(), {}};
    std::size_t next_id = 0;
    const auto add = [&](const Json& value) {
        const std::optional<std::string> id =
            value.IsObject() ? screening.ids.at(next_id++) : std::nullopt;
        result.messages.push_back({id, &value, fault_of(value, id)});
    };
    if (!result.is_batch) {
        add(*document);
        return result;
    }
    for (const Json& value : document->GetArray()) add(value);
    if (result.messages.empty()) throw ProtocolError(ErrorCode::INVALID_REQUEST, "an empty batch");
    return result;
}

}  // namespace codetext::mcp
