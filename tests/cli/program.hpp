#pragma once

// Runs the real program, as its users do, in a temporary repository. No shell is in between: every
// argument reaches the program as it is.
//
//   test::Repository repository;
//   repository.write("src/main.c", "int main() {}\n");
//   test::Outcome outcome = test::run({"index"}, repository.root());
//   ASSERT_EQ(outcome.status, 0) << outcome.err;

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace codetext::test {

/// What a run of a program left.
struct Outcome {
    std::string out, err;
    int status;  ///< exit status; 128 + the signal's number when a signal ended it
};

/// Runs codetext with `arguments` in the directory `cwd`, its standard input empty. `environment`
/// ("NAME=value") is added to the test's own, in place of variables of the same names.
Outcome run(const std::vector<std::string>& arguments, const std::filesystem::path& cwd,
            const std::vector<std::string>& environment = {});

/// As run, for any program that the PATH has: `command` is its name and its arguments.
Outcome run_command(const std::vector<std::string>& command, const std::filesystem::path& cwd,
                    const std::vector<std::string>& environment = {});

/// A temporary directory, removed with this object. Not a git work tree unless made one; the
/// repository root that the program finds in it is the directory itself.
class Repository {
  public:
    Repository();
    ~Repository();
    Repository(const Repository&) = delete;
    Repository& operator=(const Repository&) = delete;

    /// The directory, without a symbolic link in its path.
    const std::filesystem::path& root() const { return _root; }
    /// Writes a file, with the directories that lead to it. `path` is relative to the root.
    void write(std::string_view path, std::string_view bytes) const;
    /// The bytes of a file.
    std::string read(std::string_view path) const;

  private:
    std::filesystem::path _root;
};

}  // namespace codetext::test
