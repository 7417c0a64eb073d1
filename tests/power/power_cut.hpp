#pragma once

// A file system below SQLite whose power goes at a chosen moment. What was synced until then stays.
// Of what was not, any 4 KB block may be as it was at any time since the last sync, and so may the
// size of a file and whether it is there.
//
//   power_cut::arm(17, seed);
//   EXPECT_THROW(work(), DatabaseError);   // nothing is written from the 17th operation on
//   power_cut::restart();                  // the files are as the disk has them

#include <cstdint>

namespace codetext::power_cut {

/// Puts the file system below every database that is opened from now on. REQUIRES: none was yet.
void install();

/// Forgets all files, and begins to count writes, syncs, truncations and removals. The power goes
/// at that number; 0: never.
void arm(long operation, std::uint32_t seed);

/// Operations since the last arm().
long operations();
/// Whether the power is gone.
bool is_dark();

/// Leaves the files as the power cut would, and lets them be written again. REQUIRES: no database
/// is open.
void restart();

}  // namespace codetext::power_cut
