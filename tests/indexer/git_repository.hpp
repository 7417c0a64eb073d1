#pragma once

// Git work trees in temporary folders, untouched by whoever runs the tests.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "indexer/process.hpp"
#include "storage/temp_index.hpp"

namespace codetext::test_support {

/// Runs git in `directory` with a configuration of its own.
inline void git(const std::filesystem::path& directory, std::vector<std::string> arguments) {
    std::vector<std::string> command = {"git",
                                        "-C",
                                        directory.string(),
                                        "-c",
                                        "user.name=t",
                                        "-c",
                                        "user.email=t@t",
                                        "-c",
                                        "protocol.file.allow=always"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const auto result = indexer::run_process(
        command,
        {"PATH=/usr/local/bin:/usr/bin:/bin", "HOME=/nonexistent", "GIT_CONFIG_NOSYSTEM=1"});
    if (result.status != 0) throw std::runtime_error(arguments[0] + ": " + result.errors);
}

/// A git work tree whose files are tracked and committed.
inline void make_repository(const TempFolder& folder, const std::string& prefix,
                            const std::vector<std::string>& tracked) {
    std::filesystem::create_directories(folder.path() / prefix);
    git(folder.path() / prefix, {"init", "-q", "-b", "main"});
    for (const std::string& name : tracked) folder.write(prefix + name, name + "\n");
    git(folder.path() / prefix, {"add", "-f", "."});
    git(folder.path() / prefix, {"commit", "-q", "--allow-empty", "-m", "all"});
}

}  // namespace codetext::test_support
