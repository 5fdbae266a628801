#pragma once

#include <QString>

#include <optional>

namespace hopla {

// Whether Hopla starts when the user logs in.
enum class AutostartStatus { notRegistered, enabled };

class Autostart {
public:
    virtual ~Autostart() = default;
    virtual AutostartStatus status() const = 0;
    // Registers or unregisters; the reason when that failed, nothing on success.
    virtual std::optional<QString> setEnabled(bool enabled) = 0;
};

} // namespace hopla
