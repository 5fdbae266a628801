#pragma once

#include <QByteArray>
#include <QString>

namespace hopla {

// Orders names the way a file browser does: case-insensitive, digits by their numeric value
// ("App 2" before "App 10"), accents significant only when nothing else differs.
// Returns a negative number, zero or a positive number, like strcmp. Thread-safe.
int compareNamesNaturally(const QString& a, const QString& b);

// A key whose byte order is the order above: for sorting many names, compute each key once
// and compare keys instead of names. Thread-safe.
QByteArray naturalSortKey(const QString& name);

} // namespace hopla
