#include "app/SettingsView.h"

#include "app/SettingsWidgets.h"
#include "appearance/Controls.h"
#include "updater/UpdateConfiguration.h"

#include <QButtonGroup>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

namespace hopla {

namespace {

const QColor readyGreen(52, 168, 83);

// A filled circle, with a white tick or "!" on it or nothing (the status dot). Painted, so
// it never depends on a font having the glyph.
class StatusMark : public QWidget {
public:
    enum class Sign { none, tick, exclamation };
    StatusMark(int side, QWidget* parent)
        : QWidget(parent) {
        setFixedSize(side, side);
    }
    Sign sign = Sign::none;
    QColor color;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawEllipse(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
        painter.setPen(QPen(Qt::white, 2.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        if (sign == Sign::tick) {
            painter.drawPolyline(QPolygonF{{7.5, 13.5}, {11.5, 17.5}, {18.5, 9.5}});
        } else if (sign == Sign::exclamation) {
            painter.drawLine(QPointF(13, 7.5), QPointF(13, 14.5));
            painter.drawPoint(QPointF(13, 18.5));
        }
    }
};

// A key cap of the shortcut guide.
QLabel* keyCap(const QString& caption, QWidget* parent) {
    auto* label = textLabel(caption, 12, QFont::Medium, false, parent);
    label->setWordWrap(false);
    label->setAlignment(Qt::AlignCenter);
    label->setMinimumWidth(25);
    label->setContentsMargins(7, 3, 7, 3);
    label->setStyleSheet(QStringLiteral("border: 1px solid palette(mid); border-radius: 6px;"));
    return label;
}

} // namespace

namespace {

// Where the user lets go of a window manager's binding that Hopla cannot change itself.
QString windowManagerAdvice(const WindowManagerConflict& c) {
    const QString wm = c.windowManager.toLower();
    if (c.takesModifier) {
        if (wm.startsWith(QLatin1String("icewm"))) {
            return localized("IceWM 的 Win95Keys 选项让它独占 Super 键：在 ~/.icewm/preferences "
                             "中写入 Win95Keys=0 并重启 IceWM，或者在下方改用 Alt+Tab。");
        }
        return localized("按下的 %1 没有到达 Hopla：请在 %2 的设置中取消它对这个修饰键的占用，"
                         "或者在下方换用另一个快捷键。")
            .arg(c.combination, c.windowManager);
    }
    if (c.releasable && (wm == QLatin1String("gnome") || wm == QLatin1String("cinnamon") ||
                         wm == QLatin1String("mate"))) {
        return localized("%1 自己的切换器占用了 %2。点“释放快捷键”，Hopla 会在 %1 的键盘快捷键"
                         "设置里移除 %2：%1 的 %2 切换器不再响应，Alt+Tab 保持不变。")
            .arg(c.windowManager, c.combination);
    }
    if (c.releasable && !c.line.isEmpty()) {
        return localized("%1 在这一行绑定了 %2：\n%3\n点“释放快捷键”，Hopla 会把这一行改为注释"
                         "（原文件备份在旁边，名为 .hopla-backup），并让 %1 重新载入。")
            .arg(c.windowManager, c.combination, c.line);
    }
    if (c.releasable) {
        return localized("这是窗口管理器自己的快捷键。点“释放快捷键”，Hopla 会在 %1 "
                         "的键盘快捷键设置里移除它。")
            .arg(c.windowManager);
    }
    if (wm == QLatin1String("openbox")) {
        return localized("这是窗口管理器自己的快捷键：在 ~/.config/openbox/rc.xml 的 <keyboard> "
                         "中删除 %1 的 <keybind>，再运行 openbox --reconfigure；或者在下方换用"
                         "另一个快捷键。")
            .arg(c.combination);
    }
    return localized("这是窗口管理器自己的快捷键：请在 %1 的键盘快捷键设置中移除 %2，"
                     "或者在下方换用另一个快捷键。")
        .arg(c.windowManager, c.combination);
}

} // namespace

PermissionCardText permissionCardText(const Preferences& p) {
    PermissionCardText text;
    const QString modifier = displayName(p.switchModifier());
    text.ready = p.displayReady && p.listening && !p.conflictingApp && !p.windowManagerConflict;
    if (p.conflictingApp) {
        text.title = localized("另一个切换器正在运行");
    } else if (p.windowManagerConflict) {
        const auto& c = *p.windowManagerConflict;
        text.title = c.takesModifier
                         ? localized("%1 拦截了 %2 键").arg(c.windowManager, modifier)
                         : localized("%1 占用了 %2").arg(c.windowManager, c.combination);
    } else if (text.ready) {
        text.title = localized("准备就绪");
    } else if (!p.displayReady) {
        text.title = localized("还差一步：这个桌面还不能切换");
    } else {
        text.title = localized("切换已暂停");
    }
    if (p.conflictingApp) {
        text.subtitle = localized("请先退出 %1，避免快捷键被重复处理。").arg(*p.conflictingApp);
    } else if (p.windowManagerConflict) {
        text.subtitle = windowManagerAdvice(*p.windowManagerConflict);
    } else if (p.runtimeError) {
        text.subtitle = localized(p.runtimeError->toUtf8().constData());
    } else if (text.ready) {
        text.subtitle = localized("按下 %1 Tab，试试你的第一个字母。").arg(modifier);
    } else if (p.displayReady) {
        text.subtitle = localized("开启应用切换后，即可使用快捷键。");
    } else {
        text.subtitle = localized("授权后即可接管快捷键，不记录文字输入。");
    }
    text.offersRelease = p.windowManagerConflict && p.windowManagerConflict->releasable &&
                         !p.windowManagerConflict->takesModifier && !p.conflictingApp;
    return text;
}

SettingsView::SettingsView(Preferences& preferences, AccentAppearance& appearance,
                           SelfUpdater& updater, Actions actions, QWidget* parent)
    : QWidget(parent)
    , preferences_(preferences)
    , appearance_(appearance)
    , updater_(updater)
    , actions_(std::move(actions)) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(28, 20, 28, 20);
    column->setSpacing(22);
    column->addWidget(header());
    column->addWidget(accentCard());
    column->addWidget(permissionCard());
    column->addWidget(settingsCard());
    column->addWidget(shortcutCard());
    column->addStretch();

