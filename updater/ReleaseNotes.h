#pragma once

#include <QString>

#include <memory>
#include <optional>
#include <vector>

class QMessageBox;
class QTextDocument;

namespace hopla {

// One stretch of release-note text with one style. Block breaks are runs of "\n" with the
// default style.
struct ReleaseNotesRun {
    QString text;
    int pointSize = 13;
    bool bold = false;
    bool italic = false;
    bool monospaced = false;
    bool strikethrough = false;
    QString link; // empty: not a link

    friend bool operator==(const ReleaseNotesRun&, const ReleaseNotesRun&) = default;
};

// Release notes written in Markdown as styled runs: headers bold at 21, 19, 17, 15, 13 and
// 11 points by level, code at 12 points monospaced, list items led by "• " or "n. ", quotes
// by "│ ", one line break between blocks and nothing between paragraphs.
std::vector<ReleaseNotesRun> nativeReleaseNotes(const QString& markdown);

// The runs as a document for a text view; the text takes the view's palette, so it follows
// light and dark.
std::unique_ptr<QTextDocument> releaseNotesDocument(const std::vector<ReleaseNotesRun>& runs);

// Puts the rendered notes, scrollable (420 × 220), into an update prompt above its buttons.
// Notes that are absent or only white space add nothing.
void addReleaseNotes(QMessageBox& prompt, const std::optional<QString>& markdown);

} // namespace hopla
