// SPDX-License-Identifier: GPL-3.0-or-later
// Widgets without a screen.
#pragma once

#include <QtGlobal>

namespace test {

/// To be made before the application, which looks for a screen.
struct Offscreen {
    Offscreen() { qputenv("QT_QPA_PLATFORM", "offscreen"); }
};

} // namespace test
