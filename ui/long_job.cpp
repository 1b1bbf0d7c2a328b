// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/long_job.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QVariantMap>
#include <array>
#include <utility>

#include "model/text.h"
#include "ui/desktop_call.h"

namespace ui {

namespace {

/// Services of desktops that keep a session awake: ways to ask for the same, in the order in which they are
/// tried.
struct SessionService {
    const char* name;
    const char* path;
    const char* interface;
    const char* release;
    bool isGnome; ///< takes a window and a set of flags as well
};
constexpr std::array sessionServices{
    SessionService{"org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
                   "org.freedesktop.PowerManagement.Inhibit", "UnInhibit", false},
    SessionService{"org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager",
                   "Uninhibit", true},
};

QDBusMessage methodCall(const SessionService& service, const char* method) {
    return QDBusMessage::createMethodCall(QLatin1String(service.name), QLatin1String(service.path),
                                          QLatin1String(service.interface), QLatin1String(method));
}

} // namespace

LongJob::LongJob(model::PackModel& model, QObject* parent) : QObject(parent), model_(model) {
    connect(&model, &model::PackModel::packingChanged, this, &LongJob::update);
    connect(&model, &model::PackModel::waitingChanged, this, &LongJob::update);
    connect(&model, &model::PackModel::exportingChanged, this, &LongJob::showProgress);
}

LongJob::~LongJob() {
    if (busy_) {
        mayBeSleepy();
        tellLauncher(0, false);
    }
}

/// An export that waits for headers is a long job already.
void LongJob::update() {
    const bool busy = model_.packing() || model_.waiting() != nullptr;
    if (std::exchange(busy_, busy) != busy)
        busy ? start() : end();
}

void LongJob::start() {
    ++exportNumber_;
    shownPercent_ = -1;
    stayAwake();
}

void LongJob::end() {
    ++exportNumber_;
    mayBeSleepy();
    tellLauncher(0, false);
    if (QApplication::activeWindow() != nullptr)
        return;
    if (model_.saved())
        notify((QStringList{
                    tr("Saved “%1”, %2.")
                        .arg(model::fileName(model_.saved()->url), model::byteCount(model_.saved()->size))} +
                model_.remarks())
                   .join(QLatin1Char(' ')));
    else if (model_.failure())
        notify(*model_.failure());
}

void LongJob::showProgress() {
    const auto& exporting = model_.exporting();
    if (!exporting || !model_.packing())
        return;
    const double fraction = exporting->total > 0 ? exporting->done() / exporting->total : 0;
    if (std::exchange(shownPercent_, static_cast<int>(fraction * 100)) != shownPercent_)
        tellLauncher(fraction, true);
}

/// The launcher's entry of this program, as the docks of several desktops follow it.
void LongJob::tellLauncher(double fraction, bool visible) {
    QDBusMessage update = QDBusMessage::createSignal(QStringLiteral("/org/ferrowick/Ferrowick"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    update << QStringLiteral("application://%1.desktop").arg(QGuiApplication::desktopFileName())
           << QVariantMap{{QStringLiteral("progress"), fraction},
                          {QStringLiteral("progress-visible"), visible}};
    QDBusConnection::sessionBus().send(update);
}

void LongJob::notify(const QString& text) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    constexpr int serversChoice = -1; // of how long it stays
    call << QGuiApplication::applicationDisplayName() << 0U << QGuiApplication::desktopFileName()
         << QGuiApplication::applicationDisplayName() << text.toHtmlEscaped() << QStringList()
         << QVariantMap{{QStringLiteral("desktop-entry"), QGuiApplication::desktopFileName()}}
         << serversChoice;
    QDBusConnection::sessionBus().asyncCall(call);
}

void LongJob::stayAwake() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:idle") << QGuiApplication::applicationDisplayName()
         << tr("An export is running.") << QStringLiteral("block");
    callDesktop(QDBusConnection::systemBus(), call, this,
                [this, number = exportNumber_](const QDBusMessage& answer) {
                    if (number != exportNumber_)
                        return; // too late; an answered lock goes with the reply
                    const QDBusReply<QDBusUnixFileDescriptor> lock = answer;
                    if (lock.isValid())
                        sleepLock_ = lock.value();
                    else
                        stayAwakeOnSession(0);
                });
}

void LongJob::stayAwakeOnSession(int refused) {
    if (refused >= static_cast<int>(sessionServices.size()))
        return;
    const SessionService& service = sessionServices[static_cast<std::size_t>(refused)];
    QDBusMessage call = methodCall(service, "Inhibit");
    call << QGuiApplication::applicationDisplayName();
    if (service.isGnome)
        call << 0U;
    call << tr("An export is running.");
    constexpr quint32 suspending = 4;
    if (service.isGnome)
        call << suspending;
    callDesktop(QDBusConnection::sessionBus(), call, this,
                [this, refused, number = exportNumber_](const QDBusMessage& answer) {
                    const QDBusReply<quint32> cookie = answer;
                    if (number != exportNumber_) {
                        if (cookie.isValid())
                            release(refused, cookie.value()); // too late
                    } else if (cookie.isValid()) {
                        sessionService_ = refused;
                        sessionCookie_ = cookie.value();
                    } else {
                        stayAwakeOnSession(refused + 1);
                    }
                });
}

void LongJob::release(int service, quint32 cookie) {
    const SessionService& granted = sessionServices[static_cast<std::size_t>(service)];
    QDBusMessage call = methodCall(granted, granted.release);
    call << cookie;
    QDBusConnection::sessionBus().asyncCall(call);
}

void LongJob::mayBeSleepy() {
    sleepLock_ = QDBusUnixFileDescriptor();
    if (sessionService_ >= 0)
        release(std::exchange(sessionService_, -1), sessionCookie_);
}

} // namespace ui
