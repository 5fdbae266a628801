#include "updater/ReleaseNotes.h"

#include <QFontDatabase>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>

namespace hopla {

namespace {

// The prefix a block's first run carries: quotes are taken as the outer structure when a
// block is both quoted and a list item.
QString blockPrefix(const QTextBlock& block) {
    if (block.blockFormat().property(QTextFormat::BlockQuoteLevel).toInt() > 0) {
        return QStringLiteral("│ ");
    }
    if (const QTextList* list = block.textList()) {
        switch (list->format().style()) {
        case QTextListFormat::ListDisc:
        case QTextListFormat::ListCircle:
        case QTextListFormat::ListSquare:
            return QStringLiteral("• ");
        default:
            return QString::number(list->itemNumber(block) + 1) + QStringLiteral(". ");
        }
    }
    return {};
}

ReleaseNotesRun blockStyle(const QTextBlock& block) {
    ReleaseNotesRun style;
    const QTextBlockFormat format = block.blockFormat();
    if (const int level = format.headingLevel(); level > 0) {
        style.pointSize = 23 - 2 * std::min(level, 6);
        style.bold = true;
    } else if (format.nonBreakableLines()) { // how Markdown code blocks arrive
        style.pointSize = 12;
        style.monospaced = true;
    }
    return style;
}

void applyInline(ReleaseNotesRun& run, const QTextCharFormat& format) {
    if (format.fontFixedPitch()) {
        run.pointSize = 12;
        run.monospaced = true;
        run.bold = false;
    }
    run.bold = run.bold || format.fontWeight() >= QFont::Bold;
    run.italic = format.fontItalic();
    run.strikethrough = format.fontStrikeOut();
    if (format.isAnchor()) {
        run.link = format.anchorHref();
    }
}

} // namespace

std::vector<ReleaseNotesRun> nativeReleaseNotes(const QString& markdown) {
    QTextDocument parsed;
    parsed.setMarkdown(markdown, QTextDocument::MarkdownDialectGitHub);
    std::vector<ReleaseNotesRun> runs;
    for (QTextBlock block = parsed.begin(); block.isValid(); block = block.next()) {
        if (block.text().isEmpty()) {
            continue;
        }
        if (!runs.empty()) {
            ReleaseNotesRun lineBreak;
            lineBreak.text = QStringLiteral("\n");
            runs.push_back(lineBreak);
        }
        const ReleaseNotesRun style = blockStyle(block);
        QString prefix = blockPrefix(block);
        for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment) {
            const QTextFragment piece = fragment.fragment();
            ReleaseNotesRun run = style;
            applyInline(run, piece.charFormat());
            // Code blocks keep their line breaks, which Qt holds as line separators.
            run.text = prefix + piece.text().replace(QChar::LineSeparator, QLatin1Char('\n'));
            prefix.clear();
            runs.push_back(std::move(run));
        }
    }
    return runs;
}

std::unique_ptr<QTextDocument> releaseNotesDocument(const std::vector<ReleaseNotesRun>& runs) {
    auto document = std::make_unique<QTextDocument>();
    document->setDocumentMargin(0);
    QTextCursor cursor(document.get());
    QTextBlockFormat tight;
    tight.setTopMargin(0);
    tight.setBottomMargin(0);
    cursor.setBlockFormat(tight);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    for (const ReleaseNotesRun& run : runs) {
        if (run.text == QLatin1String("\n")) {
            cursor.insertBlock(tight);
            continue;
        }
        QTextCharFormat format;
        if (run.monospaced) {
            format.setFontFamilies(fixed.families());
            format.setFontFixedPitch(true);
        }
        format.setFontPointSize(run.pointSize);
        format.setFontWeight(run.bold ? QFont::Bold : QFont::Normal);
        format.setFontItalic(run.italic);
        format.setFontStrikeOut(run.strikethrough);
        if (!run.link.isEmpty()) {
            format.setAnchor(true);
            format.setAnchorHref(run.link);
            format.setFontUnderline(true);
        }
        cursor.insertText(run.text, format);
    }
    return document;
}

} // namespace hopla
