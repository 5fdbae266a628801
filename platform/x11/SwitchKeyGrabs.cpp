#include "platform/x11/SwitchKeyGrabs.h"

#include "platform/x11/XConnection.h"

#include <QStringList>

#include <utility>

namespace hopla::x11 {

QString SwitchKeyGrabs::modifierName(std::uint16_t mask) {
    QStringList parts;
    if (mask & XCB_MOD_MASK_CONTROL) {
        parts << QStringLiteral("Ctrl");
    }
    if (mask & XCB_MOD_MASK_1) {
        parts << QStringLiteral("Alt");
    }
    if (mask & XCB_MOD_MASK_4) {
        parts << QStringLiteral("Super");
    }
    if (mask & XCB_MOD_MASK_SHIFT) {
        parts << QStringLiteral("Shift");
    }
    return parts.join(QLatin1Char('+'));
}

std::variant<SwitchKeyGrabs, GrabConflict>
SwitchKeyGrabs::grab(XConnection& x, const ServerKeyboard& keyboard, std::uint16_t switchModifier) {
    SwitchKeyGrabs grabs(x);
    // Every subset of the lock modifiers, so CapsLock or NumLock being on changes nothing.
    std::vector<std::uint16_t> locks{0};
    for (const std::uint16_t lock :
         {std::uint16_t(XCB_MOD_MASK_LOCK), keyboard.numLockMask, keyboard.scrollLockMask}) {
        if (lock == 0) {
            continue;
        }
        const std::size_t before = locks.size();
        for (std::size_t i = 0; i < before; ++i) {
            locks.push_back(static_cast<std::uint16_t>(locks[i] | lock));
        }
    }
    struct Pending {
        Grab grab;
        QString shown; // the combination without lock modifiers, for the message
        bool tab;
        xcb_void_cookie_t cookie;
    };
    std::vector<Pending> pending;
    const auto request = [&](const std::vector<KeyCode>& keys, bool tab, const QString& name) {
        for (const xcb_keycode_t key : keys) {
            for (const std::uint16_t shift :
                 {std::uint16_t(0), std::uint16_t(XCB_MOD_MASK_SHIFT)}) {
                for (const std::uint16_t lock : locks) {
                    const auto modifiers =
                        static_cast<std::uint16_t>(switchModifier | shift | lock);
                    pending.push_back(
                        {{key, modifiers},
                         modifierName(static_cast<std::uint16_t>(switchModifier | shift)) + name,
                         tab,
                         xcb_grab_key_checked(x.raw(), 1, x.root(), modifiers, key,
                                              XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_SYNC)});
                }
            }
        }
    };
    request(keyboard.tabKeys, true, QStringLiteral("+Tab"));
    request(keyboard.windowKeys, false, QStringLiteral("+`"));
    std::optional<GrabConflict> conflict;
    for (auto& p : pending) {
        const Reply<xcb_generic_error_t> error(xcb_request_check(x.raw(), p.cookie));
        if (!error) {
            grabs.grabs_.push_back(p.grab);
        } else if (p.tab && !conflict) {
            conflict = GrabConflict{p.shown};
        } else if (!p.tab && !grabs.windowKeyTaken_) {
            grabs.windowKeyTaken_ = p.shown;
        }
    }
    if (keyboard.tabKeys.empty()) {
        conflict = GrabConflict{QStringLiteral("no Tab key on this keyboard")};
    }
    if (conflict) {
        return *conflict; // the grabs taken are released with `grabs`
    }
    return grabs;
}

SwitchKeyGrabs::SwitchKeyGrabs(SwitchKeyGrabs&& other) noexcept
    : x_(other.x_)
    , grabs_(std::exchange(other.grabs_, {}))
    , windowKeyTaken_(std::move(other.windowKeyTaken_)) {}

SwitchKeyGrabs::~SwitchKeyGrabs() {
    releaseAll();
}

void SwitchKeyGrabs::releaseAll() {
    if (!x_ || grabs_.empty() || x_->broken()) {
        grabs_.clear();
        return;
    }
    for (const Grab& g : grabs_) {
        xcb_ungrab_key(x_->raw(), g.key, x_->root(), g.modifiers);
    }
    xcb_flush(x_->raw());
    grabs_.clear();
}

} // namespace hopla::x11
