// The switcher panel on a real X server: it never takes the focus, lands where it should,
// has no black corners without a compositor, and comes back when it is unmapped.
#include "core/panel/SwitcherPanel.h"
#include "platform/qt/QtScheduler.h"
#include "platform/x11/X11PanelSupport.h"
#include "platform/x11/XConnection.h"
#include "tests/desktop/harness/X11Desktop.h"
#include "tests/support/Images.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace {

using hopla::testing::X11Desktop;

struct X11PanelTest : ::testing::Test {
    X11Desktop& desktop = *X11Desktop::instance();
    hopla::QtScheduler scheduler;
    std::unique_ptr<hopla::x11::X11PanelSupport> support = hopla::x11::X11PanelSupport::open();
    std::unique_ptr<hopla::x11::XConnection> x = hopla::x11::XConnection::open(nullptr, nullptr);
    std::vector<hopla::AppHandle> clicked;
    std::unique_ptr<hopla::SwitcherPanel> panel;
    bool withFirstFrame = true;
    int handovers = 0; // images handed to the server
    QColor accent{10, 132, 255};

    void SetUp() override {
        ASSERT_TRUE(support && x);
        panel = std::make_unique<hopla::SwitcherPanel>(
            "Hopla 应用切换器", [this] { return accent; }, false,
            [](const QString& s) { return s; }, hopla::testing::solidImage(Qt::darkCyan),
            hopla::SwitcherPanelEnvironment{
                &scheduler,
                nullptr,
                [this] { return support->compositing(); },
                [this](const QWidget& w) { return support->isViewable(w.winId()); },
                {},
                [this](QWidget& w, const QImage& image) {
                    if (withFirstFrame) {
                        ++handovers;
                        support->setWindowImage(w.winId(), image);
                    }
                }});
        panel->model().onSelect = [this](hopla::AppHandle id) { clicked.push_back(id); };
    }

    hopla::SwitchSession session() const {
        return hopla::SwitchSession({{1, "Alpha"}, {2, "Bravo"}, {3, "Charlie"}}, false);
    }
    bool viewable() { return support->isViewable(panel->window().winId()); }

    // What the server shows of the panel once it has handled all Qt sent, before Qt had a
    // chance to paint: Qt's connection is synchronised, and no event is handled meanwhile.
    QImage shownNow() {
        xcb_connection_t* qt =
            qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
        free(xcb_get_input_focus_reply(qt, xcb_get_input_focus(qt), nullptr));
        return desktop.screen(panel->window().geometry());
    }
    QImage firstPixels(const hopla::SwitchSession& shown) {
        panel->show(shown, {});
        return shownNow();
    }

    QColor rootPixel(QPoint at) { return desktop.screen(QRect(at, QSize(1, 1))).pixelColor(0, 0); }
};

TEST_F(X11PanelTest, ShowingAndClickingNeverTakesTheFocusFromTheFrontmostApplication) {
    const xcb_window_t keeper = desktop.focusedTestClient({"--class", "keeper,Keeper"});
    ASSERT_TRUE(keeper != 0 && desktop.activeWindow() == keeper) << "the client to keep the focus";
    panel->show(session(), {});
    ASSERT_TRUE(desktop.waitFor([&] { return viewable(); }));
    EXPECT_TRUE(desktop.overrideRedirect(panel->window().winId()))
        << "the window manager must leave the panel alone";
    EXPECT_EQ(desktop.activeWindow(), keeper);

    // Real clicks through the X server: on the panel's edge, then on the third tile.
    desktop.click(panel->view().mapToGlobal(QPoint(panel->view().width() / 2, 3)));
    desktop.click(panel->view().mapToGlobal(panel->view().tileRect(2).center()));
    ASSERT_TRUE(desktop.waitFor([&] { return !clicked.empty(); }));
    EXPECT_EQ(clicked, (std::vector<hopla::AppHandle>{3}));
    EXPECT_TRUE(desktop.waitFor([&] { return desktop.activeWindow() == keeper; }));
    EXPECT_FALSE(QApplication::activeWindow()) << "Hopla must not have become active";
}

TEST_F(X11PanelTest, WithoutACompositorTheCornersShowTheDesktopNotBlack) {
    ASSERT_FALSE(support->compositing()) << "this test needs a display without a compositor";
    panel->show(session(), {});
    ASSERT_TRUE(desktop.waitFor([&] { return viewable(); }));
    const QRect frame = panel->window().geometry();
    // Judge the corners only once the panel is painted: before that nothing is black.
    ASSERT_TRUE(desktop.waitFor([&] {
        return rootPixel(frame.center() + QPoint(0, 60)).lightness() < 80;
    })) << "the panel itself is dark glass";
    EXPECT_EQ(rootPixel(frame.topLeft() + QPoint(1, 1)), QColor(Qt::white))
        << "the white root shows through the cut corner";
}

