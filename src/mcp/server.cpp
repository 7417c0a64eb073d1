// Three threads. One reads lines, answers what needs no work, and so hears of a cancellation while
// a call runs. One runs calls, one after the other, with the index that it keeps open. One
// refreshes the index, which may take long, while searches go on.
//
// A call is known by its id from when it is read until it is answered. A cancellation sets its
// flag: it ends soon, and what it gives is dropped.

#include "mcp/server.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>

#include "mcp/arguments.hpp"
#include "mcp/job_thread.hpp"
#include "mcp/line_page.hpp"
#include "mcp/line_reader.hpp"
#include "mcp/message.hpp"
#include "mcp/outbox.hpp"
#include "mcp/tool_calls.hpp"
#include "utils/unicode.hpp"

namespace codetext::mcp {
namespace {

/// Newest last.
constexpr std::array<std::string_view, 3> VERSIONS = {"2024-11-05", "2025-03-26", "2025-06-18"};
/// The only version with batches.
constexpr std::string_view VERSION_WITH_BATCHES = "2025-03-26";

/// Calls that may wait: with the bound of a line this bounds memory.
constexpr std::size_t MOST_WAITING = 64;
/// After so long without a call the index is closed, so that nothing waits for this reader.
constexpr std::chrono::seconds IDLE_TIME(60);

constexpr std::string_view INSTRUCTIONS =
    "Searches one repository through an index, in milliseconds. All paths are relative to the "
    "repository's root. Use search_code for text (with fixed_strings for plain text), find_files "
    "for names, read_lines to see more of a file. A result with next_cursor goes on with the same "
    "arguments and that cursor. If there is no index yet, or a result is stale and must not be, "
    "call refresh.";

struct Call {
    std::string id, key;  ///< as it was sent; as equal ids are equal
    const Tool* tool;
    Messages line;  ///< keeps the arguments
    Arguments arguments;
    std::shared_ptr<Answers> answers;
    std::atomic<bool> stop = false;
};

/// A message may quote what a client has sent, or a path of any bytes.
std::string safe(std::string_view message) {
    constexpr std::size_t MOST_MESSAGE_BYTES = 2000;
    return shortened(unicode::decode(std::string(message)), 0, MOST_MESSAGE_BYTES);
}

void refuse(Answers& answers, const std::optional<std::string>& id, const ProtocolError& error) {
    answers.error(id, error.code(), safe(error.what()));
}

std::string error_result(std::string_view message) {
    JsonWriter json;
    json.begin_object();
    json.key("content");
    json.raw(fmt::format(R"([{{"type":"text","text":{}}}])", json_text(safe(message))));
    json.boolean("isError", true);
    json.end_object();
    return json.str();
}

std::string call_result(const ToolResult& result) {
    JsonWriter json;
    json.begin_object();
    json.key("content");
    json.raw(fmt::format(R"([{{"type":"text","text":{}}}])", json_text(result.text)));
    json.raw("structuredContent", result.json);
    json.boolean("isError", false);
    json.end_object();
    return json.str();
}

class Server {
  public:
    explicit Server(const ServerOptions& options)
        : _options(&options),
          _outbox(options.output, options.stop),
          _index(options.root, options.open_index),
          _refresher(options.root, options.owners, options.may_write),
          _calls([this] { _index.close(); }, IDLE_TIME) {}

    void run() {
        LineReader reader(_options->input, _options->stop, _options->output);
        _refresh_if_due();
        try {
            while (const std::optional<Line> line = reader.next()) _take(*line);
        } catch (...) {
            _end(true);
            throw;
        }
        _end(reader.was_stopped());
        if (_failure) std::rethrow_exception(_failure);
    }

  private:
    void _end(bool at_once) {
        _is_ending = true;
        if (at_once) {
            const std::lock_guard lock(_mutex);
            for (const auto& [key, call] : _running) call->stop = true;
        }
        _calls.finish();
        _refreshes.finish();
    }

