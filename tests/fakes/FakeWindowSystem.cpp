#include "tests/fakes/FakeWindowSystem.h"

namespace hopla::fake {

namespace {

WindowRef refFor(std::size_t index) {
    return static_cast<WindowRef>(index);
}
std::size_t indexOf(WindowRef ref) {
    return static_cast<std::size_t>(ref);
}

} // namespace

class FakeApplicationWindows final : public ApplicationWindows {
public:
    FakeApplicationWindows(FakeWindowSystem& system, AppHandle application)
        : system_(system)
        , app_(application) {}

    std::optional<std::vector<WindowRef>> windows() override {
        std::function<void()> hook;
        {
            std::lock_guard lock(system_.mutex_);
            hook = system_.onListRead_;
        }
        if (hook) {
            hook();
        }
        std::lock_guard lock(system_.mutex_);
        const auto& list = system_.lists_[app_].windows;
        if (!list) {
            return std::nullopt;
        }
        std::vector<WindowRef> refs;
        for (std::size_t i = 0; i < list->size(); ++i) {
            refs.push_back(refFor(i));
        }
        return refs;
    }

    std::optional<WindowRole> role(WindowRef window) override {
        std::lock_guard lock(system_.mutex_);
        const auto* w = find(window);
        return w ? w->role : std::nullopt;
    }

    std::optional<bool> isMinimized(WindowRef window) override {
        std::lock_guard lock(system_.mutex_);
        ++system_.minimizedReads_;
        const auto* w = find(window);
        return w ? w->minimized : std::nullopt;
    }

    std::optional<WindowRef> focusedWindow() override {
        std::lock_guard lock(system_.mutex_);
        const auto& focused = system_.lists_[app_].focused;
        return focused ? std::optional(refFor(*focused)) : std::nullopt;
    }

    std::optional<WindowRef> mainWindow() override {
        std::lock_guard lock(system_.mutex_);
        const auto& main = system_.lists_[app_].main;
        return main ? std::optional(refFor(*main)) : std::nullopt;
    }

    bool unminimize(WindowRef window, std::chrono::milliseconds) override {
        std::lock_guard lock(system_.mutex_);
        auto* w = find(window);
        if (!w || w->refusesUnminimize) {
            return false;
        }
        w->minimized = false;
        system_.unminimized_.emplace_back(app_, indexOf(window));
        return true;
    }

    void raise(WindowRef window) override {
        std::lock_guard lock(system_.mutex_);
        system_.raised_.emplace_back(app_, indexOf(window));
    }

    bool activate(WindowRef window) override {
        std::lock_guard lock(system_.mutex_);
        auto* w = find(window);
        if (!w) {
            return false;
        }
        w->minimized = false;
        system_.activated_.emplace_back(app_, indexOf(window));
        return true;
    }

private:
    FakeWindow* find(WindowRef window) {
        auto& list = system_.lists_[app_].windows;
        if (!list || indexOf(window) >= list->size()) {
            return nullptr;
        }
        return &(*list)[indexOf(window)];
    }

    FakeWindowSystem& system_;
    AppHandle app_;
};

void FakeWindowSystem::script(AppHandle application, FakeWindowList windows) {
    std::lock_guard lock(mutex_);
    lists_[application] = std::move(windows);
}

void FakeWindowSystem::onListRead(std::function<void()> hook) {
    std::lock_guard lock(mutex_);
    onListRead_ = std::move(hook);
}

std::vector<std::pair<AppHandle, std::size_t>> FakeWindowSystem::unminimized() const {
    std::lock_guard lock(mutex_);
    return unminimized_;
}

std::vector<std::pair<AppHandle, std::size_t>> FakeWindowSystem::raised() const {
    std::lock_guard lock(mutex_);
    return raised_;
}

std::vector<std::pair<AppHandle, std::size_t>> FakeWindowSystem::activated() const {
    std::lock_guard lock(mutex_);
    return activated_;
}

int FakeWindowSystem::minimizedReads() const {
    std::lock_guard lock(mutex_);
    return minimizedReads_;
}

std::unique_ptr<ApplicationWindows> FakeWindowSystem::windowsOf(AppHandle application) {
    std::lock_guard lock(mutex_);
    lists_.try_emplace(application, FakeWindowList{std::nullopt, {}, {}});
    return std::make_unique<FakeApplicationWindows>(*this, application);
}

} // namespace hopla::fake
