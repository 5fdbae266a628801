#pragma once

#include "platform/ObserverList.h"
#include "platform/Workspace.h"

#include <map>

namespace hopla::fake {

class FakeWorkspace;

// A scriptable running application. Tests set its fields directly; it records how often it
// was asked to activate or unhide.
class FakeApplication final : public RunningApplication {
public:
    FakeApplication(FakeWorkspace& workspace, ProcessId id, QString name);

    // Scripted state.
    std::optional<QString> name;
    std::optional<QString> bundle;
    std::optional<QString> executable;
    std::optional<QString> identifier;
    std::optional<WallClockTime> launched;
    ActivationPolicy policy = ActivationPolicy::regular;
    bool terminated = false;
    bool hidden = false;
    QImage ownIcon;
    // How the application answers activate(): refused, or accepted and frontmost after this
    // many requests (1: at once; 0: never, it stays behind whatever it says).
    bool refusesActivation = false;
    int requestsUntilFrontmost = 1;

    // What it was asked.
    int activateCalls = 0;
    int unhideCalls = 0;

    ProcessId processId() const override { return id_; }
    std::optional<QString> localizedName() const override { return name; }
    std::optional<QString> bundleLocation() const override { return bundle; }
    std::optional<QString> executableLocation() const override { return executable; }
    std::optional<QString> bundleIdentifier() const override { return identifier; }
    std::optional<WallClockTime> launchDate() const override { return launched; }
    ActivationPolicy activationPolicy() const override { return policy; }
    bool isTerminated() const override { return terminated; }
    bool isHidden() const override { return hidden; }
    bool isActive() const override;
    QImage icon() const override { return ownIcon; }
    void unhide() override;
    bool activate() override;

private:
    FakeWorkspace& workspace_;
    ProcessId id_;
};

// An in-memory desktop. Applications are listed in the order they were added.
class FakeWorkspace final : public Workspace {
public:
    explicit FakeWorkspace(ProcessId currentProcess = 1);

    std::shared_ptr<FakeApplication> add(ProcessId id, QString name);
    std::shared_ptr<FakeApplication> fake(ProcessId id) const;

    // Makes the application frontmost (or nobody, with 0) and tells observers it was activated.
    void bringToFront(ProcessId id);
    // Marks the application terminated, removes it from the list and tells observers.
    void terminate(ProcessId id);
    void resignSession();
    void changeSpace();

    // How openApplication answers: at once (the default), or kept until answerOpen().
    bool holdOpenAnswers = false;
    // The error an open answers with; nothing means success.
    std::optional<QString> openError;
    // Whether a successful open brings the application at that location to the front.
    bool openActivates = true;
    std::vector<QString> openRequests;
    // What stackingOrder() answers, topmost first.
    std::vector<ProcessId> stacking;
    // Answers the oldest held open request.
    void answerOpen(std::optional<QString> error = std::nullopt);
    std::size_t heldOpens() const { return held_.size(); }
    std::size_t observerCount() const { return observers_.size(); }

    std::vector<RunningApplicationPtr> runningApplications() override;
    RunningApplicationPtr frontmostApplication() override;
    RunningApplicationPtr application(ProcessId id) override;
    ProcessId currentProcessId() const override { return currentProcess_; }
    std::vector<ProcessId> stackingOrder() override { return stacking; }
    void openApplication(const QString& bundleLocation, std::optional<ProcessId> running,
                         OpenAnswer answer) override;
    [[nodiscard]] Subscription observe(WorkspaceObserver observer) override;

private:
    friend class FakeApplication;
    void finishOpen(const QString& location, const OpenAnswer& answer,
                    const std::optional<QString>& error);

    ProcessId currentProcess_;
    ProcessId frontmost_ = 0;
    std::vector<std::shared_ptr<FakeApplication>> apps_;
    std::vector<std::pair<QString, OpenAnswer>> held_;
    ObserverList<WorkspaceObserver> observers_;
};

} // namespace hopla::fake
