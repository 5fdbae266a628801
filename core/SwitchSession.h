#pragma once

#include "core/AppEntry.h"

#include <QString>

#include <optional>
#include <vector>

namespace hopla {

// One open switching session: the candidates in display order, the selection, whether
// releasing the switch key must still activate the selection, and the letter typed last.
// The candidates are applications, or the windows of the frontmost application (their
// entries then carry the window titles and no letters).
// A value: the controller replaces it whole on every change so observers see each one.
//
// Invariant: selectedId, when present, is the id of an entry of apps; it is absent only
// when apps is empty.
class SwitchSession {
public:
    enum class Scope { applications, windows };

    // Opens over the candidates. Forwards selects the second (the previously used
    // application) or the only one, or the first when it is not the one in front (the
    // desktop has the focus); backwards selects the last.
    SwitchSession(std::vector<AppEntry> apps, bool backwards, Scope scope = Scope::applications,
                  bool firstIsFrontmost = true);

    Scope scope() const { return scope_; }
    const std::vector<AppEntry>& apps() const { return apps_; }
    std::optional<AppHandle> selectedId() const { return selectedId_; }
    bool needsCommit() const { return needsCommit_; }
    std::optional<char> lastLetter() const { return lastLetter_; }

    // Selects the candidate directly (a click); unknown identifiers change nothing.
    void select(AppHandle id);
    // Moves the selection by one, wrapping around.
    void step(bool backwards);
    // Selects by shortcut letter; the same letter again cycles through the candidates that
    // carry it. Returns the new selection, or nothing (and changes nothing) when no
    // candidate carries the letter.
    std::optional<AppHandle> letter(char letter);
    // How many candidates carry the letter.
    int matchCount(char letter) const;
    // What the tile of the entry shows: "—" without a shortcut, else the letter, followed
    // by " ×N" when it takes N presses of the letter to reach it; nothing for a window.
    QString badge(const AppEntry& entry) const;
    // What releasing the switch key must activate.
    std::optional<AppHandle> commitTarget() const;
    // The selection has come to the front; releasing the switch key activates nothing more.
    void activationSucceeded(AppHandle id);
    // Drops the candidate (its application quit); a removed selection moves to the entry
    // that followed it, or to the new last one.
    void remove(AppHandle id);

    friend bool operator==(const SwitchSession&, const SwitchSession&) = default;

private:
    std::optional<std::size_t> indexOf(AppHandle id) const;
    void selectionChanged(AppHandle id);

    std::vector<AppEntry> apps_;
    Scope scope_;
    std::optional<AppHandle> selectedId_;
    bool needsCommit_ = true;
    std::optional<char> lastLetter_;
};

} // namespace hopla
