// SPDX-License-Identifier: GPL-3.0-or-later
// The window as a module: the application, its settings, its one model and its one window.
#include <QApplication>
#include <QSettings>
#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "model/pack_model.h"
#include "platform/clean_up.h"
#include "platform/module.h"
#include "ui/icons.h"
#include "ui/main_window.h"
#include "ui/module/window_entry.h"

FERROWICK_MODULE_ENTRY int ferrowickWindow(int argc, char** argv, Refuse* refuse);

namespace {

/// Where the window was to open, in the user's own words.
std::string place() {
    constexpr std::array variables{"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "DISPLAY"};
    for (const char* name : variables)
        if (const char* value = std::getenv(name); value != nullptr && *value != '\0')
            return std::string(name) + "=" + value;
    return "this display";
}

/// The toolkit aborts when it finds no screen, after lines about its own parts. As long as this lives, that
/// ends the program in order, with a sentence of ours instead.
class Opening {
  public:
    explicit Opening(Refuse* refuse) {
        refuseWith = refuse;
        qInstallMessageHandler(told);
    }
    ~Opening() {
        qInstallMessageHandler(nullptr);
        for (const std::string& line : std::exchange(said, {}))
            (void)std::fprintf(stderr, "%s\n", line.c_str());
    }
    /// What the toolkit has said so far is of no interest.
    static void forget() { said.clear(); }
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;

  private:
    static void told(QtMsgType type, const QMessageLogContext& context, const QString& message) {
        if (type == QtFatalMsg)
            platform::endNow(refuseWith(("Ferrowick's window can't be opened on " + place() + ".").c_str()));
        said.push_back(qFormatLogMessage(type, context, message).toStdString());
    }
    static inline Refuse* refuseWith = nullptr;
    static inline std::vector<std::string> said;
};

} // namespace

int ferrowickWindow(int argc, char** argv, Refuse* refuse) {
    // This module's own copy of the platform's rooms knows of the exports' working folders.
    const platform::EndingSignals signals;
    auto opening = std::make_unique<Opening>(refuse);
    QApplication application(argc, argv); // takes its own options out
    const std::vector<std::string> words(argv, argv + argc);
    std::error_code noFolder;
    const ui::LaunchArguments arguments = ui::launchArguments(words, std::filesystem::current_path(noFolder));
    if (arguments.unknown) {
        Opening::forget();
        return refuse(("Ferrowick knows no option “" + *arguments.unknown + "”.").c_str());
    }
    opening.reset();
    // The toolkit takes the user's locale over for everything; the reports' numbers keep their full stops.
    (void)std::setlocale(LC_NUMERIC, "C");
    QApplication::setApplicationName(QStringLiteral("Ferrowick"));
    QApplication::setApplicationDisplayName(QStringLiteral("Ferrowick"));
    QApplication::setApplicationVersion(QStringLiteral(FERROWICK_VERSION));
    QApplication::setOrganizationName(QStringLiteral("Ferrowick"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.ferrowick.Ferrowick"));
    QApplication::setWindowIcon(ui::Icons::application());

    QSettings settings;
    const auto model = std::make_unique<model::PackModel>(settings);
    int exitCode = 0;
    {
        ui::MainWindow window(*model, settings, arguments);
        window.show();
        exitCode = QApplication::exec();
    }
    // A thread that hangs in a read of a disk that does not answer can't be waited for.
    constexpr std::chrono::milliseconds patience(1000);
    if (!model->endWithin(patience))
        platform::endNow(exitCode);
    return exitCode;
}
