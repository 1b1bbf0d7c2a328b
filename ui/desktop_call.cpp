// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/desktop_call.h"

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <utility>

namespace ui {

void callDesktop(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
                 std::function<void(const QDBusMessage&)> answered) {
    // A call on a bus that is not there would never be answered.
    const QDBusPendingCall pending =
        bus.isConnected() ? bus.asyncCall(call)
                          : QDBusPendingCall::fromError(QDBusError(QDBusError::Disconnected, QString()));
    auto* const watcher = new QDBusPendingCallWatcher(pending, context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, answered = std::move(answered)] {
                         watcher->deleteLater();
                         answered(watcher->reply());
                     });
}

} // namespace ui
