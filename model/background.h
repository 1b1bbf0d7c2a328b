// SPDX-License-Identifier: GPL-3.0-or-later
// What runs beside the main thread, and the way back from there.
#pragma once

#include <memory>
#include <utility>

#include "model/flag.h"
#include "model/main_queue.h"
#include "model/workers.h"

namespace model {

/// The threads of a PackModel. What they use stands before this in its owner: they are joined with it.
struct Background {
    explicit Background(QObject* receiver) : queue(std::make_shared<MainQueue>(receiver)) {}

    /// Frees what holds thousands of paths on another thread: it would take longer than a frame.
    template <typename Value>
    void forget(Value value) {
        workers.start("forgetting", [value = std::make_shared<Value>(std::move(value))] {});
    }

    const std::shared_ptr<Flag> ending = std::make_shared<Flag>(); ///< nothing new is begun any more
    const std::shared_ptr<MainQueue> queue;
    Workers workers; ///< last: its threads use the above
};

} // namespace model
