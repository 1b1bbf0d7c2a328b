// SPDX-License-Identifier: GPL-3.0-or-later
// A desktop's services, for tests.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// Answers every call of a service on the session's bus with the same value, and remembers what it was asked.
class FakeService : public QDBusVirtualObject {
  public:
    FakeService(const char* name, QVariant answer) : name_(QLatin1String(name)), answer_(std::move(answer)) {
        bus_.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
        if (!bus_.registerService(name_))
            throw std::runtime_error("There is no session bus");
    }
    ~FakeService() override { QDBusConnection::disconnectFromBus(name_); }
    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        calls.emplace_back(message.member().toStdString(), message.arguments());
        return bus.send(message.createReply(answer_));
    }
    [[nodiscard]] std::vector<std::string> methods() const {
        std::vector<std::string> names;
        for (const auto& [method, arguments] : calls)
            names.push_back(method);
        return names;
    }

    /// Sends a signal as the service does.
    void tell(const QString& path, const char* interface, const char* signal, const QVariantList& arguments) {
        QDBusMessage message =
            QDBusMessage::createSignal(path, QLatin1String(interface), QLatin1String(signal));
        message.setArguments(arguments);
        bus_.send(message);
    }

    std::vector<std::pair<std::string, QVariantList>> calls;

  private:
    QString name_;
    QVariant answer_;
    // A connection of its own, so that calls go through the bus as those to another program do.
    QDBusConnection bus_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name_);
};

} // namespace test
