#pragma once

// Who holds a lock of the index's directory: its holder writes that into the file that is locked,
// for others to tell their users. Nothing else depends on it: the file may be anybody's, may be
// left over, and is empty on a full disk.
//
//   write_holder(file, Work::INDEX, 0);
//   if (const auto holder = read_holder(file, 0)) show(command_of(holder->work));

#include <cstdint>
#include <optional>
#include <string_view>

#include "utils/descriptor.hpp"

namespace codetext::indexer {

/// What a process does with the index.
enum class Work { INDEX, UPGRADE, REPAIR, CLEAN, WATCH, FRESH };

/// The command that does it, as a user types it.
std::string_view command_of(Work work);

struct LockHolder {
    std::int64_t process = 0;  ///< its id
    Work work = Work::INDEX;
    std::int64_t since_s = 0;  ///< when it got the lock, in seconds since the epoch

    bool operator==(const LockHolder&) const = default;
};

/// Writes into `file`, from the byte `offset` on, that this process holds its lock from now on.
/// REQUIRES: it does. Writes nothing into what is not a regular file of one name, and what cannot
/// be written is left out.
void write_holder(const Descriptor& file, Work work, std::int64_t offset);

/// What the holder has written there; nothing where it is not in the form of write_holder, or names
/// a process that does not live.
std::optional<LockHolder> read_holder(const Descriptor& file, std::int64_t offset);

}  // namespace codetext::indexer
