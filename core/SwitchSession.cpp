#include "core/SwitchSession.h"

#include <algorithm>

namespace hopla {

namespace {

char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

SwitchSession::SwitchSession(std::vector<AppEntry> apps, bool backwards)
    : apps_(std::move(apps)) {
    const std::size_t n = apps_.size();
    const std::size_t k = backwards ? n : std::min<std::size_t>(n, 2);
    if (k >= 1) {
        selectedID_ = apps_[k - 1].id;
    }
}

std::optional<std::size_t> SwitchSession::indexOf(ProcessId id) const {
    const auto it =
        std::find_if(apps_.begin(), apps_.end(), [id](const AppEntry& e) { return e.id == id; });
    if (it == apps_.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(it - apps_.begin());
}

void SwitchSession::selectionChanged(ProcessId id) {
    selectedID_ = id;
    needsCommit_ = true;
    lastLetter_.reset();
}

void SwitchSession::select(ProcessId id) {
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
    if (const auto i = selectedID_ ? indexOf(*selectedID_) : std::nullopt) {
        next = backwards ? (*i + n - 1) % n : (*i + 1) % n;
    }
    selectionChanged(apps_[next].id);
}

std::optional<ProcessId> SwitchSession::letter(char letter) {
    const char key = asciiUpper(letter);
    std::vector<ProcessId> matches;
    for (const AppEntry& entry : apps_) {
        if (entry.shortcut == key) {
            matches.push_back(entry.id);
        }
    }
    if (matches.empty()) {
        return std::nullopt;
    }
    ProcessId target = matches.front();
    if (lastLetter_ == key && selectedID_) {
        const auto j = std::find(matches.begin(), matches.end(), *selectedID_);
        if (j != matches.end()) {
            target = matches[static_cast<std::size_t>(j - matches.begin() + 1) % matches.size()];
        }
    }
    selectedID_ = target;
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

std::optional<ProcessId> SwitchSession::commitTarget() const {
    return needsCommit_ ? selectedID_ : std::nullopt;
}

void SwitchSession::activationSucceeded(ProcessId id) {
    if (selectedID_ == id) {
        needsCommit_ = false;
    }
}

void SwitchSession::remove(ProcessId id) {
    const std::size_t removedAt = indexOf(id).value_or(0);
    std::erase_if(apps_, [id](const AppEntry& e) { return e.id == id; });
    if (selectedID_ != id) {
        return;
    }
    if (apps_.empty()) {
        selectedID_.reset();
    } else {
        selectedID_ = apps_[std::min(removedAt, apps_.size() - 1)].id;
    }
    needsCommit_ = true;
    lastLetter_.reset();
}

} // namespace hopla