// How many pixels inside the panel's edge (its antialiased rim and cut corners aside) differ
// between what the screen shows and what the view paints.
int differingInside(const QImage& screen, const QImage& painted) {
    const int edge = hopla::SwitcherView::cornerRadius;
    int differing = 0;
    for (int y = 2; y < screen.height() - 2; ++y) {
        for (int x = edge; x < screen.width() - edge; ++x) {
            differing += screen.pixel(x, y) != painted.pixel(x, y);
        }
    }
    return differing;
}

TEST_F(X11PanelTest, TheWindowShowsTheWholeSessionFromItsFirstPixelsAndEachChange) {
    using Transfer = hopla::x11::X11PanelSupport::Transfer;
    EXPECT_TRUE(support->sharesMemory()) << "a local server offers shared memory";
    const auto painted = [&] {
        return panel->view().grab().toImage().convertToFormat(QImage::Format_RGB32);
    };
    QImage first;
    // Through memory shared with the server, and through the socket as to a remote display.
    for (const Transfer transfer : {Transfer::sharedMemoryWhereOffered, Transfer::socket}) {
        support = hopla::x11::X11PanelSupport::open(transfer);
        first = firstPixels(session());
        ASSERT_EQ(first.size(), painted().size());
        // Every tile and the selection, before Qt has handled a single event.
        EXPECT_LT(differingInside(first, painted()), first.width() * first.height() / 100)
            << static_cast<int>(transfer);

        // A step changes the image the server shows, with nothing painted by Qt.
        hopla::SwitchSession stepped = session();
        stepped.step(false);
        panel->update(stepped);
        const QImage afterStep = shownNow();
        EXPECT_LT(differingInside(afterStep, painted()), first.width() * first.height() / 100);
        EXPECT_GT(differingInside(afterStep, first), 100) << "the selection moved";
        panel->hide();
        ASSERT_TRUE(desktop.waitFor([&] { return !viewable(); }));
    }

    // Drawn ahead while hidden: showing what was prepared hands the server nothing new, and
    // showing something else (the selection moved, or the accent since) is drawn afresh
    // before it shows.
    hopla::SwitchSession stepped = session();
    stepped.step(false);
    const struct {
        hopla::SwitchSession shown;
        QColor accentAtShow;
        bool redrawn;
    } cases[] = {{session(), accent, false}, {stepped, accent, true}, {session(), Qt::red, true}};
    for (const auto& c : cases) {
        panel->prepare(session(), {});
        const int prepared = handovers;
        accent = c.accentAtShow;
        const QImage shownFirst = firstPixels(c.shown);
        EXPECT_EQ(handovers - prepared, c.redrawn ? 1 : 0);
        EXPECT_LT(differingInside(shownFirst, painted()), first.width() * first.height() / 100);
        EXPECT_EQ(differingInside(shownFirst, first) > 100, c.redrawn);
        panel->hide();
        ASSERT_TRUE(desktop.waitFor([&] { return !viewable(); }));
    }

    withFirstFrame = false; // and without the image it would not be: nothing is painted yet
    const std::uint32_t none = XCB_BACK_PIXMAP_NONE;
    xcb_change_window_attributes(x->raw(), panel->view().winId(), XCB_CW_BACK_PIXMAP, &none);
    xcb_flush(x->raw());
    free(xcb_get_input_focus_reply(x->raw(), xcb_get_input_focus(x->raw()), nullptr));
    const QImage unpainted = firstPixels(session());
    EXPECT_NE(unpainted, first);
}

TEST_F(X11PanelTest, ACompositorThatComesOrGoesIsSeenAtTheNextChecks) {
    ASSERT_FALSE(support->compositing());
    const xcb_atom_t selection = x->ewmh()->_NET_WM_CM_Sn[x->screenNumber()];
    const xcb_window_t owner = xcb_generate_id(x->raw());
    xcb_create_window(x->raw(), 0, owner, x->root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_set_selection_owner(x->raw(), owner, selection, XCB_CURRENT_TIME);
    free(xcb_get_input_focus_reply(x->raw(), xcb_get_input_focus(x->raw()), nullptr));
    const auto seen = [&](bool compositing) {
        return desktop.waitFor([&] {
            support->recheckCompositing(); // as the periodic refresh does
            return support->compositing() == compositing;
        });
    };
    EXPECT_TRUE(seen(true)) << "a compositor started";
    xcb_destroy_window(x->raw(), owner); // its selection goes with it
    xcb_flush(x->raw());
    EXPECT_TRUE(seen(false)) << "the compositor quit";
}

// The checks run 0.12 s and 0.24 s after showing: the unmap must come before the second.
TEST_F(X11PanelTest, APanelThatIsUnmappedBehindItsBackIsPresentedAgain) {
    panel->show(session(), {});
    ASSERT_TRUE(desktop.waitFor([&] { return viewable(); }));
    xcb_unmap_window(x->raw(), panel->window().winId());
    xcb_flush(x->raw());
    EXPECT_TRUE(desktop.waitFor([&] { return viewable(); }, std::chrono::seconds(2)));
}

} // namespace
