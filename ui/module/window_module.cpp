// SPDX-License-Identifier: GPL-3.0-or-later
// The window as a module: the application, its settings, its one model and its one window.
#include <QApplication>
#include <QSettings>
#include <clocale>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "model/pack_model.h"
#include "platform/clean_up.h"
#include "platform/module.h"
#include "ui/icons.h"
#include "ui/main_window.h"

FERROWICK_MODULE_ENTRY int ferrowickWindow(int argc, char** argv);

int ferrowickWindow(int argc, char** argv) {
    // This module's own copy of the platform's rooms knows of the exports' working folders.
    const platform::EndingSignals signals;
    const std::vector<std::string> words(argv, argv + argc);
    std::error_code unknown;
    const LaunchArguments arguments = launchArguments(words, std::filesystem::current_path(unknown));

    QApplication application(argc, argv);
    // The toolkit takes the user's locale over for everything; the reports' numbers keep their full stops.
    (void)std::setlocale(LC_NUMERIC, "C");
    QApplication::setApplicationName(QStringLiteral("Ferrowick"));
    QApplication::setApplicationDisplayName(QStringLiteral("Ferrowick"));
    QApplication::setApplicationVersion(QStringLiteral(FERROWICK_VERSION));
    QApplication::setOrganizationName(QStringLiteral("Ferrowick"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.ferrowick.Ferrowick"));
    QApplication::setWindowIcon(Icons::application());

    QSettings settings;
    const auto model = std::make_unique<PackModel>(settings);
    int exitCode = 0;
    {
        MainWindow window(*model, settings, arguments);
        window.show();
        exitCode = QApplication::exec();
    }
    // A thread that hangs in a read of a disk that does not answer can't be waited for.
    constexpr std::chrono::milliseconds patience(1000);
    if (!model->endWithin(patience))
        platform::endNow(exitCode);
    return exitCode;
}
