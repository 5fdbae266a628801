#include "updater/UpdateAlert.h"

#include "updater/ReleaseNotes.h"

#include <QMessageBox>
#include <QPushButton>

namespace hopla {

UpdatePresenter modalUpdateAlert() {
    return
        [](const UpdatePrompt& prompt, UpdateMessageStyle style, std::function<void(bool)> chosen) {
            QMessageBox box;
            box.setWindowTitle(prompt.title);
            box.setIcon(style == UpdateMessageStyle::warning ? QMessageBox::Warning
                                                             : QMessageBox::Information);
            box.setTextFormat(Qt::PlainText); // the version comes from the manifest
            box.setText(prompt.title);
            box.setInformativeText(prompt.detail);
            QPushButton* primary = box.addButton(prompt.primary, QMessageBox::AcceptRole);
            if (prompt.secondary) {
                box.addButton(*prompt.secondary, QMessageBox::RejectRole);
            }
            box.setDefaultButton(primary);
            addReleaseNotes(box, prompt.releaseNotes); // last: the box re-lays itself out
            box.setWindowFlag(Qt::WindowStaysOnTopHint);
            box.show();
            box.raise();
            box.activateWindow();
            box.exec();
            chosen(box.clickedButton() == primary);
        };
}

} // namespace hopla
