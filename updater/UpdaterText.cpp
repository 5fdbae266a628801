#include "updater/UpdaterText.h"

#include <QHash>
#include <QLocale>

namespace hopla {

namespace {

struct Translation {
    const char* source;
    const char* english;
    const char* traditional;
};

// Every text the updater shows. Placeholders (%1, %2) come in the same order in all three.
constexpr Translation kTexts[] = {
    {"版本 %1（%2）", "Version %1 (%2)", "版本 %1（%2）"},
    {"开发版不自动更新", "Development builds do not update automatically", "開發版不會自動更新"},
    {"自动提示新版已开启", "Automatic update checks are on", "已開啟自動提示新版本"},
    {"自动提示新版已关闭", "Automatic update checks are off", "已關閉自動提示新版本"},
    {"正在检查更新…", "Checking for updates…", "正在檢查更新…"},
    {"已经是最新版本", "You're up to date", "目前已是最新版本"},
    {"发现新版本 %1", "Version %1 is available", "發現新版本 %1"},
    {"正在下载 %1…", "Downloading %1…", "正在下載 %1…"},
    {"%1 已下载，等待重启", "%1 downloaded; restart to install", "%1 已下載，等待重新啟動"},
    {"下载更新", "Download Update", "下載更新"},
    {"重启并更新", "Restart and Update", "重新啟動並更新"},
    {"检查更新", "Check for Updates", "檢查更新"},
    {"开发版不检查正式更新。", "Development builds do not check for production updates.",
     "開發版不檢查正式更新。"},
    {"%1 已经是最新版本。", "%1 is up to date.", "%1 已是最新版本。"},
    {"检查更新失败：%1", "Update check failed: %1", "檢查更新失敗：%1"},
    {"%1 %2 可更新", "%1 %2 is available", "%1 %2 可更新"},
    {"可以现在下载。下载并校验完成后，应用会询问是否重启完成更新。",
     "You can download it now. After verification, the app will ask to restart and finish the "
     "update.",
     "可以立即下載。完成下載與驗證後，App 會詢問是否重新啟動以完成更新。"},
    {"稍后", "Later", "稍後"},
    {"下载更新失败：%1", "Update download failed: %1", "下載更新失敗：%1"},
    {"%1 %2 已准备好", "%1 %2 is ready", "%1 %2 已準備好"},
    {"重启应用即可完成更新。", "Restart the app to finish updating.",
     "重新啟動 App 即可完成更新。"},
    {"无法启动更新：%1", "Unable to start the update: %1", "無法啟動更新：%1"},
    {"好", "OK", "好"},
    {"%1 不是允许的 HTTPS 地址", "%1 is not an allowed HTTPS address", "%1 不是允許的 HTTPS 位址"},
    {"被重定向到 %1，这不是允许的 HTTPS 地址",
     "redirected to %1, which is not an allowed HTTPS address",
     "被重新導向至 %1，這不是允許的 HTTPS 位址"},
    {"服务器提供 %1 字节，超过上限 %2", "the server offers %1 bytes, more than %2",
     "伺服器提供 %1 位元組，超過上限 %2"},
    {"回应超过 %1 字节", "the answer is larger than %1 bytes", "回應超過 %1 位元組"},
    {"服务器发送了 %1 字节，用时 %2 秒，速度太慢，已停止",
     "the server sent %1 bytes in %2 s, too slow to go on",
     "伺服器傳送了 %1 位元組，用時 %2 秒，速度太慢，已停止"},
    {"%1 秒内没有完整的回应", "no complete answer within %1 s", "%1 秒內沒有完整的回應"},
    {"服务器返回 HTTP %1", "the server answered HTTP %1", "伺服器回應 HTTP %1"},
    {"更新包已损坏，请重新下载。", "The update archive is damaged. Download it again.",
     "更新套件已損毀，請重新下載。"},
    {"更新包未通过开发者签名或公证校验。",
     "The update failed developer signature or notarization verification.",
     "更新套件未通過開發者簽章或公證驗證。"},
    {"无法替换当前应用，请确认当前用户对 Hopla 的安装文件夹有写入权限。",
     "The app could not be replaced. Make sure your account can write to Hopla's install "
     "folder.",
     "無法取代目前的 App，請確認目前使用者對 Hopla 的安裝資料夾具有寫入權限。"},
    {"更新清单版本不受支持。", "This update manifest version is not supported.",
     "不支援此更新清單版本。"},
    {"更新包不属于当前应用。", "This update does not belong to the current app.",
     "更新套件不屬於目前的 App。"},
    {"更新版本信息无效。", "The update version is invalid.", "更新版本資訊無效。"},
    {"更新下载地址无效。", "The update download address is invalid.", "更新下載位址無效。"},
    {"更新包校验值无效。", "The update checksum is invalid.", "更新套件檢查碼無效。"},
};

struct Tables {
    QHash<QString, QString> english;
    QHash<QString, QString> traditional;
};

const Tables& tables() {
    static const Tables built = [] {
        Tables t;
        for (const Translation& text : kTexts) {
            const QString source = QString::fromUtf8(text.source);
            t.english.insert(source, QString::fromUtf8(text.english));
            t.traditional.insert(source, QString::fromUtf8(text.traditional));
        }
        return t;
    }();
    return built;
}

} // namespace

UpdaterLanguage updaterLanguageFor(const QStringList& preferred, bool shipsTranslations) {
    if (!shipsTranslations) {
        return UpdaterLanguage::english;
    }
    return textLanguageOf(preferred.isEmpty() ? QStringLiteral("en") : preferred.first());
}

UpdaterLanguage currentUpdaterLanguage() {
    // Hopla ships its translations compiled in, so the user's languages decide.
    return updaterLanguageFor({firstPreferredLanguage()});
}

QString updaterCopy(const QString& source, UpdaterLanguage language) {
    switch (language) {
    case UpdaterLanguage::simplifiedChinese:
        return source;
    case UpdaterLanguage::english:
        return tables().english.value(source, source);
    case UpdaterLanguage::traditionalChinese:
        return tables().traditional.value(source, source);
    }
    return source;
}

QString updaterCopy(const QString& source) {
    return updaterCopy(source, currentUpdaterLanguage());
}

QString updaterCopy(const char* utf8Source) {
    return updaterCopy(QString::fromUtf8(utf8Source));
}

} // namespace hopla
