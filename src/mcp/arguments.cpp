#include "mcp/arguments.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "mcp/json.hpp"

namespace codetext::mcp {
namespace {

using Kind = Parameter::Kind;

[[noreturn]] void refuse(const std::string& message) {
    throw ProtocolError(ErrorCode::BAD_PARAMS, message);
}

bool is_texts(const Json& value) {
    const auto is_text = [](const Json& one) { return one.IsString(); };
    return value.IsArray() && std::all_of(value.Begin(), value.End(), is_text);
}

void check(const Parameter& parameter, const Json& value) {
    switch (parameter.kind) {
        case Kind::TEXT:
            if (!value.IsString()) refuse(fmt::format("\"{}\" is no string", parameter.name));
            return;
        case Kind::TEXTS:
            if (!is_texts(value))
                refuse(fmt::format("\"{}\" is no list of strings", parameter.name));
            return;
        case Kind::FLAG:
            if (!value.IsBool()) refuse(fmt::format("\"{}\" is no boolean", parameter.name));
            return;
        case Kind::NUMBER:
            if (!value.IsInt64() || value.GetInt64() < parameter.least ||
                value.GetInt64() > parameter.most) {
                refuse(fmt::format("\"{}\" is no integer from {} to {}", parameter.name,
                                   parameter.least, parameter.most));
            }
    }
}

const Parameter* parameter_named(const Tool& tool, std::string_view name) {
    const auto found = std::ranges::find(tool.parameters, name, &Parameter::name);
    return found == tool.parameters.end() ? nullptr : &*found;
}

void append(std::string& text, std::string_view value) {
    text += fmt::format("{}:{},", value.size(), value);
}

}  // namespace

Arguments::Arguments(const Tool& tool, const Json* given) : _tool(&tool), _given(given) {
    if (given && !given->IsObject()) refuse("\"arguments\" is no object");
    if (given) {
        for (const auto& [name, value] : given->GetObject()) {
            const Parameter* parameter = parameter_named(tool, text_of(name));
            if (!parameter) {
                refuse(fmt::format("{} has no argument \"{}\"", tool.name, text_of(name)));
            }
            check(*parameter, value);
        }
    }
    for (const Parameter& parameter : tool.parameters) {
        if (parameter.is_required && !has(parameter.name)) {
            refuse(fmt::format("the argument \"{}\" is missing", parameter.name));
        }
    }
}

const Json* Arguments::_value(std::string_view name) const {
    return _given ? member(*_given, std::string(name).c_str()) : nullptr;
}

std::string Arguments::text(std::string_view name) const {
    const Json* value = _value(name);
    return value ? std::string(text_of(*value)) : "";
}

std::vector<std::string> Arguments::texts(std::string_view name) const {
    std::vector<std::string> texts;
    const Json* value = _value(name);
    if (!value) return texts;
    for (const Json& one : value->GetArray()) texts.emplace_back(text_of(one));
    return texts;
}

bool Arguments::flag(std::string_view name) const {
    const Json* value = _value(name);
    return value && value->GetBool();
}

std::int64_t Arguments::number(std::string_view name) const {
    const Json* value = _value(name);
    return value ? value->GetInt64() : parameter_named(*_tool, name)->fallback;
}

std::string Arguments::question() const {
    std::string question;
    for (const Parameter& parameter : _tool->parameters) {
        if (parameter.is_of_page) continue;
        append(question, parameter.name);
        if (parameter.kind == Kind::TEXT) append(question, text(parameter.name));
        if (parameter.kind == Kind::FLAG) append(question, flag(parameter.name) ? "1" : "0");
        for (const std::string& one :
             parameter.kind == Kind::TEXTS ? texts(parameter.name) : std::vector<std::string>()) {
            append(question, one);
        }
    }
    return question;
}

}  // namespace codetext::mcp
