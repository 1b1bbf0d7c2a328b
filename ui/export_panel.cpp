// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/export_panel.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <utility>

#include "model/text.h"
#include "ui/file_chooser.h"
#include "ui/format.h"
#include "ui/icons.h"
#include "ui/paths.h"

namespace ui {

namespace {

constexpr QLatin1String folderKey("exportFolder");
constexpr QLatin1String zipSuffix(".zip");

/// No line ends between a size and its unit.
QString unbroken(QString text) {
    for (const char* unit : {"KB", "MB", "GB", "TB"})
        text.replace(QLatin1Char(' ') + QLatin1String(unit), QChar(QChar::Nbsp) + QLatin1String(unit));
    return text;
}

/// What a person typed as a path, "~" included.
std::filesystem::path typedPath(QString typed) {
    if (typed == QLatin1String("~") || typed.startsWith(QLatin1String("~/")))
        typed.replace(0, 1, QDir::homePath());
    return localPath(typed);
}

} // namespace

ExportPanel::ExportPanel(model::PackModel& model, QSettings& settings, QWidget* parent)
    : QDialog(parent), model_(model), settings_(settings), message_(*new QLabel(this)),
      name_(*new QLineEdit(this)), place_(*new QLineEdit(this)), audio_(*new QComboBox(this)),
      space_(*new QLabel(this)), problem_(*new QLabel(this)) {
    setObjectName(QStringLiteral("exportPanel"));
    setWindowTitle(tr("Export"));
    setAttribute(Qt::WA_DeleteOnClose);
    addFields();

    constexpr std::chrono::milliseconds typed(300);
    asking_.setSingleShot(true);
    asking_.setInterval(typed);
    connect(&asking_, &QTimer::timeout, this, &ExportPanel::askForSpace);
    connect(&place_, &QLineEdit::textChanged, &asking_, qOverload<>(&QTimer::start));
    constexpr std::chrono::milliseconds prompt(1000);
    answering_.setSingleShot(true);
    answering_.setInterval(prompt);
    connect(&answering_, &QTimer::timeout, this,
            [this] { refuse(tr("The disk there hasn't answered yet.")); });
    for (const QLineEdit* field : {&name_, &place_})
        connect(field, &QLineEdit::textChanged, this, &ExportPanel::forgetAnswer);
    constexpr std::chrono::milliseconds calm(100); // headers come by the hundred
    updating_.setSingleShot(true);
    updating_.setInterval(calm);
    connect(&updating_, &QTimer::timeout, this, &ExportPanel::updateMessage);
    const auto updateSoon = [this] {
        if (!updating_.isActive())
            updating_.start();
    };
    connect(&model, &model::PackModel::readingChanged, this, updateSoon);
    connect(&model, &model::PackModel::rowsChanged, this, updateSoon);
    connect(&model, &model::PackModel::audioChanged, this, &ExportPanel::updateMessage);
    updateMessage();

    std::vector<std::filesystem::path> folders;
    if (const QByteArray last = settings.value(folderKey).toByteArray(); !last.isEmpty())
        folders.emplace_back(last.toStdString());
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    for (const QString& usual : {documents, QDir::homePath()})
        folders.push_back(localPath(usual));
    suggest(std::move(folders));
    name_.setFocus();
    name_.setSelection(0, static_cast<int>(name_.text().size() - zipSuffix.size()));
}

void ExportPanel::addFields() {
    message_.setObjectName(QStringLiteral("spaceMessage"));
    message_.setWordWrap(true);
    name_.setObjectName(QStringLiteral("packName"));
    name_.setText(QStringLiteral("Ferrowick %1.zip").arg(Format::dateForName(QDate::currentDate())));
    place_.setObjectName(QStringLiteral("packPlace"));
    audio_.setObjectName(QStringLiteral("scratchAudio"));
    for (const ScratchAudio mode : allScratchAudio)
        audio_.addItem(tr(title(mode).data()), static_cast<int>(mode));
    audio_.setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(&audio_, &QComboBox::currentIndexChanged, this,
            [this] { model_.setAudio(static_cast<ScratchAudio>(audio_.currentData().toInt())); });
    space_.setObjectName(QStringLiteral("spaceWarning"));
    problem_.setObjectName(QStringLiteral("panelProblem"));
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, Icons::orange(palette()));
    for (QLabel* label : {&space_, &problem_}) {
        label->setWordWrap(true);
        label->setTextFormat(Qt::PlainText);
        label->setPalette(colours);
        label->hide();
    }

    auto* const choose = new QPushButton(tr("C&hoose…"), this); // "C" is Cancel's
    choose->setObjectName(QStringLiteral("choosePlace"));
    choose->setAutoDefault(false); // Return exports, wherever the focus is
    connect(choose, &QPushButton::clicked, this, &ExportPanel::choose);
    auto* const placeRow = new QHBoxLayout;
    placeRow->addWidget(&place_, 1);
    placeRow->addWidget(choose);
    setTabOrder(&place_, choose);
    setTabOrder(choose, &audio_);
    auto* const form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(tr("&Name:"), &name_);
    form->addRow(tr("&Place:"), placeRow);
    qobject_cast<QLabel*>(form->labelForField(placeRow))->setBuddy(&place_);
    form->addRow(tr("&Scratch Audio:"), &audio_);

    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Cancel)->setIcon({}); // beside one that has none
    export_ = buttons->addButton(tr("&Export"), QDialogButtonBox::AcceptRole);
    export_->setObjectName(QStringLiteral("panelExport"));
    export_->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &ExportPanel::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ExportPanel::reject);

    auto* const column = new QVBoxLayout(this);
    constexpr int gap = 12;
    column->setSpacing(gap);
    column->addWidget(&message_);
    column->addLayout(form);
    column->addWidget(&space_);
    column->addWidget(&problem_);
    column->addStretch(1);
    column->addWidget(buttons);
    constexpr int characters = 76;
    setMinimumWidth(characters * fontMetrics().averageCharWidth());
}