    void _take(const Line& line) {
        Answers alone(_outbox, false, 1);
        try {
            if (line.is_too_long) {
                throw ProtocolError(
                    ErrorCode::INVALID_REQUEST,
                    fmt::format("a line of more than {} bytes is not read", MAX_LINE_BYTES));
            }
            const Messages messages = parse_messages(line.text);
            if (messages.is_batch && _version != VERSION_WITH_BATCHES) {
                throw ProtocolError(
                    ErrorCode::INVALID_REQUEST,
                    fmt::format("version {} of the protocol has no batches", _version));
            }
            _take_all(messages);
        } catch (const ProtocolError& error) {
            refuse(alone, std::nullopt, error);
        }
    }

    void _take_all(const Messages& line) {
        const auto is_answered = [](const Message& message) {
            return !message.is_notification() && !message.is_response();
        };
        const auto count = std::ranges::count_if(line.messages, is_answered);
        const auto answers =
            std::make_shared<Answers>(_outbox, line.is_batch, static_cast<std::size_t>(count));
        for (const Message& message : line.messages) {
            if (message.is_response()) continue;
            if (message.is_notification()) {
                _notice(message);
                continue;
            }
            try {
                if (message.fault) {
                    throw ProtocolError(ErrorCode::INVALID_REQUEST, *message.fault);
                }
                _answer(message, line, answers);
            } catch (const ProtocolError& error) {
                refuse(*answers, message.id, error);
            }
        }
    }

    void _notice(const Message& message) {
        if (message.method() != "notifications/cancelled") return;
        const Json* params = member(*message.value, "params");
        const Json* id = params && params->IsObject() ? member(*params, "requestId") : nullptr;
        if (!id) return;
        const std::lock_guard lock(_mutex);
        const auto call = _running.find(json_of(*id));
        if (call == _running.end()) return;
        call->second->stop = true;
        _running.erase(call);  // the id is free again
    }

    void _answer(const Message& message, const Messages& line,
                 const std::shared_ptr<Answers>& answers) {
        const std::string_view method = message.method();
        if (method == "initialize") return answers->result(*message.id, _initialize(message));
        if (method == "ping") return answers->result(*message.id, "{}");
        if (method == "tools/list") {
            return answers->result(*message.id, tool_list(_options->may_write));
        }
        if (method == "tools/call") return _begin_call(message, line, answers);
        throw ProtocolError(ErrorCode::UNKNOWN_METHOD,
                            fmt::format("there is no method {}", method));
    }

    std::string _initialize(const Message& message) {
        const Json* params = message.params();
        const Json* version = params ? member(*params, "protocolVersion") : nullptr;
        if (!version || !version->IsString()) {
            throw ProtocolError(ErrorCode::BAD_PARAMS, "\"protocolVersion\" is missing");
        }
        const auto* known = std::ranges::find(VERSIONS, text_of(*version));
        _version = known == VERSIONS.end() ? VERSIONS.back() : *known;
        JsonWriter json;
        json.begin_object();
        json.text("protocolVersion", _version);
        json.raw("capabilities", R"({"tools":{}})");
        json.key("serverInfo");
        json.begin_object();
        json.text("name", "codetext");
        json.text("version", _options->program_version);
        json.end_object();
        json.text("instructions", INSTRUCTIONS);
        json.end_object();
        return json.str();
    }

    void _begin_call(const Message& message, const Messages& line,
                     const std::shared_ptr<Answers>& answers) {
        const Json* params = message.params();
        const Json* name = params ? member(*params, "name") : nullptr;
        if (!name || !name->IsString()) {
            throw ProtocolError(ErrorCode::BAD_PARAMS, "the tool's \"name\" is missing");
        }
        const Tool* tool = tool_named(text_of(*name), _options->may_write);
        if (!tool) {
            throw ProtocolError(ErrorCode::BAD_PARAMS,
                                fmt::format("there is no tool {}", text_of(*name)));
        }
        const auto call = std::shared_ptr<Call>(
            new Call{*message.id, json_of(*member(*message.value, "id")), tool, line,
                     Arguments(*tool, member(*params, "arguments")), answers});
        const bool is_refresh = tool->effect == Effect::WRITES;
        JobThread& thread = is_refresh ? _refreshes : _calls;
        if (thread.waiting() >= MOST_WAITING) {
            throw ProtocolError(ErrorCode::TOO_MANY_CALLS, "too many calls are waiting");
        }
        {
            const std::lock_guard lock(_mutex);
            if (!_running.emplace(call->key, call).second) {
                throw ProtocolError(ErrorCode::INVALID_REQUEST, "a request has this id already");
            }
        }
        thread.add([this, call] { _guarded([&] { _run(*call); }); });
        if (!is_refresh) _refresh_if_due();
    }

