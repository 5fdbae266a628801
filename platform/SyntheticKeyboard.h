#pragma once

namespace hopla {

// Types key chords as the user's keyboard would: the display server hands them to the
// focused window. For self-checks that must take the path a user's keys take.
class SyntheticKeyboard {
public:
    virtual ~SyntheticKeyboard() = default;
    // Holds Control while the key that types `latin` (an ASCII letter or punctuation mark, at
    // the key's base level) goes down and up. False when no key types it or the way is gone.
    virtual bool pressWithControl(char latin) = 0;
};

} // namespace hopla
