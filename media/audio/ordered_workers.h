// SPDX-License-Identifier: GPL-3.0-or-later
// Does jobs on several threads while their results stay in the order of the jobs: pieces of a stream to
// encode, clips to open.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/thread_name.h"

namespace media::audio {

/// Runs jobs on some threads and gives their results back in the order in which the jobs came, whichever ends
/// first. Belongs to one thread, which bounds the memory by taking before it submits more. That thread runs
/// jobs itself when it would have to wait for one that nobody has begun, so nothing depends on how many
/// threads the system grants.
template <typename Result>
class OrderedWorkers {
  public:
    /// `threads`: the most to be started, each when a job finds none idle. They get that name, a literal.
    explicit OrderedWorkers(unsigned threads, std::string_view name = "Ferrowick.encode")
        : most_(threads), name_(name) {
        threads_.reserve(threads);
    }
    /// Waits for the jobs that run; those that wait are dropped.
    ~OrderedWorkers() {
        for (std::jthread& thread : threads_)
            thread.request_stop();
    }
    OrderedWorkers(const OrderedWorkers&) = delete;
    OrderedWorkers& operator=(const OrderedWorkers&) = delete;

    /// Jobs that may be worked at side by side.
    [[nodiscard]] std::size_t threads() const noexcept { return std::max<std::size_t>(1, most_); }
    /// Jobs submitted whose results have not been taken.
    [[nodiscard]] std::size_t pending() const noexcept { return results_.size(); }

    void submit(std::function<Result()> job) {
        std::packaged_task<Result()> task(std::move(job));
        results_.push_back(task.get_future());
        bool allBusy = false;
        {
            const std::lock_guard guard(lock_);
            tasks_.push_back(std::move(task));
            allBusy = tasks_.size() > idle_;
        }
        if (allBusy && threads_.size() < most_)
            startThread();
        wake_.notify_one();
    }

    /// The result of the oldest job, waiting for it; throws what the job threw. Only while some are pending.
    [[nodiscard]] Result take() {
        std::packaged_task<Result()> own;
        {
            const std::lock_guard guard(lock_);
            if (tasks_.size() == results_.size()) // not even the oldest has been begun
                own = popTask();
        }
        if (own.valid())
            own();
        std::future<Result> result = std::move(results_.front());
        results_.pop_front();
        return result.get();
    }

  private:
    void startThread() noexcept {
        try {
            threads_.emplace_back([this](const std::stop_token& stop) { work(stop); });
        } catch (const std::exception&) { // those that are there must do
            most_ = threads_.size();
        }
    }

    void work(const std::stop_token& stop) {
        platform::nameThread(name_);
        std::unique_lock guard(lock_);
        while (true) {
            ++idle_;
            const bool found = wake_.wait(guard, stop, [this] { return !tasks_.empty(); });
            --idle_;
            if (!found || stop.stop_requested())
                return;
            std::packaged_task<Result()> task = popTask();
            guard.unlock();
            task();
            task = {}; // what it holds goes before the lock is taken
            guard.lock();
        }
    }

    /// The oldest job that has not been begun, with the lock held.
    std::packaged_task<Result()> popTask() {
        auto task = std::move(tasks_.front());
        tasks_.pop_front();
        return task;
    }

    std::size_t most_; // the submitting thread's own
    std::string_view name_;
    std::mutex lock_;
    std::condition_variable_any wake_;
    std::deque<std::packaged_task<Result()>> tasks_; // guarded by lock_
    std::size_t idle_ = 0;                           // guarded by lock_
    std::deque<std::future<Result>> results_;        // the submitting thread's own
    std::vector<std::jthread> threads_;              // last: joined before what they use goes
};

} // namespace media::audio