void ExportPanel::updateMessage() {
    message_.setText(unbroken(model_.spaceMessage(model_.audio())));
    audio_.setCurrentIndex(audio_.findData(static_cast<int>(model_.audio())));
    const QString warning = freeSpace_ ? model_.spaceWarning(model_.audio(), *freeSpace_) : QString();
    space_.setText(unbroken(warning));
    space_.setVisible(!warning.isEmpty());
}

/// One question at a time: what is typed meanwhile is asked about after the answer.
void ExportPanel::askForSpace() {
    if (std::exchange(asked_, true))
        return;
    const std::filesystem::path zip = typedZip();
    model_.lookAt(zip, [panel = QPointer(this), zip](const model::ExportPlace& place) {
        if (!panel)
            return;
        panel->asked_ = false;
        if (zip.parent_path() != panel->typedZip().parent_path())
            return panel->askForSpace();
        panel->freeSpace_ = place.freeSpace;
        panel->updateMessage();
    });
}

/// Shows the first of these folders that is there and not an added one, as far as nobody has typed another.
void ExportPanel::suggest(std::vector<std::filesystem::path> folders) {
    const std::filesystem::path first = folders.front();
    folders.erase(folders.begin());
    setPlace(first);
    if (folders.empty())
        return;
    model_.lookAt(first / "pack.zip", [panel = QPointer(this), folders = std::move(folders),
                                       first](const model::ExportPlace& place) {
        const bool fits = place.hasFolder && !place.within;
        const bool isAgreed = panel && !panel->accepting_.empty(); // what was shown then counts
        if (panel && !fits && !isAgreed && panel->folder_ == first && !panel->place_.isModified())
            panel->suggest(folders);
    });
}

void ExportPanel::setPlace(const std::filesystem::path& folder) {
    folder_ = folder;
    place_.setText(model::text(folder.native()));
    place_.setModified(false);
}

void ExportPanel::choose() {
    if (chooser_)
        return;
    const std::filesystem::path zip = typedZip();
    chooser_ = new FileChooser(FileChooser::What::zip, zip.parent_path(), model::fileName(zip), this);
    connect(chooser_, &FileChooser::chosen, this, [this](const std::vector<std::filesystem::path>& files) {
        agreedZip_ = files.front();
        name_.setText(model::fileName(agreedZip_));
        setPlace(agreedZip_.parent_path());
    });
}

/// Without a file name when there is none in the field.
std::filesystem::path ExportPanel::typedZip() const {
    const std::filesystem::path folder = place_.isModified() ? typedPath(place_.text().trimmed()) : folder_;
    QString name = name_.text().trimmed();
    if (!name.isEmpty() && !name.endsWith(QLatin1Char('/')) && !name.endsWith(zipSuffix, Qt::CaseInsensitive))
        name += zipSuffix;
    return (localPath(QDir::homePath()) / folder / typedPath(name)).lexically_normal();
}

void ExportPanel::accept() {
    const std::filesystem::path zip = typedZip();
    if (!zip.has_filename() || name_.text().trimmed().isEmpty()) {
        refuse(tr("The pack needs a name."));
        return;
    }
    // Until the disk has answered; a network's may never do, but another place can be typed.
    export_->setEnabled(false);
    accepting_ = zip;
    answering_.start();
    model_.lookAt(zip, [panel = QPointer(this), zip](const model::ExportPlace& place) {
        if (panel && panel->accepting_ == zip)
            panel->looked(zip, place);
    });
}

/// Of the disk that is asked about an export.
void ExportPanel::forgetAnswer() {
    accepting_.clear();
    answering_.stop();
    problem_.hide();
    export_->setEnabled(true);
}

void ExportPanel::looked(const std::filesystem::path& zip, const model::ExportPlace& place) {
    forgetAnswer();
    if (!place.hasFolder)
        return refuse(tr("There is no folder “%1”.").arg(model::text(zip.parent_path().native())));
    if (place.isFolder)
        return refuse(tr("“%1” is a folder.").arg(model::fileName(zip)));
    const bool remember = !place.within;
    const auto replace = [this, zip, remember, exists = place.exists] {
        if (!exists || zip == agreedZip_)
            return confirm(zip, remember);
        ask(tr("“%1” exists already. Replace it?").arg(model::fileName(zip)), tr("Replace"),
            [this, zip, remember] { confirm(zip, remember); });
    };
    if (!place.within)
        return replace();
    ask(tr("“%1” is one of the added folders. Save the pack in it?").arg(model::fileName(*place.within)),
        tr("Save There"), replace);
}

void ExportPanel::confirm(const std::filesystem::path& zip, bool remember) {
    if (remember)
        settings_.setValue(folderKey, QByteArray::fromStdString(zip.parent_path().native()));
    QDialog::accept();
    Q_EMIT chosen(zip);
}

void ExportPanel::ask(const QString& question, const QString& agree, std::function<void()> agreed) {
    auto* const box =
        new QMessageBox(QMessageBox::Question, windowTitle(), question, QMessageBox::Cancel, this);
    box->setObjectName(QStringLiteral("exportQuestion"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    const auto* const yes = box->addButton(agree, QMessageBox::AcceptRole);
    box->setDefaultButton(QMessageBox::Cancel);
    connect(box, &QMessageBox::buttonClicked, this,
            [yes, agreed = std::move(agreed)](QAbstractButton* button) {
                if (button == yes)
                    agreed();
            });
    box->open();
}

void ExportPanel::refuse(const QString& reason) {
    problem_.setText(reason);
    problem_.show();
}

} // namespace ui
