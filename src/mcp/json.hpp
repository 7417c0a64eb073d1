#pragma once

// JSON as this room writes it: RapidJSON's writer, with names that say what is written.
//
// Text that is written must be UTF-8; unicode::decode makes any text so.

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace codetext::mcp {

class JsonWriter {
  public:
    JsonWriter() : _json(_buffer) {}
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void begin_object() { _json.StartObject(); }
    void end_object() { _json.EndObject(); }
    void begin_array() { _json.StartArray(); }
    void end_array() { _json.EndArray(); }

    void key(std::string_view name) { _json.Key(name.data(), _size(name)); }
    void text(std::string_view value) { _json.String(value.data(), _size(value)); }
    void number(std::int64_t value) { _json.Int64(value); }
    void boolean(bool value) { _json.Bool(value); }
    void null() { _json.Null(); }
    /// A value that is JSON already.
    void raw(std::string_view json) {
        _json.RawValue(json.data(), json.size(), rapidjson::kObjectType);
    }

    void text(std::string_view name, std::string_view value) { key(name), text(value); }
    void number(std::string_view name, std::int64_t value) { key(name), number(value); }
    void boolean(std::string_view name, bool value) { key(name), boolean(value); }
    void raw(std::string_view name, std::string_view json) { key(name), raw(json); }

    /// What was written so far.
    std::string str() const { return {_buffer.GetString(), _buffer.GetSize()}; }

  private:
    static rapidjson::SizeType _size(std::string_view text) {
        return static_cast<rapidjson::SizeType>(text.size());
    }
    rapidjson::StringBuffer _buffer;
    rapidjson::Writer<rapidjson::StringBuffer> _json;
};

/// `text` as a JSON string, with its quotes.
inline std::string json_text(std::string_view text) {
    JsonWriter json;
    json.text(text);
    return json.str();
}

}  // namespace codetext::mcp
