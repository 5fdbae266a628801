#pragma once

#include <QUuid>

namespace hopla {

// The identity of one asynchronous request, session or intent: a random UUID taken when it
// starts. Owners keep the identity of their current request; a continuation whose captured
// identity no longer matches has been superseded and does nothing.
class Identity {
public:
    // A fresh random identity; never equal to any other.
    static Identity random() { return Identity(QUuid::createUuid()); }

    friend bool operator==(const Identity&, const Identity&) = default;

    QString toString() const { return uuid_.toString(QUuid::WithoutBraces); }

private:
    explicit Identity(QUuid uuid)
        : uuid_(uuid) {}
    QUuid uuid_;
};

} // namespace hopla
