#include "core/SwitchSession.h"

#include <algorithm>

namespace hopla {

namespace {

char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

SwitchSession::SwitchSession(std::vector<AppEntry> apps, bool backwards, Scope scope,
                             bool firstIsFrontmost)
    : apps_(std::move(apps))
    , scope_(scope) {
    const std::size_t n = apps_.size();
    const std::size_t k = backwards ? n : std::min<std::size_t>(n, firstIsFrontmost ? 2 : 1);
    if (k >= 1) {
        selectedId_ = apps_[k - 1].id;
    }
}

std::optional<std::size_t> SwitchSession::indexOf(AppHandle id) const {
    const auto it =
        std::find_if(apps_.begin(), apps_.end(), [id](const AppEntry& e) { return e.id == id; });
    if (it == apps_.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(it - apps_.begin());
}

void SwitchSession::selectionChanged(AppHandle id) {
    selectedId_ = id;
    needsCommit_ = true;
    lastLetter_.reset();
}

void SwitchSession::select(AppHandle id) {
    if (indexOf(id)) {
        selectionChanged(id);
    }
}

void SwitchSession::step(bool backwards) {
    const std::size_t n = apps_.size();
    if (n == 0) {
        return;
    }
    std::size_t next = backwards ? n - 1 : 1 % n;
    if (const auto i = selectedId_ ? indexOf(*selectedId_) : std::nullopt) {
        next = backwards ? (*i + n - 1) % n : (*i + 1) % n;
    }
    selectionChanged(apps_[next].id);
}

std::optional<AppHandle> SwitchSession::letter(char letter) {
    const char key = asciiUpper(letter);
    std::vector<AppHandle> matches;
    for (const AppEntry& entry : apps_) {
        if (entry.shortcut == key) {
            matches.push_back(entry.id);
        }
    }
    if (matches.empty()) {
        return std::nullopt;
    }
    AppHandle target = matches.front();
    if (lastLetter_ == key && selectedId_) {
        const auto j = std::find(matches.begin(), matches.end(), *selectedId_);
        if (j != matches.end()) {
            target = matches[static_cast<std::size_t>(j - matches.begin() + 1) % matches.size()];
        }
    }
    selectedId_ = target;
    needsCommit_ = true;
    lastLetter_ = key;
    return target;
}

int SwitchSession::matchCount(char letter) const {
    const char key = asciiUpper(letter);
    return static_cast<int>(std::count_if(apps_.begin(), apps_.end(),
                                          [key](const AppEntry& e) { return e.shortcut == key; }));
}

QString SwitchSession::badge(const AppEntry& entry) const {
    if (scope_ == Scope::windows) {
        return {};
    }
    if (!entry.shortcut) {
        return QStringLiteral("\u2014");
    }
    QString letter(QChar::fromLatin1(*entry.shortcut));
    int position = 0;
    for (const AppEntry& other : apps_) {
        if (other.shortcut != entry.shortcut) {
            continue;
        }
        if (other.id == entry.id) {
            return position == 0
                       ? letter
                       : letter + QStringLiteral(" \u00D7") + QString::number(position + 1);
        }
        ++position;
    }
    return letter;
}

std::optional<AppHandle> SwitchSession::commitTarget() const {
    return needsCommit_ ? selectedId_ : std::nullopt;
}

void SwitchSession::activationSucceeded(AppHandle id) {
    if (selectedId_ == id) {
        needsCommit_ = false;
    }
}

void SwitchSession::remove(AppHandle id) {
    const std::size_t removedAt = indexOf(id).value_or(0);
    std::erase_if(apps_, [id](const AppEntry& e) { return e.id == id; });
    if (selectedId_ != id) {
        return;
    }
    if (apps_.empty()) {
        selectedId_.reset();
    } else {
        selectedId_ = apps_[std::min(removedAt, apps_.size() - 1)].id;
    }
    needsCommit_ = true;
    lastLetter_.reset();
}

} // namespace hopla
