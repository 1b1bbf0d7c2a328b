// SPDX-License-Identifier: GPL-3.0-or-later
// Calls of the desktop's services over D-Bus.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <functional>

class QObject;

namespace ui {

/// Returns at once. `answered` gets the reply or the error later, also where there is no such bus at all;
/// nothing when `context` has gone by then.
void callDesktop(const QDBusConnection& bus, const QDBusMessage& call, QObject* context,
                 std::function<void(const QDBusMessage&)> answered);

} // namespace ui
