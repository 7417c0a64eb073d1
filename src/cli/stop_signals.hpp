#pragma once

// Turns SIGINT and SIGTERM into something that can be waited for beside other events.

#include "utils/descriptor.hpp"

namespace codetext::cli {

/// While it lives, these signals do not end the process. One object at a time. Programs that are
/// started meanwhile get the signals as usual.
class StopSignals {
  public:
    /// Throws std::system_error when there is no pipe to be had.
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Is readable from the first signal on.
    int descriptor() const { return _read_end.number(); }

  private:
    Descriptor _read_end, _write_end;
};

}  // namespace codetext::cli
