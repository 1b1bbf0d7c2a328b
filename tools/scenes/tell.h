// SPDX-License-Identifier: GPL-3.0-or-later
// What the window says in words, printed for those who look it through: to a screen reader, and in other
// locales.
#pragma once

#include <QWidget>

/// Prints a visible part and all below it as accessibility clients get them, a line each: role, name, value,
/// states.
void tellAccessibility(QWidget& part);

/// Prints a table of locales, one for each language in whose region Qt knows the dates: the name that a pack
/// is offered, a clip's date, a size and a rate.
void tellLocales();
