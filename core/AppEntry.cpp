#include "core/AppEntry.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <QHash>

#include <memory>
#include <mutex>

namespace hopla {

namespace {

bool isAsciiAlnum(char16_t c) {
    return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
}

char asciiUpper(char16_t c) {
    return static_cast<char>(c >= u'a' && c <= u'z' ? c - u'a' + u'A' : c);
}

// Cyrillic by the BGN tables (Яндекс → Yandeks), every other script by ICU's general
// transliteration (Chinese to pinyin, kana to romaji, Hangul by revised romanisation), then
// down to plain ASCII where Latin letters carry accents or tone marks.
class LatinTransliterator {
public:
    LatinTransliterator() {
        UErrorCode status = U_ZERO_ERROR;
        transliterator_.reset(icu::Transliterator::createInstance(
            "Russian-Latin/BGN; Any-Latin; Latin-ASCII", UTRANS_FORWARD, status));
        if (U_FAILURE(status)) {
            transliterator_.reset();
        }
    }

    // Creating the transliterator costs tens of milliseconds, so there is one per process.
    static LatinTransliterator& shared() {
        static LatinTransliterator instance;
        return instance;
    }

    icu::UnicodeString toLatin(const icu::UnicodeString& text) {
        icu::UnicodeString result(text);
        if (transliterator_) {
            std::lock_guard lock(mutex_); // a transliterator is not safe to share unlocked
            transliterator_->transliterate(result);
        }
        return result;
    }

private:
    std::mutex mutex_;
    std::unique_ptr<icu::Transliterator> transliterator_;
};

// Folds case and removes diacritics that the ASCII step left in place.
icu::UnicodeString foldForShortcut(const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) {
        return text;
    }
    icu::UnicodeString decomposed = nfd->normalize(text, status);
    if (U_FAILURE(status)) {
        return text;
    }
    icu::UnicodeString folded;
    for (int32_t i = 0; i < decomposed.length();) {
        const UChar32 c = decomposed.char32At(i);
        if (u_charType(c) != U_NON_SPACING_MARK) {
            folded.append(c);
        }
        i += U16_LENGTH(c);
    }
    return folded.foldCase();
}

std::optional<char> firstAsciiLetterOrDigit(const icu::UnicodeString& text) {
    icu::UnicodeString upper(text);
    upper.toUpper(icu::Locale::getRoot());
    for (int32_t i = 0; i < upper.length(); ++i) {
        if (isAsciiAlnum(upper.charAt(i))) {
            return asciiUpper(upper.charAt(i));
        }
    }
    return std::nullopt;
}

// Names that needed ICU, with their shortcuts: application names repeat from one session to
// the next, so each is transliterated once. Bounded; forgets everything when full.
class ShortcutMemo {
public:
    static ShortcutMemo& shared() {
        static ShortcutMemo instance;
        return instance;
    }

    template <typename Derive> std::optional<char> lookup(const QString& name, Derive derive) {
        {
            std::lock_guard lock(mutex_);
            if (const auto it = memo_.constFind(name); it != memo_.cend()) {
                return *it;
            }
        }
        const std::optional<char> shortcut = derive();
        std::lock_guard lock(mutex_);
        if (memo_.size() >= capacity) {
            memo_.clear();
        }
        memo_.insert(name, shortcut);
        return shortcut;
    }

private:
    static constexpr qsizetype capacity = 4096;
    std::mutex mutex_;
    QHash<QString, std::optional<char>> memo_;
};

std::optional<char> deriveThroughLatin(const QString& name) {
    const icu::UnicodeString original(reinterpret_cast<const UChar*>(name.utf16()),
                                      static_cast<int32_t>(name.size()));
    icu::UnicodeString latin = LatinTransliterator::shared().toLatin(original);
    if (latin.isEmpty()) {
        latin = original;
    }
    return firstAsciiLetterOrDigit(foldForShortcut(latin));
}

// Most names start with an ASCII letter or digit, perhaps after ASCII punctuation or spaces.
// Transliteration leaves such a prefix as it is, so the prefix decides without ICU.
struct PrefixScan {
    bool needsTransliteration = false;
    std::optional<char> shortcut;
};

PrefixScan scanAsciiPrefix(const QString& name) {
    for (const QChar ch : name) {
        const char16_t c = ch.unicode();
        if (isAsciiAlnum(c)) {
            return {false, asciiUpper(c)};
        }
        if (c >= 0x80) {
            return {true, std::nullopt};
        }
    }
    return {}; // plain ASCII without a letter or digit
}

} // namespace

std::optional<char> shortcutForName(const QString& name) {
    const PrefixScan scan = scanAsciiPrefix(name);
    return scan.needsTransliteration ? deriveThroughLatin(name) : scan.shortcut;
}

AppEntry::AppEntry(AppHandle id, QString name)
    : id(id)
    , name(std::move(name)) {
    const PrefixScan scan = scanAsciiPrefix(this->name);
    shortcut = scan.needsTransliteration
                   ? ShortcutMemo::shared().lookup(
                         this->name, [this] { return deriveThroughLatin(this->name); })
                   : scan.shortcut;
}

} // namespace hopla
