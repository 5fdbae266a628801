#pragma once

#include "platform/Lifetime.h"
#include "platform/Scheduler.h"
#include "updater/UpdateConfiguration.h"
#include "updater/UpdateFetcher.h"
#include "updater/UpdateManifest.h"

#include <QObject>
#include <QSettings>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace hopla {

// Where the updater stands, with the version or the message that goes with it.
struct UpdateState {
    enum class Kind { idle, checking, current, available, downloading, ready, failed };
    Kind kind = Kind::idle;
    QString payload; // the version (available, downloading, ready) or the message (failed)

    friend bool operator==(const UpdateState&, const UpdateState&) = default;
};

// What the updater asks or tells the user.
struct UpdatePrompt {
    QString title;
    QString detail;
    std::optional<QString> releaseNotes; // Markdown
    QString primary;
    std::optional<QString> secondary;
};

enum class UpdateMessageStyle { informational, warning };

// Shows a prompt and calls back with true when the primary button was chosen.
using UpdatePresenter =
    std::function<void(const UpdatePrompt&, UpdateMessageStyle, std::function<void(bool)>)>;

// The one object through which Hopla updates itself: automatic and manual checks of the
// manifest, the prompts, the download and its verification, and the hand-over to the
// update helper. Main thread only; announces every change of its state or of the
// automatic-check switch through changed().
class SelfUpdater : public QObject {
    Q_OBJECT
public:
    struct Environment {
        Scheduler& scheduler;
        UpdateFetcher& fetcher;
        QSettings& defaults;      // the automatic-check switch
        QSettings& promptHistory; // when each build was last announced
        UpdatePresenter alert;    // the modal dialog
        std::function<void(const QUrl&)> openURL;
        std::function<void()> quit;
        AppBundle running; // the installed Hopla (its build, and its folder to replace)
        std::function<double()> secondsSince1970;
    };

    SelfUpdater(UpdateConfiguration configuration, Environment environment);

    const UpdateState& state() const { return state_; }
    const UpdateConfiguration& configuration() const { return configuration_; }
    bool automaticallyChecksForUpdates() const { return automatic_; }
    void setAutomaticallyChecksForUpdates(bool on);
    // Replaces the modal dialog, for every prompt and message from now on.
    void setPromptPresenter(UpdatePresenter presenter) { presenter_ = std::move(presenter); }

    // Called once after launch: automatic checks run from now on while the switch is on.
    void startAutomaticChecks();
    void checkForUpdates(bool manual);
    // The settings' button: restart when ready, download when available, else check.
    void performPrimaryAction();
    void openUpdateHistory();

    QString statusText() const;
    QString actionTitle() const;
    bool actionDisabled() const;

signals:
    void changed();

private:
    void refreshAutomaticChecks();
    void setState(UpdateState state);
    void finishCheck(bool manual, const FetchResult& result);
    void presentAvailable(const UpdateManifest& manifest);
    void download(const UpdateManifest& manifest);
    void presentReady(const UpdateManifest& manifest);
    void restartAndInstall();
    void present(const UpdatePrompt& prompt, UpdateMessageStyle style,
                 std::function<void(bool)> chosen = {});
    void presentMessage(const QString& message, UpdateMessageStyle style);
    QString promptKey(std::int64_t build) const;
    QString switchKey() const;

    UpdateConfiguration configuration_;
    Environment environment_;
    UpdatePresenter presenter_;
    UpdateState state_;
    bool automatic_ = false;
    bool automaticChecksRequested_ = false;
    bool requestInFlight_ = false;
    std::optional<UpdateManifest> availableManifest_;
    std::optional<QString> stagedApplication_;
    ScheduledTask delayedCheck_;
    ScheduledTask timer_;
    Lifetime lifetime_; // last: continuations end quietly once the updater is gone
};

} // namespace hopla
