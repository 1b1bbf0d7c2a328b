// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/main_queue.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QObject>
#include <QTimer>
#include <utility>

namespace model {

void MainQueue::schedule(std::function<void()> job) {
    const std::lock_guard guard(lock_);
    if (receiver_ == nullptr)
        return;
    jobs_.push_back(std::move(job));
    if (jobs_.size() == 1)
        QCoreApplication::postEvent(receiver_, new QEvent(QEvent::User));
}

void MainQueue::close() {
    const std::lock_guard guard(lock_);
    receiver_ = nullptr;
    jobs_.clear();
}

void MainQueue::run() {
    // Half a frame: painting and input come in between.
    constexpr qint64 longestTurn = 4; // milliseconds
    QElapsedTimer turn;
    turn.start();
    const auto self = shared_from_this(); // a job may destroy the model
    std::unique_lock guard(lock_);
    while (!jobs_.empty()) {
        if (turn.elapsed() >= longestTurn) {
            // A timer and not another posted event: those would be run before any input is looked at.
            QTimer::singleShot(0, receiver_, [self] { self->run(); });
            return;
        }
        // The job stays in front while it runs, so that only one turn is ever under way.
        const std::function<void()> job = std::move(jobs_.front());
        guard.unlock();
        job();
        guard.lock();
        if (!jobs_.empty())
            jobs_.pop_front();
    }
}

} // namespace model
