// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/guide.h"

#include <QGuiApplication>
#include <QImage>
#include <QLineEdit>
#include <QPalette>
#include <QScreen>
#include <QTextBrowser>
#include <QTextCursor>
#include <QTextTable>
#include <QVBoxLayout>

namespace ui {

namespace {

/// A text whose pictures are never wider than what it is read in.
class Page : public QTextBrowser {
  public:
    using QTextBrowser::QTextBrowser;

    QVariant loadResource(int type, const QUrl& name) override {
        QVariant loaded = QTextBrowser::loadResource(type, name);
        if (type != QTextDocument::ImageResource)
            return loaded;
        const QImage picture = QImage::fromData(loaded.toByteArray());
        const int widest = viewport()->width() - 2 * static_cast<int>(document()->documentMargin());
        return picture.width() <= widest ? picture : picture.scaledToWidth(widest, Qt::SmoothTransformation);
    }
};

/// The toolkit's own tables are packed tight.
void spaceTables(const QTextDocument& document) {
    for (QTextFrame* frame : document.rootFrame()->childFrames()) {
        auto* const table = qobject_cast<QTextTable*>(frame);
        if (table == nullptr)
            continue;
        QTextTableFormat format = table->format();
        constexpr qreal padding = 4;
        format.setCellPadding(padding);
        format.setCellSpacing(0);
        format.setBorderCollapse(true);
        format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid); // outset borders ignore the brush
        // Dark themes often leave the roles that are meant for lines as light as they were.
        QColor line = QGuiApplication::palette().color(QPalette::Text);
        line.setAlphaF(0.25F);
        format.setBorderBrush(line);
        table->setFormat(format);
    }
}

} // namespace

Guide::Guide(QWidget& window) : QDialog(&window), text_(*new Page(this)), words_(*new QLineEdit(this)) {
    setObjectName(QStringLiteral("guide"));
    setWindowTitle(tr("Guide"));
    setAttribute(Qt::WA_DeleteOnClose);
    words_.setObjectName(QStringLiteral("guideWords"));
    words_.setPlaceholderText(tr("Find a message"));
    words_.setAccessibleName(words_.placeholderText());
    words_.setClearButtonEnabled(true);
    connect(&words_, &QLineEdit::textEdited, this, [this] { find(false); });
    connect(&words_, &QLineEdit::returnPressed, this, [this] { find(true); });
    text_.setObjectName(QStringLiteral("guideText"));
    text_.setFrameShape(QFrame::NoFrame);
    text_.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the pictures' width is known beforehand
    text_.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    text_.setOpenExternalLinks(true);
    auto* const column = new QVBoxLayout(this);
    column->addWidget(&words_);
    column->addWidget(&text_, 1);
    constexpr QSize usual(1120, 760);
    resize(usual.boundedTo(window.screen()->availableSize()));
    constexpr int margin = 24;
    text_.document()->setDocumentMargin(margin);
}

void Guide::open(QWidget& window) {
    auto* guide = window.findChild<Guide*>();
    if (guide == nullptr) {
        guide = new Guide(window);
        guide->show();
        // Once there is a width for the pictures.
        guide->text_.setSource(QUrl(QStringLiteral("qrc:/guide.md")));
        spaceTables(*guide->text_.document());
    }
    guide->raise();
    guide->activateWindow();
}

/// From the place found last, or behind it; from the beginning when there is no further one.
void Guide::find(bool onward) {
    QTextCursor place = text_.textCursor();
    place.setPosition(onward ? place.selectionEnd() : place.selectionStart());
    text_.setTextCursor(place);
    if (text_.find(words_.text()))
        return;
    text_.moveCursor(QTextCursor::Start);
    (void)text_.find(words_.text());
}

} // namespace ui
