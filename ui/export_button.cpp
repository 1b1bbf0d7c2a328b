// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/export_button.h"

#include <algorithm>

#include "ui/icons.h"

namespace ui {

ExportButton::ExportButton(model::PackModel& model, QWidget* parent) : QPushButton(parent), model_(model) {
    setObjectName(QStringLiteral("exportButton"));
    connect(&model, &model::PackModel::packingChanged, this, &ExportButton::update);
    connect(&model, &model::PackModel::canPackChanged, this, &ExportButton::update);
    connect(&model, &model::PackModel::waitingChanged, this, &ExportButton::update);
    connect(this, &QPushButton::clicked, this, [this] {
        if (stops())
            model_.stop();
        else
            Q_EMIT exportAsked();
    });
    // The same width for both texts, so that the button stays where the hand is.
    int width = 0;
    for (const QString& text : {tr("Stop"), tr("Export…")}) {
        setText(text);
        width = std::max(width, sizeHint().width());
    }
    setMinimumWidth(width + 16);
    update();
}

/// Also an export that has yet to start.
bool ExportButton::stops() const {
    return model_.packing() || model_.waiting() != nullptr;
}

void ExportButton::update() {
    const bool stops = this->stops();
    setText(stops ? tr("Stop") : tr("Export…"));
    setToolTip(stops ? QString() : tr("Save the clips' timecode and scratch audio as one zip to send"));
    setDefault(!stops);
    setEnabled(stops || model_.canPack());
}

} // namespace ui
