// SPDX-License-Identifier: GPL-3.0-or-later
#include "tell.h"

#include <QAccessible>
#include <QLocale>
#include <QMetaEnum>
#include <QSet>
#include <cstdio>

#include "model/text.h"
#include "ui/format.h"

namespace {

void print(const QString& line) {
    std::printf("%s\n", qPrintable(line));
}

QString states(const QAccessibleInterface& part) {
    const QAccessible::State state = part.state();
    QStringList told;
    if (state.disabled)
        told << QStringLiteral("disabled");
    if (state.focused)
        told << QStringLiteral("focused");
    if (state.selected)
        told << QStringLiteral("selected");
    if (state.expanded)
        told << QStringLiteral("expanded");
    return told.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(told.join(QStringLiteral(", ")));
}

void tell(QAccessibleInterface& part, int depth) {
    if (part.state().invisible)
        return;
    const QString name = part.text(QAccessible::Name);
    const QString value = part.valueInterface() != nullptr ? part.valueInterface()->currentValue().toString()
                                                           : part.text(QAccessible::Value);
    const QString role =
        QString::fromLatin1(QMetaEnum::fromType<QAccessible::Role>().valueToKey(part.role()));
    print(QString(2 * depth, QLatin1Char(' ')) + role +
          (name.isEmpty() ? QString() : QStringLiteral(" “%1”").arg(name)) +
          (value.isEmpty() || value == name ? QString() : QStringLiteral(" = “%1”").arg(value)) +
          states(part));
    if (auto* const table = part.tableInterface()) { // a line for each row, not for each of its cells
        for (int row = 0; row < table->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < table->columnCount(); ++column)
                if (auto* const cell = table->cellAt(row, column); cell != nullptr)
                    cells << cell->text(QAccessible::Name) + states(*cell);
            cells.removeAll(QString());
            print(QString(2 * depth + 2, QLatin1Char(' ')) + cells.join(QStringLiteral(" | ")));
        }
        return;
    }
    for (int child = 0; child < part.childCount(); ++child)
        if (auto* const below = part.child(child); below != nullptr)
            tell(*below, depth + 1);
}

} // namespace

void tellAccessibility(QWidget& part) {
    tell(*QAccessible::queryAccessibleInterface(&part), 0);
}

void tellLocales() {
    QSet<QLocale::Language> told;
    for (const QLocale& locale :
         QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyTerritory)) {
        if (told.contains(locale.language()))
            continue;
        told << locale.language();
        QLocale::setDefault(QLocale(locale.language())); // in the region where most speak it
        print(QStringList{QLocale().name(),
                          QStringLiteral("Ferrowick %1.zip").arg(ui::Format::dateForName({2026, 11, 16})),
                          ui::Format::date(QDateTime(QDate(2026, 11, 16), QTime(8, 47))),
                          model::byteCount(1'130'000'000), ui::Format::rate(24'000.0 / 1001)}
                  .join(QStringLiteral(" | ")));
    }
}
