#pragma once

// The texts that the compression dictionary of a new index is trained on: chunks of files that are
// spread evenly over the files to be read.

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "indexer/plan/change_plan.hpp"

namespace codetext::indexer {

/// Texts of chunks of `files`, at most chunk_store::DICTIONARY_SAMPLE_BYTES in all. Empty when the
/// files together are too small for a dictionary. Files that cannot be read, binary files and files
/// that stay on disk are left out.
std::vector<std::string> sample_chunks(const std::filesystem::path& root,
                                       std::span<const PlannedFile> files);

}  // namespace codetext::indexer
