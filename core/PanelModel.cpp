#include "core/PanelModel.h"

namespace hopla {

PanelModel::PanelModel() = default;

void PanelModel::setSession(SwitchSession session) {
    session_ = std::move(session);
    emit changed();
}

void PanelModel::setFailedId(std::optional<AppHandle> id) {
    failedId_ = id;
    emit changed();
}

void PanelModel::setNeedsSelectionScrolling(bool needed) {
    needsSelectionScrolling_ = needed;
    emit changed();
}

void PanelModel::setIcons(IconMap icons) {
    icons_ = std::move(icons);
    emit changed();
}

} // namespace hopla