    scroll_ = new QScrollArea(this);
    scroll_->setWidget(content);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto* page = new QVBoxLayout(this);
    page->setContentsMargins(0, 0, 0, 0);
    page->setSpacing(0);
    page->addWidget(scroll_, 1);
    page->addWidget(footer());

    connect(&preferences_, &Preferences::changed, this, &SettingsView::refresh);
    connect(&appearance_, &AccentAppearance::selectionChanged, this, &SettingsView::refresh);
    connect(&updater_, &SelfUpdater::changed, this, &SettingsView::refresh);
    refresh();
}

QWidget* SettingsView::header() {
    auto* box = new QWidget;
    auto* row = new QHBoxLayout(box);
    // The window manager draws the title bar outside the content: no clearance needed.
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(18);
    icon_ = new QLabel(box);
    icon_->setFixedSize(88, 88);
    icon_->setScaledContents(true);
    row->addWidget(icon_);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(6);
    texts->addWidget(textLabel(QStringLiteral("Hopla"), 30, QFont::Bold, false, box));
    texts->addWidget(textLabel(localized("一个字母，即刻抵达。"), 14, QFont::Normal, true, box));
    auto* badge =
        textLabel(AppVersion::displayText(AppBundle::running()), 11, QFont::Medium, false, box);
    badge->setWordWrap(false);
    badge->setContentsMargins(8, 2, 8, 2);
    badge->setObjectName(QStringLiteral("versionBadge"));
    texts->addWidget(badge, 0, Qt::AlignLeft);
    row->addLayout(texts, 1);
    return box;
}

QWidget* SettingsView::accentCard() {
    auto* card = new Card;
    picker_ = new AccentPicker(appearance_, QStringLiteral("system"), card);
    card->body()->addWidget(picker_);
    return card;
}

QWidget* SettingsView::permissionCard() {
    auto* card = new Card;
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    permissionMark_ = new StatusMark(26, card);
    row->addWidget(permissionMark_);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    permissionTitle_ = textLabel(QString(), 13, QFont::DemiBold, false, card);
    permissionSubtitle_ = textLabel(QString(), 11, QFont::Normal, true, card);
    texts->addWidget(permissionTitle_);
    texts->addWidget(permissionSubtitle_);
    row->addLayout(texts, 1);
    statusDot_ = new StatusMark(7, card);
    row->addWidget(statusDot_);
    auto* button = new SoftButton(localized("去授权"), appearance_.accent(), card);
    connect(button, &QPushButton::clicked, this, [this] {
        if (actions_.requestPermission) {
            actions_.requestPermission();
        }
    });
    permissionButton_ = button;
    row->addWidget(button);
    releaseButton_ = new QPushButton(localized("释放快捷键"), card);
    releaseButton_->setCursor(Qt::PointingHandCursor);
    connect(releaseButton_, &QPushButton::clicked, this, [this] {
        if (actions_.releaseShortcut) {
            actions_.releaseShortcut();
        }
    });
    row->addWidget(releaseButton_);
    card->body()->addLayout(row);
    return card;
}

QWidget* SettingsView::row(const QString& glyph, const QString& title, QLabel* subtitle,
                           QWidget* control) {
    auto* box = new QWidget;
    auto* line = new QHBoxLayout(box);
    line->setContentsMargins(16, 16, 16, 16);
    line->setSpacing(12);
    line->addWidget(symbolLabel(glyph, box));
    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    texts->addWidget(textLabel(title, 13, QFont::Medium, false, box));
    subtitle->setParent(box);
    texts->addWidget(subtitle);
    line->addLayout(texts, 1);
    line->addWidget(control);
    return box;
}

QWidget* SettingsView::segmented(const std::vector<std::pair<int, QString>>& choices,
                                 QButtonGroup*& group) {
    auto* segments = new QWidget;
    auto* line = new QHBoxLayout(segments);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(0);
    group = new QButtonGroup(segments);
    for (const auto& [id, title] : choices) {
        auto* button = new SegmentButton(segments);
        button->setText(title);
        button->setCheckable(true);
        group->addButton(button, id);
        line->addWidget(button);
    }
    return segments;
}

QWidget* SettingsView::settingsCard() {
    auto* card = new Card(nullptr, 0);
    auto accent = [this] { return appearance_.accent(); };
    const auto divider = [card] {
        auto* line = new QFrame(card);
        line->setFrameShape(QFrame::HLine);
        line->setFrameShadow(QFrame::Plain);
        line->setForegroundRole(QPalette::Midlight);
        auto* indent = new QHBoxLayout;
        indent->setContentsMargins(54, 0, 0, 0);
        indent->addWidget(line);
        card->body()->addLayout(indent);
    };

    enabledSwitch_ = new Switch(accent);
    enabledSwitch_->setAccessibleName(localized("启用应用切换"));
    connect(enabledSwitch_, &QAbstractButton::clicked, this,
            [this](bool on) { preferences_.setEnabled(on); });
    enabledSubtitle_ = textLabel(QString(), 11, QFont::Normal, true, nullptr);
    card->body()->addWidget(
        row(QStringLiteral("⌨"), localized("启用应用切换"), enabledSubtitle_, enabledSwitch_));
    divider();

    QWidget* shortcuts = segmented(
        {{static_cast<int>(SwitchModifier::super), displayName(SwitchModifier::super) + "+Tab"},
         {static_cast<int>(SwitchModifier::alt), displayName(SwitchModifier::alt) + "+Tab"}},
        modifierGroup_);
    connect(modifierGroup_, &QButtonGroup::idClicked, this,
            [this](int id) { preferences_.setSwitchModifier(static_cast<SwitchModifier>(id)); });
    card->body()->addWidget(row(QStringLiteral("⇥"), localized("切换快捷键"),
                                textLabel(localized("窗口管理器不占用 Alt+Tab 时，也可以改用它"),
                                          11, QFont::Normal, true, nullptr),
                                shortcuts));
    divider();

    loginSwitch_ = new Switch(accent);
    loginSwitch_->setAccessibleName(localized("登录时自动启动"));
    connect(loginSwitch_, &QAbstractButton::clicked, this,
            [this](bool on) { preferences_.setLoginEnabled(on); });
    auto* loginControl = new QWidget;
    auto* loginLine = new QHBoxLayout(loginControl);
    loginLine->setContentsMargins(0, 0, 0, 0);
    loginError_ = textLabel(QString(), 10, QFont::Normal, false, loginControl);
    loginError_->setForegroundRole(QPalette::Link);
    loginError_->setMaximumWidth(220);
    loginLine->addWidget(loginError_);
    loginLine->addWidget(loginSwitch_);
    loginSubtitle_ = textLabel(localized("让快捷切换随时待命"), 11, QFont::Normal, true, nullptr);
    card->body()->addWidget(
        row(QStringLiteral("☀"), localized("登录时自动启动"), loginSubtitle_, loginControl));
    divider();

    traySwitch_ = new Switch(accent);
    traySwitch_->setAccessibleName(localized("显示托盘图标"));
    connect(traySwitch_, &QAbstractButton::clicked, this,
            [this](bool on) { preferences_.setShowsTrayIcon(on); });
    card->body()->addWidget(row(QStringLiteral("▭"), localized("显示托盘图标"),
                                textLabel(localized("隐藏后，重新打开 Hopla 即可进入设置"), 11,
                                          QFont::Normal, true, nullptr),
                                traySwitch_));
    divider();

    syncSwitch_ = new Switch(accent);
    syncSwitch_->setAccessibleName(localized("同步配置"));
    connect(syncSwitch_, &QAbstractButton::clicked, this,
            [this](bool on) { preferences_.setFolderSync(on); });
    auto* syncControl = new QWidget;
    auto* syncLine = new QHBoxLayout(syncControl);
    syncLine->setContentsMargins(0, 0, 0, 0);
    auto* choose = new QPushButton(localized("选择文件夹…"), syncControl);
    connect(choose, &QPushButton::clicked, this, [this] {
        const QString folder =
            QFileDialog::getExistingDirectory(this, localized("选择同步文件夹"),
                                              preferences_.syncFolder().value_or(QDir::homePath()));
        if (!folder.isEmpty()) {
            preferences_.setSyncFolder(folder);
        }
    });
    syncLine->addWidget(choose);
    syncLine->addWidget(syncSwitch_);
    syncSubtitle_ = textLabel(QString(), 11, QFont::Normal, true, nullptr);
    card->body()->addWidget(
        row(QStringLiteral("☁"), localized("同步配置"), syncSubtitle_, syncControl));
    divider();

    QWidget* segments = segmented({{static_cast<int>(AppAppearance::system), localized("跟随系统")},
                                   {static_cast<int>(AppAppearance::light), localized("浅色")},
                                   {static_cast<int>(AppAppearance::dark), localized("深色")}},
                                  appearanceGroup_);
    connect(appearanceGroup_, &QButtonGroup::idClicked, this,
            [this](int id) { preferences_.setAppearance(static_cast<AppAppearance>(id)); });
    card->body()->addWidget(row(
        QStringLiteral("◐"), localized("外观"),
        textLabel(localized("面板与设置同步切换"), 11, QFont::Normal, true, nullptr), segments));
    divider();

    // Updates: what the updater is doing, its next step, and the automatic checks.
    auto* updateControl = new QWidget;
    auto* updateLine = new QHBoxLayout(updateControl);
    updateLine->setContentsMargins(0, 0, 0, 0);
    updateButton_ = new QPushButton(updateControl);
    connect(updateButton_, &QPushButton::clicked, this,
            [this] { updater_.performPrimaryAction(); });
    updateSwitch_ = new Switch(accent);
    updateSwitch_->setAccessibleName(localized("自动提示新版"));
    connect(updateSwitch_, &QAbstractButton::clicked, this,
            [this](bool on) { updater_.setAutomaticallyChecksForUpdates(on); });
    updateSpinner_ = new Spinner(updateControl);
    updateLine->addWidget(updateSpinner_);
    updateLine->addWidget(updateButton_);
    updateLine->addWidget(updateSwitch_);
    updateSubtitle_ = textLabel(QString(), 11, QFont::Normal, true, nullptr);
    card->body()->addWidget(
        row(QStringLiteral("⟳"), localized("自动提示新版"), updateSubtitle_, updateControl));
    divider();

    historyButton_ = new QPushButton(localized("查看完整更新日志"));
    connect(historyButton_, &QPushButton::clicked, this, [this] { updater_.openUpdateHistory(); });
    card->body()->addWidget(
        row(QStringLiteral("☰"), localized("更新日志"),
            textLabel(localized("查看所有版本的更新内容"), 11, QFont::Normal, true, nullptr),
            historyButton_));
    return card;
}

QWidget* SettingsView::shortcutCard() {
    auto* card = new Card(nullptr, 18);
    card->fill = [this](bool dark) {
        QColor tint = appearance_.accent();
        tint.setAlphaF(dark ? 0.12f : 0.045f);
        return tint;
    };
    card->body()->setSpacing(15);
    card->body()->addWidget(textLabel(localized("指尖捷径"), 13, QFont::DemiBold, false, card));
    const std::pair<QStringList, const char*> rows[] = {
        {{QString(), QStringLiteral("⇥")}, "按住 %1，按 Tab 唤出应用"},
        {{QString(), QStringLiteral("`")}, "按住 %1，按 ` 在前台应用的窗口间切换"},
        {{QStringLiteral("A … Z")}, "输入首字母跳转，中文自动取拼音"},
        {{QStringLiteral("↖")}, "点击应用图标，直接切换并收起"},
        {{QStringLiteral("esc")}, "收起面板，保留已经完成的跳转"}};
    for (const auto& [keys, description] : rows) {
        auto* line = new QHBoxLayout;
        line->setSpacing(12);
        for (const QString& key : keys) {
            auto* cap = keyCap(key, card);
            line->addWidget(cap);
            if (key.isEmpty()) {
                modifierCaps_.push_back(cap);
            }
        }
        auto* label = textLabel(localized(description), 12, QFont::Normal, false, card);
        if (!modifierGuide_) {
            modifierGuide_ = label;
        } else if (!windowGuide_) {
            windowGuide_ = label;
        }
        line->addWidget(label, 1);
        card->body()->addLayout(line);
    }
    return card;
}

QWidget* SettingsView::footer() {
    auto* bar = new QWidget;
    bar->setAutoFillBackground(true);
    auto* line = new QHBoxLayout(bar);
    line->setContentsMargins(28, 14, 28, 14);
    auto* note = textLabel(
        localized("Hopla %1 · 应用切换在本机运行").arg(QCoreApplication::applicationVersion()), 11,
        QFont::Normal, true, bar);
    note->setWordWrap(false);
    line->addWidget(note);
    line->addStretch();
    auto* quit = new QPushButton(localized("退出 Hopla"), bar);
    quit->setFlat(true);
    connect(quit, &QPushButton::clicked, this, [this] {
        if (actions_.quit) {
            actions_.quit();
        }
    });
    line->addWidget(quit);
    return bar;
}

QAbstractButton* SettingsView::appearanceButton(AppAppearance appearance) const {
    return appearanceGroup_->button(static_cast<int>(appearance));
}

QAbstractButton* SettingsView::modifierButton(SwitchModifier modifier) const {
    return modifierGroup_->button(static_cast<int>(modifier));
}

QString SettingsView::syncSubtitle() const {
    return syncSubtitle_->text();
}

QString SettingsView::updateSubtitle() const {
    return updateSubtitle_->text();
}

QString SettingsView::permissionTitle() const {
    return permissionTitle_->text();
}

QString SettingsView::permissionSubtitle() const {
    return permissionSubtitle_->text();
}

void SettingsView::applyAccent(const QColor& accent) {
    icon_->setPixmap(QPixmap::fromImage(appearance_.applicationIcon()));
    static_cast<SoftButton*>(permissionButton_)->setAccent(accent);
    if (auto* badge = findChild<QLabel*>(QStringLiteral("versionBadge"))) {
        QColor tint = accent;
        tint.setAlphaF(0.1f);
        badge->setStyleSheet(
            QStringLiteral("background: %1; border-radius: 9px;").arg(tint.name(QColor::HexArgb)));
    }
    // The chosen segment in the accent colour.
    const QString segmentStyle =
        QStringLiteral("QToolButton { border: 1px solid palette(mid); padding: 3px 10px; }"
                       "QToolButton:checked { background: %1; color: white; border-color: %1; }")
            .arg(accent.name());
    for (QButtonGroup* group : {appearanceGroup_, modifierGroup_}) {
        for (QAbstractButton* segment : group->buttons()) {
            segment->setStyleSheet(segmentStyle);
        }
    }
}

void SettingsView::refresh() {
    const QColor accent = appearance_.accent();
    if (shownPalette_ != appearance_.selection()) { // styles are costly: only on a new palette
        shownPalette_ = appearance_.selection();
        applyAccent(accent);
    }

    const PermissionCardText text = permissionCardText(preferences_);
    auto* mark = static_cast<StatusMark*>(permissionMark_);
    mark->sign = text.ready ? StatusMark::Sign::tick : StatusMark::Sign::exclamation;
    mark->color = text.ready ? readyGreen : accent;
    mark->update();
    permissionTitle_->setText(text.title);
    permissionSubtitle_->setText(text.subtitle);
    static_cast<StatusMark*>(statusDot_)->color =
        text.ready ? readyGreen : palette().color(QPalette::PlaceholderText);
    statusDot_->setVisible(preferences_.displayReady);
    statusDot_->update();
    permissionButton_->setVisible(!preferences_.displayReady);
    releaseButton_->setVisible(text.offersRelease);

    const QString modifier = displayName(preferences_.switchModifier());
    enabledSubtitle_->setText(localized("用 Hopla 接管 %1 Tab 和 %1 `").arg(modifier));
    for (QLabel* cap : modifierCaps_) {
        cap->setText(modifier);
    }
    modifierGuide_->setText(localized("按住 %1，按 Tab 唤出应用").arg(modifier));
    windowGuide_->setText(
        preferences_.windowKeyTaken
            ? localized("%1 被其他程序占用，窗口之间暂时无法切换").arg(*preferences_.windowKeyTaken)
            : localized("按住 %1，按 ` 在前台应用的窗口间切换").arg(modifier));
    if (auto* chosen = modifierGroup_->button(static_cast<int>(preferences_.switchModifier()))) {
        chosen->setChecked(true);
    }
    enabledSwitch_->setChecked(preferences_.enabled());
    loginSwitch_->setChecked(preferences_.loginEnabled());
    loginError_->setText(preferences_.loginError().value_or(QString()));
    loginError_->setVisible(preferences_.loginError().has_value());
    traySwitch_->setChecked(preferences_.showsTrayIcon());
    syncSwitch_->setChecked(preferences_.folderSyncEnabled());
    const auto folder = preferences_.syncFolder();
    syncSubtitle_->setText(preferences_.syncStatus + QLatin1Char('\n') +
                           (folder
                                ? localized("同步文件夹：%1").arg(QDir::toNativeSeparators(*folder))
                                : localized("还没有同步文件夹")));
    if (auto* chosen = appearanceButton(preferences_.appearance())) {
        chosen->setChecked(true);
    }
    updateSubtitle_->setText(updater_.statusText());
    updateButton_->setText(updater_.actionTitle());
    updateButton_->setEnabled(!updater_.actionDisabled());
    updateSpinner_->setVisible(updater_.actionDisabled());
    updateSwitch_->setChecked(updater_.automaticallyChecksForUpdates());
    update();
}

} // namespace hopla
