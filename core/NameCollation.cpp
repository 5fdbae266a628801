#include "core/NameCollation.h"

#include <unicode/coll.h>
#include <unicode/unistr.h>

#include <memory>

namespace hopla {

namespace {

// Collators are cheap to clone and not meant to be shared between threads: each thread
// clones the prototype once. The locale is explicit so the order does not depend on the
// environment (CI runs in the C locale).
std::unique_ptr<icu::Collator> makeCollator() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> collator(
        icu::Collator::createInstance(icu::Locale("en_US"), status));
    if (U_FAILURE(status) || !collator) {
        return nullptr;
    }
    collator->setStrength(icu::Collator::SECONDARY);
    collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    return U_SUCCESS(status) ? std::move(collator) : nullptr;
}

const icu::Collator* threadCollator() {
    thread_local const std::unique_ptr<icu::Collator> collator = makeCollator();
    return collator.get();
}

icu::UnicodeString toIcu(const QString& s) {
    return icu::UnicodeString(reinterpret_cast<const UChar*>(s.utf16()),
                              static_cast<int32_t>(s.size()));
}

} // namespace

int compareNamesNaturally(const QString& a, const QString& b) {
    const icu::Collator* collator = threadCollator();
    if (!collator) { // ICU data missing: fall back to a plain case-insensitive order
        return QString::compare(a, b, Qt::CaseInsensitive);
    }
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult result = collator->compare(toIcu(a), toIcu(b), status);
    if (U_FAILURE(status)) {
        return QString::compare(a, b, Qt::CaseInsensitive);
    }
    return static_cast<int>(result);
}

QByteArray naturalSortKey(const QString& name) {
    const icu::Collator* collator = threadCollator();
    if (!collator) {
        return name.toCaseFolded().toUtf8();
    }
    const auto* text = reinterpret_cast<const UChar*>(name.utf16());
    const auto length = static_cast<int32_t>(name.size());
    QByteArray key(64, Qt::Uninitialized);
    int32_t needed = collator->getSortKey(text, length, reinterpret_cast<uint8_t*>(key.data()),
                                          static_cast<int32_t>(key.size()));
    if (needed > key.size()) {
        key.resize(needed);
        needed = collator->getSortKey(text, length, reinterpret_cast<uint8_t*>(key.data()), needed);
    }
    key.resize(needed > 0 ? needed - 1 : 0); // drop the terminating zero
    return key;
}

} // namespace hopla
