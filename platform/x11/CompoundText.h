#pragma once

#include <QByteArray>
#include <QString>

namespace hopla::x11 {

// Decodes an X COMPOUND_TEXT value (ISO 2022 with X's conventions), as old clients write
// their titles: ASCII and Latin-1 by default, UTF-8 in extended segments, and the 94×94
// sets of Chinese (GB 2312), Japanese (JIS X 0208) and Korean (KS C 5601) in either half.
// Unknown designations are skipped to the next escape; the result is never garbage-long.
QString decodeCompoundText(const QByteArray& text);

} // namespace hopla::x11
