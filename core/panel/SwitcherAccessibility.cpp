#include "core/panel/SwitcherAccessibility.h"

#include "core/panel/SwitcherView.h"

#include <QAccessibleWidget>

#include <vector>

namespace hopla {

namespace {

class TileAccessible final : public QAccessibleInterface {
public:
    TileAccessible(SwitcherView* view, int index)
        : view_(view)
        , index_(index) {}

    bool isValid() const override { return view_ && index_ < childCountOf(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(view_);
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text t) const override {
        return t == QAccessible::Name && view_ ? view_->tileLabel(index_) : QString();
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override {
        return view_ ? QRect(view_->mapToGlobal(view_->tileRect(index_).topLeft()),
                             view_->tileRect(index_).size())
                     : QRect();
    }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessible::State state() const override {
        QAccessible::State s;
        s.selectable = true;
        s.selected = view_ && view_->isTileSelected(index_);
        return s;
    }

private:
    int childCountOf() const { return QAccessible::queryAccessibleInterface(view_)->childCount(); }
    SwitcherView* view_;
    int index_;
};

class SwitcherViewAccessible final : public QAccessibleWidget {
public:
    explicit SwitcherViewAccessible(SwitcherView* view)
        : QAccessibleWidget(view, QAccessible::List) {}
    ~SwitcherViewAccessible() override {
        for (const QAccessible::Id id : tiles_) {
            QAccessible::deleteAccessibleInterface(id);
        }
    }

    int childCount() const override {
        int count = 0;
        while (!view()->tileLabel(count).isEmpty()) {
            ++count;
        }
        return count;
    }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) {
            return nullptr;
        }
        while (static_cast<int>(tiles_.size()) <= index) {
            // The accessibility cache owns registered interfaces; this object deletes them.
            auto* tile = new TileAccessible(view(), static_cast<int>(tiles_.size()));
            tiles_.push_back(QAccessible::registerAccessibleInterface(tile));
        }
        return QAccessible::accessibleInterface(tiles_[static_cast<std::size_t>(index)]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        for (std::size_t i = 0; i < tiles_.size(); ++i) {
            if (QAccessible::accessibleInterface(tiles_[i]) == child) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }

private:
    SwitcherView* view() const { return static_cast<SwitcherView*>(widget()); }
    mutable std::vector<QAccessible::Id> tiles_;
};

QAccessibleInterface* factory(const QString& className, QObject* object) {
    if (className == QLatin1String("hopla::SwitcherView") && object && object->isWidgetType()) {
        return new SwitcherViewAccessible(static_cast<SwitcherView*>(object));
    }
    return nullptr;
}

} // namespace

void installSwitcherAccessibility() {
    static const bool installed = [] {
        QAccessible::installFactory(factory);
        return true;
    }();
    (void)installed;
}

} // namespace hopla
