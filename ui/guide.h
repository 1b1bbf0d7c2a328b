// SPDX-License-Identifier: GPL-3.0-or-later
// The guide (docs/guide.md), which is built into the program, in a window of its own.
#pragma once

#include <QDialog>

class QLineEdit;
class QTextBrowser;

namespace ui {

/// With a field that finds a message's words. Stays open beside the window that it belongs to.
class Guide : public QDialog {
    Q_OBJECT

  public:
    /// Opens the guide of a window, or brings it to the front.
    static void open(QWidget& window);

  private:
    explicit Guide(QWidget& window);
    void find(bool onward);

    QTextBrowser& text_;
    QLineEdit& words_;
};

} // namespace ui
