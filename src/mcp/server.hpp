#pragma once

// A server of the Model Context Protocol over lines on two descriptors: it lets a program such as a
// language model's client search one repository.
//
// https://modelcontextprotocol.io, versions 2024-11-05, 2025-03-26 and 2025-06-18.

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "storage/database.hpp"
#include "storage/index_directory.hpp"

namespace codetext::mcp {

struct ServerOptions {
    std::filesystem::path root;  ///< of the repository
    schema::Owners owners = schema::Owners::TRUSTED;
    std::string program_version;
    bool may_write = true;  ///< false: nothing makes or refreshes the index
    int input = 0, output = 1;
    int stop = -1;  ///< a descriptor that is readable when the server must end
    /// Opens the repository's index for reading; throws where it cannot be used.
    std::function<Database()> open_index;
    /// What search::FileFilter::languages needs for these types; throws for an unknown one.
    std::function<std::vector<std::string>(const std::vector<std::string>&)> members_of_types;
    /// Takes what went wrong and concerns no call, from any thread.
    std::function<void(std::string_view)> log;
};

/// Serves until the client goes away (then what it has asked for is still done) or `stop` is
/// readable. Throws std::system_error when it cannot read or write.
void serve(const ServerOptions& options);

}  // namespace codetext::mcp
