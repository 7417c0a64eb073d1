#pragma once

// How a search asks a watcher to take in everything that has changed so far. It makes a file, the
// request, in a directory that the watcher watches by the same queue as the tree. So the watcher
// sees the request after all that happened before. It marks the request as seen, brings the index
// up to date and removes the request. Both sides know a request by its open directory and its name,
// and follow no link.
//
//   if (!ask_watcher(root, schema::Owners::TRUSTED)) index_repository(root);

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "storage/index_directory.hpp"
#include "utils/descriptor.hpp"

namespace codetext::indexer {

/// The search's side. Returns whether a watcher has brought the index up to date since the call;
/// false at once where none lives, soon where it does not answer or says that it cannot, and after
/// a minute in any case. Leaves no request behind. Throws what schema::open_index_directory throws.
bool ask_watcher(const std::filesystem::path& root, schema::Owners owners);

/// The watcher's side: the requests that it has seen and not answered.
class Requests {
  public:
    /// Makes the directory. Throws what schema::make_request_directory throws.
    Requests(const std::filesystem::path& root, schema::Owners owners)
        : _directory(schema::make_request_directory(root, owners)) {}

    const Descriptor& directory() const { return _directory; }
    bool empty() const { return _names.empty(); }
    /// A file of this name has appeared. What is no name of a request is passed over.
    void add(std::string_view name);
    /// Adds what is in the directory: some thousands at most, for it may be full of anything.
    void add_all();
    /// Says that work on the requests begins.
    void acknowledge() const;
    /// Answers them: removes them when the index is up to date, else marks them as refused.
    void answer(bool is_up_to_date);

  private:
    Descriptor _directory;
    std::vector<std::string> _names;
};

}  // namespace codetext::indexer
