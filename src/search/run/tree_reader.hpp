#pragma once

// How a search reads files from disk: only what lies below the repository's root, whatever links
// lead elsewhere; and with a count of what it could not read, so that the answer can say so.
// Private to search.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "storage/code_text/file_text.hpp"
#include "utils/descriptor.hpp"
#include "utils/file_stamp.hpp"

namespace codetext::search {

/// Files that are there and could not be read. What has gone since it was indexed, or is no regular
/// file of text any more, merely has no match.
struct UnreadFiles {
    std::int64_t count = 0;
    std::string first;  ///< "PATH: REASON" of one of them
};

class TreeReader {
  public:
    /// What becomes of a file that is binary (utils/binary.hpp).
    enum class Binary { HAS_NO_TEXT, IS_TEXT };

    /// `root` is the directory that a text source puts in front of each path.
    explicit TreeReader(const std::filesystem::path& root, Binary binary = Binary::HAS_NO_TEXT);

    /// Several threads may call it at once. It fails with std::system_error where a text source is
    /// to go on, and with another std::runtime_error when the machine fails (is_machine_failure):
    /// the answer would lack files for no reason of theirs.
    code_text::FileReader reader() const;

    UnreadFiles unread() const;

    /// Looks at files without reading them. One for each thread.
    class Stamps;
    Stamps stamps() const;

  private:
    class State;
    std::shared_ptr<State> _state;
};

class TreeReader::Stamps {
  public:
    /// The file's stamp as it is now. None when it has gone or is no regular file. Throws
    /// std::system_error when nothing tells, std::runtime_error when the machine fails.
    std::optional<FileStamp> of(std::string_view path);
    /// When the file was made, in nanoseconds since the epoch; none where nothing tells.
    std::optional<std::int64_t> created_ns(std::string_view path);

  private:
    friend class TreeReader;
    explicit Stamps(std::shared_ptr<State> state) : _state(std::move(state)) {}
    bool _open_directory(std::string_view path);
    std::shared_ptr<State> _state;
    // Files come in the order of their paths: most lie where the one before them lay.
    std::string _path;  ///< of `_directory`, with its "/"; empty for the root itself
    Descriptor _directory;
};

}  // namespace codetext::search
