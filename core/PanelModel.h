#pragma once

#include "core/SwitchSession.h"

#include <QImage>
#include <QObject>

#include <functional>
#include <map>
#include <optional>

namespace hopla {

using IconMap = std::map<AppHandle, QImage>;

// What the switcher panel draws, observed by its view: the session, the candidate whose
// activation just failed, whether the selection must be scrolled into sight, and the icons.
// Every assignment announces itself through changed(). Main thread only.
class PanelModel : public QObject {
    Q_OBJECT
public:
    PanelModel();

    const SwitchSession& session() const { return session_; }
    std::optional<AppHandle> failedId() const { return failedId_; }
    bool needsSelectionScrolling() const { return needsSelectionScrolling_; }
    const IconMap& icons() const { return icons_; }

    void setSession(SwitchSession session);
    void setFailedId(std::optional<AppHandle> id);
    void setNeedsSelectionScrolling(bool needed);
    void setIcons(IconMap icons);

    // Called by the view when a candidate is clicked; set by the controller.
    std::function<void(AppHandle)> onSelect;

signals:
    void changed();

private:
    SwitchSession session_{{}, false};
    std::optional<AppHandle> failedId_;
    bool needsSelectionScrolling_ = false;
    IconMap icons_;
};

// The switcher panel as the controller drives it.
class SwitcherPanelInterface {
public:
    virtual ~SwitcherPanelInterface() = default;

    virtual PanelModel& model() = 0;
    // Shows the panel for a new session.
    virtual void show(const SwitchSession& session, const IconMap& icons) = 0;
    // While hidden: gets ready to show the session expected next, so that showing it then
    // costs nothing but the showing.
    virtual void prepare(const SwitchSession& session, const IconMap& icons) = 0;
    // Redraws for a changed session.
    virtual void update(const SwitchSession& session) = 0;
    // Redraws with new icons.
    virtual void update(const IconMap& icons) = 0;
    virtual void hide() = 0;
};

} // namespace hopla
