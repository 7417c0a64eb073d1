#pragma once

#include <stdexcept>

namespace codetext::schema {

/// What is at the index's place cannot serve as an index: it is not a database, or not ours, or of
/// a version that this program does not read, or not safe to open. The message says which, and what
/// to do.
class UnusableIndex : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace codetext::schema
