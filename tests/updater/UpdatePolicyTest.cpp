// The updater's pure parts: its language and texts, release notes, the manifest and the
// policy that decides whether a manifest may be acted on.
#include "updater/UpdatePolicy.h"
#include "updater/ReleaseNotes.h"
#include "updater/UpdaterText.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QMessageBox>
#include <QTextBrowser>

#include <gtest/gtest.h>

// Stands in for the browser: remembers the links it was asked to open.
class UrlRecorder : public QObject {
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls.append(url); }
};

namespace {

using namespace hopla;
using Failure = UpdatePolicy::Failure;

TEST(UpdaterText, LanguageFollowsTheFirstPreferredLanguage) {
    const std::pair<QStringList, UpdaterLanguage> cases[] = {
        {{"zh-Hant-TW"}, UpdaterLanguage::traditionalChinese},
        {{"zh-HK"}, UpdaterLanguage::traditionalChinese},
        {{"zh-MO", "en"}, UpdaterLanguage::traditionalChinese},
        {{"zh-TW"}, UpdaterLanguage::traditionalChinese},
        {{"zh-Hans-CN"}, UpdaterLanguage::simplifiedChinese},
        {{"zh"}, UpdaterLanguage::simplifiedChinese},
        {{"zh_TW"}, UpdaterLanguage::simplifiedChinese}, // tags are written with "-"
        {{"ja", "zh-CN"}, UpdaterLanguage::english},
        {{"en-GB"}, UpdaterLanguage::english},
        {{}, UpdaterLanguage::english},
    };
    for (const auto& [preferred, language] : cases) {
        EXPECT_EQ(updaterLanguageFor(preferred), language) << preferred.join(',').toStdString();
    }
    EXPECT_EQ(updaterLanguageFor({"zh-CN"}, false), UpdaterLanguage::english);

    const QString unknown = QString::fromUtf8("没有这句");
    for (auto language : {UpdaterLanguage::english, UpdaterLanguage::simplifiedChinese,
                          UpdaterLanguage::traditionalChinese}) {
        EXPECT_EQ(updaterCopy(unknown, language), unknown);
    }
    const QString pattern = QString::fromUtf8("%1 %2 可更新");
    EXPECT_EQ(updaterCopy(pattern, UpdaterLanguage::english), "%1 %2 is available");
    EXPECT_EQ(updaterCopy(pattern, UpdaterLanguage::simplifiedChinese), pattern);
}

// The runs as text, each followed by its style: size, then b(old), i(talic), s(truck),
// m(onospaced) and any link ("Hopla{21b}" is "Hopla" in bold at 21 points).
QString styled(const char* markdown) {
    QString text;
    for (const auto& run : nativeReleaseNotes(QString::fromUtf8(markdown))) {
        text += run.text + "{" + QString::number(run.pointSize) + (run.bold ? "b" : "") +
                (run.italic ? "i" : "") + (run.strikethrough ? "s" : "") +
                (run.monospaced ? "m" : "") + (run.link.isEmpty() ? "" : " " + run.link) + "}";
    }
    return text;
}

TEST(ReleaseNotes, BlocksGetTheirSizesPrefixesAndOneLineBreakBetweenAndInlineStylesTheirWords) {
    const std::pair<const char*, const char*> cases[] = {
        {"# Hopla 1.2\n\nFaster switching.", "Hopla 1.2{21b}\n{13}Faster switching.{13}"},
        {"###### six", "six{11b}"},
        {"- one\n- two", "• one{13}\n{13}• two{13}"},
        {"1. one\n2. two", "1. one{13}\n{13}2. two{13}"},
        {"> quoted", "│ quoted{13}"},
        {"```\nint a;\nint b;\n```", "int a;{12m}\n{13}int b;{12m}"},
        {"Now **bold**, *slanted*, ~~gone~~, `code` and [a link](https://x.test/).",
         "Now {13}bold{13b}, {13}slanted{13i}, {13}gone{13s}, {13}code{12m} and {13}"
         "a link{13 https://x.test/}.{13}"},
    };
    for (const auto& [markdown, runs] : cases) {
        EXPECT_EQ(styled(markdown).toStdString(), runs) << markdown;
    }
}

TEST(ReleaseNotes, ThePromptShowsThemAboveItsButtonsOnlyWhenThereAreSome) {
    QMessageBox blank;
    addReleaseNotes(blank, QStringLiteral(" \n\t"));
    addReleaseNotes(blank, std::nullopt);
    EXPECT_EQ(blank.findChild<QTextBrowser*>(), nullptr);

    QMessageBox prompt;
    prompt.setText("Hopla 1.4.2");
    prompt.addButton("Later", QMessageBox::RejectRole);
    addReleaseNotes(prompt, QStringLiteral("# New\n\n[more](https://x.test/)"));
    prompt.show();
    const auto* notes = prompt.findChild<QTextBrowser*>();
    ASSERT_NE(notes, nullptr);
    // Only web links open, in the browser; a note's file: link opens nothing.
    UrlRecorder opened;
    QDesktopServices::setUrlHandler("https", &opened, "open");
    QDesktopServices::setUrlHandler("file", &opened, "open");
    for (const char* link : {"https://x.test/", "file:///etc/passwd"}) {
        emit const_cast<QTextBrowser*>(notes)->anchorClicked(QUrl(link));
    }
    QDesktopServices::unsetUrlHandler("https");
    QDesktopServices::unsetUrlHandler("file");
    EXPECT_EQ(opened.urls, QList<QUrl>{QUrl("https://x.test/")});
    EXPECT_TRUE(notes->toPlainText().startsWith("New\nmore"));
    const auto* buttons = prompt.findChild<QDialogButtonBox*>();
    ASSERT_NE(buttons, nullptr);
    EXPECT_LE(notes->geometry().bottom(), buttons->geometry().top());
}

UpdateConfiguration configuration() {
    return {.desktopId = "app.hopla.Hopla",
            .manifestURL = QUrl("https://get.hopla.test/downloads/latest.json"),
            .allowedDownloadHosts = {"get.hopla.test", "cdn.hopla.test", "mirror.hopla.test"},
            .isEnabled = true};
}

UpdateManifest manifest() {
    return {.schemaVersion = 1,
            .product = "hopla",
            .version = "1.4.2",
            .build = 58,
            .downloadURL = "https://cdn.hopla.test/Hopla-1.4.2.zip",
            .sha256 = QString(64, QLatin1Char('a')),
            .releaseNotes = std::nullopt};
}

TEST(UpdateManifest, DecodesTheSevenKeysAndRefusesWrongTypes) {
    const QByteArray json = R"({"schemaVersion":1,"product":"hopla","version":"1.4.2","build":58,
        "downloadURL":"https://cdn.hopla.test/Hopla-1.4.2.zip","sha256":")" +
                            QByteArray(64, 'a') + R"(","extra":[1,2]})";
    const auto decoded = UpdateManifest::decode(json);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, manifest());
    EXPECT_FALSE(decoded->encode().contains("releaseNotes"));
    auto withNotes = manifest();
    withNotes.releaseNotes = "# New";
    EXPECT_EQ(UpdateManifest::decode(withNotes.encode()), withNotes);

    QString error;
    for (const QByteArray& bad :
         {QByteArray(R"({"schemaVersion":1})"), QByteArray("[]"), QByteArray("{"),
          QByteArray(json).replace("\"build\":58", "\"build\":\"58\""),
          QByteArray(json).replace("\"build\":58", "\"build\":58.5"),
          QByteArray(json).replace("\"extra\"", "\"releaseNotes\"")}) {
        EXPECT_FALSE(UpdateManifest::decode(bad, &error)) << bad.toStdString();
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST(UpdatePolicy, TheFirstFailingCheckWins) {
    const auto c = configuration();
    EXPECT_EQ(UpdatePolicy::validate(manifest(), c), std::nullopt);
    const auto with = [](auto change) {
        auto m = manifest();
        change(m);
        return m;
    };
    const std::pair<UpdateManifest, Failure> cases[] = {
        {with([](auto& m) { m.schemaVersion = 2, m.product = "x", m.build = 0; }),
         Failure::invalidSchema},
        {with([](auto& m) { m.product = "Hopla"; }), Failure::wrongProduct},
        {with([](auto& m) { m.version = ""; }), Failure::invalidVersion},
        {with([](auto& m) { m.build = 0; }), Failure::invalidVersion},
        {with([](auto& m) { m.downloadURL = "http://cdn.hopla.test/a.zip"; }),
         Failure::invalidDownloadURL},
        {with([](auto& m) { m.downloadURL = "HTTPS://cdn.hopla.test/a.zip"; }),
         Failure::invalidDownloadURL},
        {with([](auto& m) { m.downloadURL = "https://evil.test/a.zip"; }),
         Failure::invalidDownloadURL},
        {with([](auto& m) { m.downloadURL = "https:///a.zip"; }), Failure::invalidDownloadURL},
        {with([](auto& m) { m.sha256.chop(1); }), Failure::invalidChecksum},
        {with([](auto& m) { m.sha256 += 'a'; }), Failure::invalidChecksum},
        {with([](auto& m) { m.sha256[3] = 'g'; }), Failure::invalidChecksum},
    };
    for (const auto& [m, failure] : cases) {
        EXPECT_EQ(UpdatePolicy::validate(m, c), failure) << m.encode().toStdString();
    }
    EXPECT_EQ(UpdatePolicy::validate(with([](auto& m) {
                                         m.build = 1;
                                         m.downloadURL = "https://CDN.Hopla.test/a.zip";
                                         m.sha256 = QString(64, QLatin1Char('F'));
                                     }),
                                     c),
              std::nullopt);

    EXPECT_FALSE(UpdatePolicy::isNewer(manifest(), 58));
    EXPECT_TRUE(UpdatePolicy::isNewer(manifest(), 57));
    EXPECT_TRUE(UpdatePolicy::isNewer(manifest(), std::optional<QString>("1.2")));
    EXPECT_FALSE(UpdatePolicy::isNewer(manifest(), std::optional<QString>("58")));
    EXPECT_TRUE(UpdatePolicy::isNewer(manifest(), std::nullopt));
}

TEST(UpdateConfiguration, ChangelogPagesAndTheVersionLine) {
    const auto c = configuration();
    EXPECT_EQ(c.changelogURL("zh_Hant_TW").toString(), "https://get.hopla.test/zh-tw/changelog/");
    EXPECT_EQ(c.changelogURL("zh-HK").toString(), "https://get.hopla.test/zh-tw/changelog/");
    EXPECT_EQ(c.changelogURL("zh-Hans-CN").toString(), "https://get.hopla.test/zh/changelog/");
    EXPECT_EQ(c.changelogURL("en-US").toString(), "https://get.hopla.test/changelog/");
    EXPECT_EQ(c.changelogURL("fr").toString(), "https://get.hopla.test/changelog/");

    const QString line = AppVersion::displayText(
        {.path = {}, .identifier = {}, .version = std::nullopt, .build = "57"});
    EXPECT_TRUE(line.contains(QChar(0x2014)) && line.contains(QStringLiteral("57")))
        << line.toStdString();
}

} // namespace

#include "UpdatePolicyTest.moc"
