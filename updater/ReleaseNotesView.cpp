#include "updater/ReleaseNotes.h"

#include <QDesktopServices>
#include <QGridLayout>
#include <QMessageBox>
#include <QTextBrowser>
#include <QTextDocument>

namespace hopla {

void addReleaseNotes(QMessageBox& prompt, const std::optional<QString>& markdown) {
    if (!markdown || markdown->trimmed().isEmpty()) {
        return;
    }
    auto* notes = new QTextBrowser(&prompt);
    notes->setObjectName(QStringLiteral("releaseNotes"));
    notes->setFixedSize(420, 220);
    notes->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    notes->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    notes->setFrameShape(QFrame::StyledPanel);
    notes->viewport()->setAutoFillBackground(false);
    // Links open in the browser, and only web links: a note may come from anywhere the
    // manifest does, and file: or other schemes would open local things.
    notes->setOpenLinks(false);
    QObject::connect(notes, &QTextBrowser::anchorClicked, notes, [](const QUrl& url) {
        if (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http")) {
            QDesktopServices::openUrl(url);
        }
    });
    // The document belongs to the view from here on.
    QTextDocument* document = releaseNotesDocument(nativeReleaseNotes(*markdown)).release();
    document->setParent(notes);
    document->setDocumentMargin(8);
    notes->setDocument(document);
    // The message box lays its parts out in a grid; the notes go in a row above the buttons.
    if (auto* grid = qobject_cast<QGridLayout*>(prompt.layout())) {
        const int buttons = grid->rowCount() - 1;
        QLayoutItem* buttonRow = grid->itemAtPosition(buttons, 0);
        const int columns = grid->columnCount();
        if (buttonRow) {
            grid->removeItem(buttonRow);
            grid->addItem(buttonRow, buttons + 1, 0, 1, columns);
        }
        grid->addWidget(notes, buttons, 0, 1, columns);
    }
}

} // namespace hopla
