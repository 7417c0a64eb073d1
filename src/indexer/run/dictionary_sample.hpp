#pragma once

// The texts that the compression dictionary of a new index is trained on: chunks of files that are
// spread evenly over the files to be read.

#include <span>
#include <string>
#include <vector>

#include "indexer/plan/change_plan.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

/// Texts of chunks of `files`, which lie below the directory `root`, at most
/// chunk_store::DICTIONARY_SAMPLE_BYTES in all. Empty when the files together are too small for a
/// dictionary. Files that cannot be read, binary files and files that stay on disk are left out.
/// Throws std::system_error when the machine fails (is_machine_failure).
std::vector<std::string> sample_chunks(const Descriptor& root, std::span<const PlannedFile> files);

}  // namespace codetext::indexer
