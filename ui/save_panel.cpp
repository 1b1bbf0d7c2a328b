// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/save_panel.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QDate>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <vector>

#include "model/text.h"
#include "ui/format.h"
#include "ui/paths.h"

namespace {

/// Makes room for a row above all others of a grid.
void shiftDown(QGridLayout& grid) {
    struct Cell {
        QLayoutItem* item;
        int row, column, rowSpan, columnSpan;
    };
    std::vector<Cell> cells;
    while (grid.count() > 0) {
        Cell cell{};
        grid.getItemPosition(0, &cell.row, &cell.column, &cell.rowSpan, &cell.columnSpan);
        cell.item = grid.takeAt(0);
        cells.push_back(cell);
    }
    for (const Cell& cell : cells)
        grid.addItem(cell.item, cell.row + 1, cell.column, cell.rowSpan, cell.columnSpan,
                     cell.item->alignment());
}

} // namespace

SavePanel::SavePanel(PackModel& model, QWidget* parent)
    : FileDialog(tr("Export"), parent), model_(model), message_(*new QLabel(this)),
      audio_(*new QComboBox(this)) {
    setObjectName(QStringLiteral("savePanel"));
    setAcceptMode(AcceptSave);
    setFileMode(AnyFile);
    setNameFilter(tr("Zip archives (*.zip)"));
    selectFile(QStringLiteral("Ferrowick %1.zip").arg(Format::dateForName(QDate::currentDate())));

    message_.setObjectName(QStringLiteral("spaceMessage"));
    message_.setWordWrap(true);
    audio_.setObjectName(QStringLiteral("scratchAudio"));
    for (const ScratchAudio mode : allScratchAudio)
        audio_.addItem(tr(title(mode).data()), static_cast<int>(mode));
    audio_.setCurrentIndex(audio_.findData(static_cast<int>(model.audio())));
    audio_.setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    auto* const label = new QLabel(tr("Scratch Audio:"), this);
    label->setBuddy(&audio_);
    connect(&audio_, &QComboBox::currentIndexChanged, this,
            [this] { model_.setAudio(static_cast<ScratchAudio>(audio_.currentData().toInt())); });
    connect(&model, &PackModel::audioChanged, this, &SavePanel::update);

    if (auto* const grid = qobject_cast<QGridLayout*>(layout())) {
        shiftDown(*grid);
        grid->addWidget(&message_, 0, 0, 1, grid->columnCount());
        const int last = grid->rowCount();
        auto* const accessory = new QHBoxLayout;
        accessory->addWidget(&audio_);
        accessory->addStretch(1);
        grid->addWidget(label, last, 0);
        grid->addLayout(accessory, last, 1);
    }
    update();
    connect(this, &QDialog::accepted, this, [this] {
        const auto files = paths(selectedUrls());
        if (!files.empty())
            Q_EMIT chosen(files.front());
    });
}

void SavePanel::update() {
    message_.setText(model_.spaceMessage(model_.audio()));
    audio_.setCurrentIndex(audio_.findData(static_cast<int>(model_.audio())));
}

/// Whether the dialog takes this for a way to go, not for a name to save under.
bool SavePanel::leadsToFolder(const QString& name) const {
    return name.endsWith(QLatin1Char('/')) || name == QLatin1String("..") || name == QLatin1String("~") ||
           QFileInfo(directory(), name).isDir();
}

void SavePanel::accept() {
    const QString zip = QStringLiteral(".zip");
    if (auto* const name = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))) {
        const QString typed = name->text().trimmed();
        // The dialog's completion selects every folder on the way of a path that is typed, and would go
        // there.
        if (name->isModified())
            findChild<QAbstractItemView*>(QStringLiteral("listView"))->clearSelection();
        if (!typed.isEmpty() && !typed.endsWith(zip, Qt::CaseInsensitive) && !leadsToFolder(typed))
            name->setText(typed + zip); // before the dialog asks about replacing a file
    }
    QFileDialog::accept();
}
