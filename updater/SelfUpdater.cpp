#include "updater/SelfUpdater.h"

#include "updater/UpdateInstaller.h"
#include "updater/UpdatePolicy.h"
#include "updater/UpdaterText.h"

#include <chrono>

namespace hopla {

using namespace std::chrono_literals;
using Kind = UpdateState::Kind;
using Style = UpdateMessageStyle;

SelfUpdater::SelfUpdater(UpdateConfiguration configuration, Environment environment)
    : configuration_(std::move(configuration))
    , environment_(std::move(environment))
    , automatic_(environment_.defaults.value(switchKey(), false).toBool()) {
    if (configuration_.isEnabled) {
        // What an earlier run staged is installed by now, or was abandoned.
        UpdateInstaller::removeStaged(UpdateInstaller::stagingRoot(environment_.running.path),
                                      configuration_.product);
    }
}

QString SelfUpdater::switchKey() const {
    return QStringLiteral("updater.%1.automaticallyChecksForUpdates").arg(configuration_.product);
}

QString SelfUpdater::promptKey(std::int64_t build) const {
    return QStringLiteral("updater.%1.prompt.%2").arg(configuration_.product).arg(build);
}

void SelfUpdater::setAutomaticallyChecksForUpdates(bool on) {
    if (on == automatic_) {
        return;
    }
    automatic_ = on;
    environment_.defaults.setValue(switchKey(), on);
    refreshAutomaticChecks();
    emit changed();
}

void SelfUpdater::startAutomaticChecks() {
    automaticChecksRequested_ = true;
    refreshAutomaticChecks();
}

void SelfUpdater::refreshAutomaticChecks() {
    delayedCheck_.reset();
    timer_.reset();
    if (!configuration_.isEnabled || !automaticChecksRequested_ || !automatic_) {
        return;
    }
    Scheduler& scheduler = environment_.scheduler;
    const auto check = [self = lifetime_.weak(this)] {
        if (auto* updater = self.get()) {
            updater->checkForUpdates(false);
        }
    };
    delayedCheck_ = ScheduledTask(scheduler, scheduler.after(4s, check));
    timer_ = ScheduledTask(scheduler, scheduler.repeat(21600s, 60s, check));
}

void SelfUpdater::setState(UpdateState state) {
    state_ = std::move(state);
    emit changed();
}

void SelfUpdater::checkForUpdates(bool manual) {
    if (!configuration_.isEnabled) {
        if (manual) {
            presentMessage(updaterCopy("开发版不检查正式更新。"), Style::informational);
        }
        return;
    }
    if (requestInFlight_) {
        return;
    }
    requestInFlight_ = true;
    setState({Kind::checking, {}});
    FetchLimits limits;
    limits.allowedHosts = configuration_.allowedDownloadHosts;
    limits.allowedHosts.insert(configuration_.manifestURL.host().toLower());
    environment_.fetcher.get(configuration_.manifestURL, limits,
                             [self = lifetime_.weak(this), manual](FetchResult result) {
                                 if (auto* updater = self.get()) {
                                     updater->finishCheck(manual, result);
                                 }
                             });
}

void SelfUpdater::finishCheck(bool manual, const FetchResult& result) {
    requestInFlight_ = false;
    QString error = result.error;
    std::optional<UpdateManifest> manifest;
    if (result.body) {
        manifest = UpdateManifest::decode(*result.body, &error);
        if (manifest) {
            if (const auto failure = UpdatePolicy::validate(*manifest, configuration_)) {
                error = UpdatePolicy::description(*failure);
                manifest.reset();
            }
        }
    }
    if (!manifest) {
        const QString message = updaterCopy("检查更新失败：%1").arg(error);
        setState({Kind::failed, message});
        if (manual) {
            presentMessage(message, Style::warning);
        }
        return;
    }
    if (!UpdatePolicy::isNewer(*manifest, environment_.running.build)) {
        setState({Kind::current, {}});
        if (manual) {
            presentMessage(updaterCopy("%1 已经是最新版本。").arg(configuration_.appName),
                           Style::informational);
        }
        return;
    }
    availableManifest_ = manifest;
    setState({Kind::available, manifest->version});
    const double shown =
        environment_.promptHistory.value(promptKey(manifest->build), 0.0).toDouble();
    if (manual || (automatic_ && environment_.secondsSince1970() - shown >= 86400)) {
        presentAvailable(*manifest);
    }
}

void SelfUpdater::presentAvailable(const UpdateManifest& manifest) {
    environment_.promptHistory.setValue(promptKey(manifest.build), environment_.secondsSince1970());
    environment_.promptHistory.sync();
    present({updaterCopy("%1 %2 可更新").arg(configuration_.appName, manifest.version),
             updaterCopy("可以现在下载。下载并校验完成后，应用会询问是否重启完成更新。"),
             manifest.releaseNotes, updaterCopy("下载更新"), updaterCopy("稍后")},
            Style::informational, [self = lifetime_.weak(this), manifest](bool accepted) {
                auto* updater = self.get();
                if (accepted && updater && !updater->requestInFlight_) {
                    updater->download(manifest);
                }
            });
}

void SelfUpdater::download(const UpdateManifest& manifest) {
    if (requestInFlight_) {
        return;
    }
    requestInFlight_ = true;
    setState({Kind::downloading, manifest.version});
    FetchLimits limits;
    limits.allowedHosts = configuration_.allowedDownloadHosts;
    limits.maxBytes = configuration_.limits.downloadBytes;
    limits.timeout = 0ms; // an archive may take long; the progress watch stops a stall
    limits.progressWindow = 60s;
    environment_.fetcher.get(
        QUrl(manifest.downloadURL), limits,
        [self = lifetime_.weak(this), manifest](FetchResult result) {
            auto* updater = self.get();
            if (!updater) {
                return;
            }
            updater->requestInFlight_ = false;
            QString error = result.error;
            if (result.body) {
                const QString root =
                    UpdateInstaller::stagingRoot(updater->environment_.running.path);
                UpdateInstaller::removeStaged(root, updater->configuration_.product);
                const auto prepared =
                    UpdateInstaller::prepare(*result.body, manifest, updater->configuration_, root);
                if (const auto* staged = std::get_if<QString>(&prepared)) {
                    updater->stagedApplication_ = *staged;
                    updater->setState({Kind::ready, manifest.version});
                    updater->presentReady(manifest);
                    return;
                }
                error = std::get<UpdateInstaller::Error>(prepared).description();
            }
            const QString message = updaterCopy("下载更新失败：%1").arg(error);
            updater->setState({Kind::failed, message});
            updater->presentMessage(message, Style::warning);
        });
}

void SelfUpdater::presentReady(const UpdateManifest& manifest) {
    present({updaterCopy("%1 %2 已准备好").arg(configuration_.appName, manifest.version),
             updaterCopy("重启应用即可完成更新。"), manifest.releaseNotes,
             updaterCopy("重启并更新"), updaterCopy("稍后")},
            Style::informational, [self = lifetime_.weak(this)](bool accepted) {
                if (auto* updater = self.get(); accepted && updater) {
                    updater->restartAndInstall();
                }
            });
}

void SelfUpdater::restartAndInstall() {
    if (!stagedApplication_) {
        return;
    }
    const auto failed =
        environment_.running.path.isEmpty()
            ? std::optional<UpdateInstaller::Error>(
                  UpdateInstaller::Error{UpdateInstaller::Failure::cannotReplace,
                                         {},
                                         QStringLiteral("Hopla is not running from its folder")})
            : UpdateInstaller::launchHelper(*stagedApplication_, environment_.running.path);
    if (failed) {
        const QString message = updaterCopy("无法启动更新：%1").arg(failed->description());
        setState({Kind::failed, message});
        presentMessage(message, Style::warning);
        return;
    }
    environment_.scheduler.after(150ms, [self = lifetime_.weak(this)] {
        if (auto* updater = self.get()) {
            updater->environment_.quit();
        }
    });
}

void SelfUpdater::performPrimaryAction() {
    switch (state_.kind) {
    case Kind::ready:
        restartAndInstall();
        return;
    case Kind::available:
        if (availableManifest_) {
            download(*availableManifest_);
        }
        return;
    default:
        checkForUpdates(true);
    }
}

void SelfUpdater::openUpdateHistory() {
    environment_.openURL(configuration_.changelogURL(firstPreferredLanguage()));
}

void SelfUpdater::present(const UpdatePrompt& prompt, Style style,
                          std::function<void(bool)> chosen) {
    if (!chosen) {
        chosen = [](bool) {};
    }
    const UpdatePresenter& show = presenter_ ? presenter_ : environment_.alert;
    show(prompt, style, std::move(chosen));
}

void SelfUpdater::presentMessage(const QString& message, Style style) {
    present({message, QString(), std::nullopt, updaterCopy("好"), std::nullopt}, style);
}

QString SelfUpdater::statusText() const {
    if (!configuration_.isEnabled) {
        return updaterCopy("开发版不自动更新");
    }
    switch (state_.kind) {
    case Kind::idle:
        return updaterCopy(automatic_ ? "自动提示新版已开启" : "自动提示新版已关闭");
    case Kind::checking:
        return updaterCopy("正在检查更新…");
    case Kind::current:
        return updaterCopy(automatic_ ? "已经是最新版本" : "自动提示新版已关闭");
    case Kind::available:
        return updaterCopy("发现新版本 %1").arg(state_.payload);
    case Kind::downloading:
        return updaterCopy("正在下载 %1…").arg(state_.payload);
    case Kind::ready:
        return updaterCopy("%1 已下载，等待重启").arg(state_.payload);
    case Kind::failed:
        return state_.payload;
    }
    return {};
}

QString SelfUpdater::actionTitle() const {
    switch (state_.kind) {
    case Kind::ready:
        return updaterCopy("重启并更新");
    case Kind::available:
        return updaterCopy("下载更新");
    default:
        return updaterCopy("检查更新");
    }
}

bool SelfUpdater::actionDisabled() const {
    return state_.kind == Kind::checking || state_.kind == Kind::downloading;
}

} // namespace hopla
