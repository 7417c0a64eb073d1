#pragma once

// Starting threads where fewer are enough.
//
//   std::vector<std::jthread> helpers;
//   while (helpers.size() < wanted && add_thread(helpers, work)) continue;

#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace codetext {

/// Adds a thread that does `work`. Returns false when the system has no thread to give; the caller
/// then goes on with the threads it has.
template <typename Work>
bool add_thread(std::vector<std::jthread>& threads, Work&& work) {
    try {
        threads.emplace_back(std::forward<Work>(work));
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace codetext
