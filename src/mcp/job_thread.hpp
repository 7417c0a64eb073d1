#pragma once

// A thread that does one job after the other.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "utils/threads.hpp"

namespace codetext::mcp {

class JobThread {
  public:
    using Job = std::function<void()>;  ///< must not throw

    /// Calls `rest` when there was no job for `idle_time`.
    explicit JobThread(Job rest = nullptr, std::chrono::seconds idle_time = {})
        : _rest(std::move(rest)), _idle_time(idle_time) {
        _has_thread = add_thread(_threads, [this] { _work(); });
    }
    ~JobThread() { finish(); }
    JobThread(const JobThread&) = delete;
    JobThread& operator=(const JobThread&) = delete;

    /// Does the job after those before it: at once, where the system has no thread to give.
    void add(Job job) {
        if (!_has_thread) return job();
        const std::lock_guard lock(_mutex);
        _jobs.push_back(std::move(job));
        _wake.notify_one();
    }
    /// Jobs that wait.
    std::size_t waiting() const {
        const std::lock_guard lock(_mutex);
        return _jobs.size();
    }
    /// Waits until all jobs are done. No other may follow.
    void finish() {
        {
            const std::lock_guard lock(_mutex);
            _is_ending = true;
            _wake.notify_one();
        }
        _threads.clear();
    }

  private:
    void _work() {
        std::unique_lock lock(_mutex);
        bool is_resting = !_rest;
        while (true) {
            const auto has_work = [this] { return _is_ending || !_jobs.empty(); };
            if (is_resting) {
                _wake.wait(lock, has_work);
            } else if (!_wake.wait_for(lock, _idle_time, has_work)) {
                _rest();
                is_resting = true;
                continue;
            }
            if (_jobs.empty()) return;
            const Job job = std::move(_jobs.front());
            _jobs.pop_front();
            lock.unlock();
            job();
            lock.lock();
            is_resting = !_rest;
        }
    }

    Job _rest;
    std::chrono::seconds _idle_time;
    mutable std::mutex _mutex;
    std::condition_variable _wake;
    std::deque<Job> _jobs;
    bool _is_ending = false, _has_thread = false;
    std::vector<std::jthread> _threads;  ///< one, or none; the last member: it uses the others
};

}  // namespace codetext::mcp
