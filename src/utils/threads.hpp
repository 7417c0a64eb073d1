#pragma once

// Starting threads where fewer are enough.
//
//   std::vector<std::jthread> helpers;
//   while (helpers.size() < wanted && add_thread(helpers, work)) continue;

#include <exception>
#include <mutex>
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

/// Calls `work` with each number below `parts`, on a thread each where the system has threads to
/// give, and waits for all. Throws what the first call that failed threw.
template <typename Work>
void in_parallel(unsigned parts, const Work& work) {
    std::mutex mutex;
    std::exception_ptr failure;
    const auto guarded = [&](unsigned part) {
        try {
            work(part);
        } catch (...) {
            const std::lock_guard lock(mutex);
            if (!failure) failure = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> helpers;
        for (unsigned part = 1; part < parts; ++part) {
            if (!add_thread(helpers, [&guarded, part] { guarded(part); })) guarded(part);
        }
        guarded(0);
    }
    if (failure) std::rethrow_exception(failure);
}

}  // namespace codetext
