#include "platform/x11/CompoundText.h"

#include <unicode/ucnv.h>

#include <memory>

namespace hopla::x11 {

namespace {

constexpr char esc = 0x1b;

// What the left (GL, 0x21-0x7e) or right (GR, 0xa1-0xfe) half currently holds.
enum class Charset { ascii, latin1Right, gb2312, jisx0208, ksc5601, unknown };

// Decodes double-byte text by setting the high bits and reading it as the EUC form of the set.
QString decodeDoubleByte(Charset set, const QByteArray& bytes) {
    const char* name = set == Charset::gb2312     ? "EUC-CN"
                       : set == Charset::jisx0208 ? "EUC-JP"
                                                  : "EUC-KR";
    QByteArray euc = bytes;
    for (auto& c : euc) {
        c = static_cast<char>(static_cast<unsigned char>(c) | 0x80);
    }
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(name, &status),
                                                                       &ucnv_close);
    if (U_FAILURE(status)) {
        return {};
    }
    QString out(euc.size() + 1, Qt::Uninitialized);
    const int32_t length = ucnv_toUChars(converter.get(), reinterpret_cast<UChar*>(out.data()),
                                         static_cast<int32_t>(out.size()), euc.constData(),
                                         static_cast<int32_t>(euc.size()), &status);
    if (U_FAILURE(status)) {
        return {};
    }
    out.truncate(length);
    return out;
}

Charset doubleByteSet(char final) {
    switch (final) {
    case 'A':
        return Charset::gb2312;
    case 'B':
        return Charset::jisx0208;
    case 'C':
        return Charset::ksc5601;
    default:
        return Charset::unknown;
    }
}

} // namespace

QString decodeCompoundText(const QByteArray& text) {
    QString out;
    Charset left = Charset::ascii;
    Charset right = Charset::latin1Right;
    QByteArray pending; // bytes of a double-byte set waiting to be decoded together
    Charset pendingSet = Charset::unknown;
    const auto flush = [&] {
        if (!pending.isEmpty()) {
            out += decodeDoubleByte(pendingSet, pending);
            pending.clear();
        }
    };

    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n;) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == esc) {
            flush();
            const QByteArray rest = text.mid(i + 1, 3);
            if (rest.startsWith("%G")) { // UTF-8 until ESC % @
                const qsizetype end = text.indexOf("\x1b%@", i + 3);
                const qsizetype stop = end < 0 ? n : end;
                out += QString::fromUtf8(text.mid(i + 3, stop - i - 3));
                i = end < 0 ? n : end + 3;
                continue;
            }
            if (rest.startsWith("(B")) {
                left = Charset::ascii;
                i += 3;
            } else if (rest.startsWith("-A")) {
                right = Charset::latin1Right;
                i += 3;
            } else if (rest.size() == 3 && rest[0] == '$' && (rest[1] == '(' || rest[1] == ')')) {
                (rest[1] == '(' ? left : right) = doubleByteSet(rest[2]);
                i += 4;
            } else { // an unknown designation: skip to the next escape
                const qsizetype next = text.indexOf(esc, i + 1);
                i = next < 0 ? n : next;
                right = Charset::unknown;
            }
            continue;
        }
        const bool high = c >= 0x80;
        const Charset set = high ? right : left;
        if (c == ' ' || c == '\n' || c == '\t' || (!high && set == Charset::ascii)) {
            flush();
            out += QChar(c);
        } else if (high && set == Charset::latin1Right) {
            flush();
            out += QChar(c); // Latin-1 maps straight onto Unicode
        } else if (set == Charset::gb2312 || set == Charset::jisx0208 || set == Charset::ksc5601) {
            if (pendingSet != set) {
                flush();
                pendingSet = set;
            }
            pending += static_cast<char>(c & 0x7f);
        }
        ++i;
    }
    flush();
    return out;
}

} // namespace hopla::x11
