// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/workers.h"

#include <algorithm>
#include <utility>

#include "platform/thread_name.h"

namespace model {

Workers::~Workers() {
    for (Worker& worker : workers_)
        worker.thread.join();
}

void Workers::start(const char* name, std::function<void()> work) {
    std::list<Worker> over;
    {
        const std::lock_guard guard(lock_);
        for (auto worker = workers_.begin(); worker != workers_.end();) {
            const auto next = std::next(worker);
            if (worker->done)
                over.splice(over.end(), workers_, worker);
            worker = next;
        }
        Worker& worker = workers_.emplace_back();
        try {
            worker.thread = std::thread([this, &worker, name, job = work]() mutable {
                platform::nameThread(name);
                job();
                job = nullptr; // what it holds goes before it counts as done
                const std::lock_guard finishing(lock_);
                worker.done = true;
                ended_.notify_all();
            });
            work = nullptr;
        } catch (const std::exception&) {
            workers_.pop_back();
        }
    }
    for (Worker& worker : over)
        worker.thread.join();
    if (work)
        work();
}

bool Workers::endWithin(std::chrono::milliseconds patience) {
    std::unique_lock guard(lock_);
    return ended_.wait_for(guard, patience, [this] { return std::ranges::all_of(workers_, &Worker::done); });
}

} // namespace model