    /// Runs a call and answers it.
    void _run(Call& call) {
        const std::function<void()> answer = _answer_of(call);
        {
            const std::lock_guard lock(_mutex);
            const auto known = _running.find(call.key);
            if (known != _running.end() && known->second.get() == &call) _running.erase(known);
        }
        call.stop ? call.answers->drop() : answer();
    }

    /// Runs a call. What it fails with is its answer.
    std::function<void()> _answer_of(Call& call) {
        try {
            if (call.stop) throw CallStopped();
            return _with_result(call, call_result(_result_of(call)));
        } catch (const CallStopped&) {
            return [&call] { call.answers->drop(); };
        } catch (const ProtocolError& error) {
            return [&call, error] { refuse(*call.answers, call.id, error); };
        } catch (const NoIndex& error) {
            const std::string advice = _options->may_write ? ", or call the tool `refresh`" : "";
            return _with_result(call, error_result(error.what() + advice));
        } catch (const std::exception& error) {
            return _with_result(call, error_result(error.what()));
        }
    }

    static std::function<void()> _with_result(Call& call, std::string result) {
        return [&call, result = std::move(result)] { call.answers->result(call.id, result); };
    }

    ToolResult _result_of(Call& call) {
        if (call.tool->effect == Effect::WRITES) return _refresh(call);
        const ToolContext context{_options->root, _index, _refresher, _options->members_of_types,
                                  call.stop};
        try {
            ToolResult result = _read(call, context);
            _index.release();
            return result;
        } catch (const DatabaseError&) {
            _index.close();  // it may be another one next time
            throw;
        }
    }

    static ToolResult _read(const Call& call, const ToolContext& context) {
        if (call.tool->name == "search_code") return search_code(call.arguments, context);
        if (call.tool->name == "find_files") return find_files(call.arguments, context);
        if (call.tool->name == "read_lines") return read_lines(call.arguments, context);
        return index_status(context);
    }

    ToolResult _refresh(const Call& call) {
        try {
            const auto report = _refresher.refresh(call.stop, Refresher::Wanted::BY_CALL);
            return refresh_result(report, _refresher.freshness());
        } catch (const RefreshStopped&) {
            throw CallStopped();
        }
    }

    void _refresh_if_due() {
        try {
            if (!_refresher.take_due()) return;
            _refreshes.add([this] { _refresh_in_background(); });
        } catch (const std::exception& error) {
            _log(error.what());
        }
    }

    void _refresh_in_background() {
        try {
            _refresher.refresh(_is_ending, Refresher::Wanted::IN_BACKGROUND);
        } catch (const RefreshStopped&) {
        } catch (const indexer::IndexBusy&) {
        } catch (const std::exception& error) {
            _log(fmt::format("the index cannot be refreshed: {}", error.what()));
        }
    }

    /// What fails here fails for no call: the client cannot be written to, or no memory is left.
    /// The server ends with that failure once the client goes away.
    template <typename Work>
    void _guarded(const Work& work) {
        try {
            work();
        } catch (const std::exception& error) {
            _log(error.what());
            const std::lock_guard lock(_mutex);
            if (!_failure) _failure = std::current_exception();
        }
    }

    /// Says the same thing once.
    void _log(std::string_view message) {
        {
            const std::lock_guard lock(_mutex);
            if (_logged == message) return;
            _logged = message;
        }
        if (_options->log) _options->log(message);
    }

    const ServerOptions* _options;
    Outbox _outbox;
    std::string_view _version = VERSIONS.back();
    IndexHandle _index;  ///< of the thread of calls
    Refresher _refresher;
    std::atomic<bool> _is_ending = false;
    std::mutex _mutex;  ///< over the three that follow
    std::map<std::string, std::shared_ptr<Call>, std::less<>> _running;
    std::exception_ptr _failure;
    std::string _logged;
    JobThread _refreshes, _calls;  ///< the last members: they use the others
};

}  // namespace

void serve(const ServerOptions& options) { Server(options).run(); }

}  // namespace codetext::mcp
