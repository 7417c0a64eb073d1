#pragma once

// What the system tells about changes in directories: Linux's inotify(7), and nothing elsewhere.

#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "utils/descriptor.hpp"

namespace codetext::indexer {

struct FileEvent {
    enum class Kind {
        CHANGED,    ///< the content of a file, or what the file system says of an entry
        APPEARED,   ///< it was made here, or moved here
        VANISHED,   ///< it was removed, or moved away
        UNWATCHED,  ///< the directory is watched no more
        OVERFLOW,   ///< events were lost
    };
    Kind kind;
    int watch;                  ///< the directory, as Inotify::watch numbered it
    std::string name = {};      ///< in the directory; empty for the directory itself
    bool is_directory = false;  ///< what `name` names
};

/// The system watches nothing, or no more; the message says why and which limit to raise.
class CannotWatch : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Inotify {
  public:
    enum class Interest {
        CONTENT,  ///< all that may change which files there are, or what they hold
        NAMES,    ///< which entries there are, and that a file was written; the directory's own end
        NEW,      ///< entries that appear
        OLD,      ///< entries that vanish
    };
    /// Lower limits than the system's, for tests.
    struct Limits {
        std::size_t watches = std::numeric_limits<int>::max();
        std::size_t events = std::numeric_limits<std::size_t>::max();  ///< of one call of read
    };

    /// Throws CannotWatch.
    explicit Inotify(Limits limits);

    /// Becomes readable when there are events.
    int descriptor() const { return _queue.number(); }
    /// Watches a directory that is open. Returns the watch's number: a new one, or for a directory
    /// that is watched already the one it has; -1 when this user may not read the directory. Throws
    /// CannotWatch.
    int watch(const Descriptor& directory, Interest interest);
    void unwatch(int watch) const;
    /// The events up to now, in order. Those of one thing that repeat may be one.
    std::vector<FileEvent> read();

  private:
    Limits _limits;
    Descriptor _queue;
};

}  // namespace codetext::indexer
