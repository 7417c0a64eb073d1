#pragma once

// Temporary folders for tests.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace codetext::test_support {

/// A folder that goes when the test ends. Its name has what means something in a URI or a glob.
class TempFolder {
  public:
    TempFolder() {
        std::string name =
            (std::filesystem::temp_directory_path() / "codetext-?%41-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp failed");
        _path = std::filesystem::canonical(name);
    }
    ~TempFolder() { std::filesystem::remove_all(_path); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    /// The folder, without a symbolic link in its path.
    const std::filesystem::path& path() const { return _path; }

    /// Writes a file, with the directories that lead to it.
    void write(const std::string& name, std::string_view bytes) const {
        std::filesystem::create_directories((_path / name).parent_path());
        std::ofstream(_path / name, std::ios::binary) << bytes;
    }
    std::string read(const std::string& name) const {
        std::ifstream stream(_path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

  private:
    std::filesystem::path _path;
};

}  // namespace codetext::test_support
