// SPDX-License-Identifier: GPL-3.0-or-later
// Encodes pieces of one stream on several threads while the packets stay in the stream's order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/thread_name.h"

namespace media::audio {

/// Runs jobs on a fixed number of threads and gives their results back in the order in which the jobs came,
/// whichever ends first. Belongs to one thread, which bounds the memory by taking before it submits more.
template <typename Result>
class OrderedWorkers {
  public:
    explicit OrderedWorkers(unsigned threads) {
        threads_.reserve(threads);
        for (unsigned i = 0; i < threads; ++i)
            threads_.emplace_back([this](const std::stop_token& stop) { work(stop); });
    }
    /// Waits for the jobs that run; those that wait are dropped.
    ~OrderedWorkers() {
        for (std::jthread& thread : threads_)
            thread.request_stop();
    }
    OrderedWorkers(const OrderedWorkers&) = delete;
    OrderedWorkers& operator=(const OrderedWorkers&) = delete;

    [[nodiscard]] std::size_t threads() const noexcept { return threads_.size(); }
    /// Jobs submitted whose results have not been taken.
    [[nodiscard]] std::size_t pending() const noexcept { return results_.size(); }

    void submit(std::function<Result()> job) {
        std::packaged_task<Result()> task(std::move(job));
        results_.push_back(task.get_future());
        {
            const std::lock_guard guard(lock_);
            tasks_.push_back(std::move(task));
        }
        wake_.notify_one();
    }

    /// The result of the oldest job, waiting for it; throws what the job threw. Only while some are pending.
    [[nodiscard]] Result take() {
        std::future<Result> result = std::move(results_.front());
        results_.pop_front();
        return result.get();
    }

  private:
    void work(const std::stop_token& stop) {
        platform::nameThread("Ferrowick.encode");
        while (true) {
            std::packaged_task<Result()> task;
            {
                std::unique_lock guard(lock_);
                if (!wake_.wait(guard, stop, [this] { return !tasks_.empty(); }) || stop.stop_requested())
                    return;
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }

    std::mutex lock_;
    std::condition_variable_any wake_;
    std::deque<std::packaged_task<Result()>> tasks_; // guarded by lock_
    std::deque<std::future<Result>> results_;        // the submitting thread's own
    std::vector<std::jthread> threads_;              // last: joined before what they use goes
};

} // namespace media::audio
