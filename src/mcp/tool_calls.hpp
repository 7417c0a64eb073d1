#pragma once

// What the tools do. Each takes checked arguments and gives a result as text and as JSON; what it
// throws is told to the client as the tool's failure, a ProtocolError as a wrong request.

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "indexer/run/index_run.hpp"
#include "mcp/arguments.hpp"
#include "mcp/index_handle.hpp"
#include "mcp/json.hpp"
#include "mcp/refresher.hpp"

namespace codetext::mcp {

struct ToolResult {
    std::string text;
    std::string json;  ///< an object, as the tool's output schema says
};

/// Ends a call whose stop flag is set; it is not answered.
struct CallStopped {};

struct ToolContext {
    const std::filesystem::path& root;
    IndexHandle& index;
    const Refresher& refresher;
    /// Languages and endings of the files of types; throws for an unknown type.
    const std::function<std::vector<std::string>(const std::vector<std::string>&)>&
        members_of_types;
    const std::atomic<bool>& stop;
};

ToolResult search_code(const Arguments& arguments, const ToolContext& context);
ToolResult find_files(const Arguments& arguments, const ToolContext& context);
ToolResult read_lines(const Arguments& arguments, const ToolContext& context);
ToolResult index_status(const ToolContext& context);
/// `report` is none when a watcher has refreshed the index.
ToolResult refresh_result(const std::optional<indexer::IndexReport>& report,
                          const Freshness& freshness);

/// Adds "checked_at" and "stale".
void add_freshness(JsonWriter& json, const Freshness& freshness);
/// The same as a line of text.
std::string freshness_text(const Freshness& freshness);
/// A path from the client, relative to the root. Throws for one that could lead elsewhere.
void check_path(const std::string& path);

}  // namespace codetext::mcp
