// libFuzzer entry points, one program per target (chosen by HOPLA_FUZZ_TARGET when built).
// Each feeds the raw bytes to one decoder of outside input and checks what must hold for
// any input beyond not crashing: a decoded value encodes and decodes to itself, sizes stay
// within what the input can carry.
#include "app/SyncedSettings.h"
#include "platform/x11/CompoundText.h"
#include "platform/x11/WindowIcon.h"
#include "updater/ReleaseNotes.h"
#include "updater/UpdateConfiguration.h"
#include "updater/UpdateManifest.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTextDocument>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

QByteArray bytes(const std::uint8_t* data, std::size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

[[noreturn, maybe_unused]] void broken(const char* what) {
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // Markdown goes through Qt's text document, which wants a GUI application.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input = bytes(data, size);
#if defined(HOPLA_FUZZ_MANIFEST)
    if (const auto manifest = hopla::UpdateManifest::decode(input)) {
        if (hopla::UpdateManifest::decode(manifest->encode()) != manifest) {
            broken("a decoded manifest does not survive encoding");
        }
    }
#elif defined(HOPLA_FUZZ_CONFIGURATION)
    const auto decoded = hopla::SyncedSettings::decode(input);
    if (const auto* configuration = std::get_if<hopla::SyncedSettings>(&decoded)) {
        const auto again = hopla::SyncedSettings::decode(configuration->encoded());
        if (!std::holds_alternative<hopla::SyncedSettings>(again)) {
            broken("a decoded configuration does not survive encoding");
        }
    }
#elif defined(HOPLA_FUZZ_RELEASE_NOTES)
    const auto runs = hopla::nativeReleaseNotes(QString::fromUtf8(input));
    qsizetype shown = 0;
    for (const auto& run : runs) {
        shown += run.text.size();
    }
    if (shown > 4 * input.size() + 16) {
        broken("release notes grew far beyond their text");
    }
    hopla::releaseNotesDocument(runs);
#elif defined(HOPLA_FUZZ_DESKTOP_ENTRY)
    static QTemporaryDir folder;
    QFile entry(folder.filePath(QStringLiteral("hopla.desktop")));
    if (entry.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        entry.write(input);
        entry.close();
        if (const auto bundle = hopla::AppBundle::open(folder.path())) {
            (void)bundle->executable();
        }
    }
#elif defined(HOPLA_FUZZ_WM_ICON)
    std::vector<std::uint32_t> words(size / 4);
    if (!words.empty()) {
        std::memcpy(words.data(), data, words.size() * 4);
    }
    const QImage icon = hopla::x11::imageFromWmIcon(words, 64);
    if (!icon.isNull() && static_cast<std::size_t>(icon.width()) * icon.height() > words.size()) {
        broken("an icon larger than the pixels it came with");
    }
#elif defined(HOPLA_FUZZ_COMPOUND_TEXT)
    const QString text = hopla::x11::decodeCompoundText(input);
    if (text.size() > input.size()) {
        broken("more characters than bytes");
    }
#else
#error "HOPLA_FUZZ_<TARGET> names the target"
#endif
    return 0;
}
