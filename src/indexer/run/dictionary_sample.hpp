#pragma once

// The texts that a new index's compression dictionary is trained on: chunks from files spread
// evenly over those that are to be read.
//
//   Transaction transaction(db, Transaction::Kind::WRITE);
//   auto dictionary = chunk_store::train_dictionary(db, sample_chunks(root, plan.to_read));

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "indexer/plan/change_plan.hpp"

namespace codetext::indexer {

/// Texts of chunks of `files`, of chunk_store::DICTIONARY_SAMPLE_BYTES in all at most; none when
/// the files together are too small for a dictionary. Files that cannot be read, binary ones and
/// those that stay on disk give nothing.
std::vector<std::string> sample_chunks(const std::filesystem::path& root,
                                       std::span<const PlannedFile> files);

}  // namespace codetext::indexer
