// SPDX-License-Identifier: GPL-3.0-or-later
// The wish to stop, shared by the main thread and an export's threads.
#pragma once

#include <mutex>

namespace model {

/// Set once, never cleared: every export has a new one.
class Flag {
  public:
    [[nodiscard]] bool isSet() const {
        const std::lock_guard guard(lock_);
        return value_;
    }
    void set() {
        const std::lock_guard guard(lock_);
        value_ = true;
    }

  private:
    mutable std::mutex lock_;
    bool value_ = false;
};

} // namespace model
