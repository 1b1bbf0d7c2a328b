// SPDX-License-Identifier: GPL-3.0-or-later
// What a desktop does for a long job: it stays awake, shows progress on the launcher's entry, and says when
// the job has ended behind other windows.
#pragma once

#include <QDBusUnixFileDescriptor>
#include <QObject>

#include "model/pack_model.h"

namespace ui {

/// Follows the exports of a model. What the desktop doesn't offer is left out in silence.
class LongJob : public QObject {
    Q_OBJECT

  public:
    LongJob(model::PackModel& model, QObject* parent);
    ~LongJob() override;

  private:
    void update();
    void start();
    void end();
    void showProgress();
    void tellLauncher(double fraction, bool visible);
    void notify(const QString& text);

    void stayAwake();
    /// Asks the next service after the first `refused` have refused.
    void stayAwakeOnSession(int refused);
    /// Gives back what a session service has granted.
    static void release(int service, quint32 cookie);
    void mayBeSleepy();

    model::PackModel& model_;
    bool busy_ = false;
    int shownPercent_ = -1;
    quint32 exportNumber_ = 0;          ///< an answer of a service may come after the export's end
    QDBusUnixFileDescriptor sleepLock_; ///< held open as long as the machine has to stay awake
    int sessionService_ = -1;           ///< the one that keeps the session awake
    quint32 sessionCookie_ = 0;
};

} // namespace ui
