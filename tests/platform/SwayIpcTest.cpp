#include "platform/wayland/wlroots/SwayIpc.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace hopla::wayland;
using namespace std::chrono_literals;

std::optional<std::string> text(const std::optional<QString>& value) {
    return value ? std::optional(value->toStdString()) : std::nullopt;
}

// --- A tree as sway reports it: two outputs, a split container, a floating window, an
// Xwayland window and the scratchpad. Focus lists are given per node id.

using FocusLists = std::map<qint64, std::vector<qint64>>;

QJsonObject node(qint64 id, const char* type, const char* name, const FocusLists& focus,
                 QJsonArray nodes = {}, QJsonArray floating = {}) {
    QJsonObject object{{"id", id},       {"type", type},     {"name", name},
                       {"nodes", nodes}, {"focused", false}, {"floating_nodes", floating}};
    if (const auto list = focus.find(id); list != focus.end()) {
        QJsonArray ids;
        for (const qint64 child : list->second)
            ids.append(child);
        object["focus"] = ids;
    }
    return object;
}

QJsonObject window(qint64 id, const char* type, const char* title, QJsonValue appId,
                   const char* xClass = nullptr) {
    QJsonObject object = node(id, type, title, {});
    object["app_id"] = appId;
    object["pid"] = id * 100;
    object["focused"] = id == 35;
    if (xClass)
        object["window_properties"] = QJsonObject{{"class", xClass}, {"instance", "gimp"}};
    return object;
}

QByteArray tree(const FocusLists& f) {
    const QJsonObject scratchpad =
        node(100, "output", "__i3", f,
             {node(101, "workspace", "__i3_scratch", f, {},
                   {window(102, "floating_con", "Passwords", "org.keepassxc.KeePassXC")})});
    const QJsonObject external = node(
        2, "output", "HDMI-A-1", f,
        {node(20, "workspace", "1", f,
              {window(21, "con", "~", "foot"), window(22, "con", "Mozilla Firefox", "firefox")}),
         node(40, "workspace", "3", f)});
    const QJsonObject laptop = node(
        3, "output", "eDP-1", f,
        {node(30, "workspace", "2", f,
              {node(31, "con", "", f,
                    {window(32, "con", "GNU Image Manipulation Program", QJsonValue::Null, "Gimp"),
                     window(33, "con", "Home", "org.gnome.Nautilus")}),
               window(34, "con", "Alacritty", "Alacritty")},
              {window(35, "floating_con", "Volume Control", "pavucontrol")})});
    return QJsonDocument(node(1, "root", "root", f, {scratchpad, external, laptop})).toJson();
}

TEST(SwayTree, ListsWindowsDepthFirstInFocusOrderWithTheScratchpadLast) {
    const struct {
        const char* what;
        FocusLists focus;
        std::vector<qint64> ids;
    } cases[] = {
        {"the focus lists sway keeps, naming the scratchpad first",
         {{1, {100, 3, 2}},
          {2, {20, 40}},
          {3, {30}},
          {20, {22, 21}},
          {30, {35, 31, 34}},
          {31, {33, 32}},
          {100, {101}},
          {101, {102}}},
         {35, 33, 32, 34, 22, 21, 102}},
        {"no focus lists: tree order, floating after tiled", {}, {21, 22, 32, 33, 34, 35, 102}},
        {"lists naming some children and an unknown id: the rest follow in tree order",
         {{1, {999, 3}}, {30, {34}}, {20, {22}}},
         {34, 32, 33, 35, 22, 21, 102}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<qint64> ids;
        for (const SwayWindow& w : windowsByFocus(tree(c.focus)))
            ids.push_back(w.id);
        EXPECT_EQ(ids, c.ids);
    }
}

TEST(SwayTree, WindowsCarryIdentityTitleAndState) {
    const auto windows = windowsByFocus(tree({}));
    const auto byId = [&](qint64 id) {
        return *std::find_if(windows.begin(), windows.end(),
                             [id](const SwayWindow& w) { return w.id == id; });
    };
    EXPECT_EQ(byId(32).appId.toStdString(), "Gimp"); // Xwayland: the class stands in
    EXPECT_EQ(byId(32).title.toStdString(), "GNU Image Manipulation Program");
    EXPECT_EQ(byId(33).appId.toStdString(), "org.gnome.Nautilus");
    EXPECT_EQ(byId(33).pid, 3300);
    for (const SwayWindow& w : windows) {
        EXPECT_EQ(w.focused, w.id == 35) << w.id;
        EXPECT_EQ(w.inScratchpad, w.id == 102) << w.id;
    }
}

TEST(SwayReplies, MalformedPayloadsGiveNothing) {
    for (const char* payload :
         {"", "not json", "[1, 2", "{}", "[]", "42", R"({"nodes": 5, "focus": "x", "type": "con"})",
          R"({"binding": {"command": 7}, "config": ["set $mod Mod4"]})"}) {
        SCOPED_TRACE(payload);
        EXPECT_TRUE(windowsByFocus(payload).empty());
        EXPECT_TRUE(commandResults(payload).empty());
        EXPECT_FALSE(bindingCommand(payload));
        EXPECT_FALSE(configText(payload));
    }
}

TEST(SwayReplies, ReadCommandOutcomesAndBindingEvents) {
    const auto results = commandResults(
        R"([{"success": true}, {"success": false, "parse_error": true,
            "error": "Unknown/invalid command 'hopla'"}])");
    ASSERT_EQ(results.size(), 2u);
    EXPECT_TRUE(results[0].success);
    EXPECT_FALSE(results[1].success);
    EXPECT_EQ(results[1].error.toStdString(), "Unknown/invalid command 'hopla'");

    EXPECT_EQ(text(bindingCommand(R"({"change": "run", "binding": {"command": "nop hopla switch",
        "event_state_mask": ["Mod4"], "input_code": 0, "symbol": "Tab", "symbols": ["Tab"],
        "input_type": "keyboard"}})")),
              "nop hopla switch");
}

TEST(SwayConfig, FindsWhatTheDefaultModeBindsToACombination) {
    const QString config = R"(# bindsym $mod+Tab exec nothing
set $m Mod1
set $mod Mod4
set $term foot
bindsym $mod+Return exec $term
bindsym --no-repeat --to-code $mod+Shift+tab focus prev
bindsym $mod+Tab \
    focus next
bindsym $m+Tab workspace back_and_forth
mode "resize" {
    bindsym $mod+Tab mode default
    bindsym Ctrl+Tab resize shrink width 10px
}
bindsym $mod+grave exec hopla
unbindsym $mod+grave
)";
    const QByteArray reply = QJsonDocument(QJsonObject{{"config", config}}).toJson();
    const std::optional<QString> configured = configText(reply);
    ASSERT_TRUE(configured);
    const struct {
        const char* combo;
        std::optional<std::string> command;
    } cases[] = {
        {"Mod4+Tab", "focus next"},       {"super+TAB", "focus next"},
        {"Shift+Mod4+Tab", "focus prev"}, {"Alt+Tab", "workspace back_and_forth"},
        {"Mod4+Return", "exec foot"},     {"Ctrl+Tab", std::nullopt},
        {"Mod4+grave", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(text(boundCommand(*configured, c.combo)), c.command) << c.combo;
}

// --- The socket protocol, against a listening socket standing in for sway.

QByteArray frame(std::uint32_t type, const QByteArray& payload) {
    const auto length = static_cast<std::uint32_t>(payload.size());
    QByteArray bytes("i3-ipc");
    bytes.append(reinterpret_cast<const char*>(&length), 4);
    bytes.append(reinterpret_cast<const char*>(&type), 4);
    return bytes + payload;
}

class FakeSway : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/hopla-sway-XXXXXX";
        ASSERT_TRUE(::mkdtemp(folder));
        folder_ = folder;
        path_ = folder_ + "/ipc.sock";
        listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path_.c_str());
        ASSERT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(::listen(listener_, 1), 0);
        QString error;
        ipc_ = SwayIpc::connect(QString::fromStdString(path_), &error);
        ASSERT_TRUE(ipc_) << error.toStdString();
        peer_ = ::accept(listener_, nullptr, nullptr);
        ASSERT_GE(peer_, 0);
        const timeval patience{2, 0}; // a fault fails the test instead of hanging it
        ::setsockopt(peer_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    void TearDown() override {
        ::close(peer_);
        ::close(listener_);
        ::unlink(path_.c_str());
        ::rmdir(folder_.c_str());
    }

    void write(const QByteArray& bytes) {
        ASSERT_EQ(::send(peer_, bytes.constData(), bytes.size(), MSG_NOSIGNAL), bytes.size());
    }
    SwayIpc::Message read() {
        char header[14];
        SwayIpc::Message m;
        if (::recv(peer_, header, sizeof header, MSG_WAITALL) != sizeof header ||
            std::memcmp(header, "i3-ipc", 6) != 0)
            return m;
        std::uint32_t length = 0;
        std::memcpy(&length, header + 6, 4);
        std::memcpy(&m.type, header + 10, 4);
        m.payload.resize(length);
        if (length > 0) // a local stream waits even for zero bytes
            ::recv(peer_, m.payload.data(), length, MSG_WAITALL);
        return m;
    }
    bool readable() {
        pollfd watched{ipc_->fd(), POLLIN, 0};
        return ::poll(&watched, 1, 2000) == 1;
    }

    std::string folder_;
    std::string path_;
    int listener_ = -1;
    int peer_ = -1;
    std::optional<SwayIpc> ipc_;
};

TEST_F(FakeSway, RequestsKeepEventsThatComeFirstAndNeverTakeALateReply) {
    write(frame(SwayMessageType::bindingEvent, R"({"binding": {"command": "nop hopla switch"}})") +
          frame(SwayMessageType::getVersion, R"({"major": 1})"));
    EXPECT_EQ(ipc_->request(SwayMessageType::getVersion, {}, 2s), QByteArray(R"({"major": 1})"));
    const SwayIpc::Message sent = read();
    EXPECT_EQ(sent.type, SwayMessageType::getVersion);
    EXPECT_TRUE(sent.payload.isEmpty());
    const auto events = ipc_->takeEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].type, SwayMessageType::bindingEvent);
    EXPECT_EQ(text(bindingCommand(events[0].payload)), "nop hopla switch");
    EXPECT_TRUE(ipc_->readAvailable().empty());

    EXPECT_FALSE(ipc_->request(SwayMessageType::runCommand, "nop first", 30ms));
    EXPECT_EQ(ipc_->failure(), SwayIpc::Failure::timedOut);
    write(frame(SwayMessageType::runCommand, R"([{"success": false}])") +
          frame(SwayMessageType::runCommand, R"([{"success": true}])"));
    EXPECT_EQ(ipc_->request(SwayMessageType::runCommand, "nop second", 2s),
              QByteArray(R"([{"success": true}])"));
    EXPECT_EQ(read().payload, "nop first");
    EXPECT_EQ(read().payload, "nop second");

    ::shutdown(peer_, SHUT_RDWR);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ipc_->request(SwayMessageType::getTree, {}, 10s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_TRUE(ipc_->closed());
    EXPECT_EQ(ipc_->failure(), SwayIpc::Failure::closed);
}

TEST_F(FakeSway, SubscribesThenReadsEventsInPiecesAndGivesUpOnAnAbsurdLength) {
    write(frame(SwayMessageType::subscribe, R"({"success": true})"));
    EXPECT_TRUE(ipc_->subscribe({"binding"}));
    const SwayIpc::Message sent = read();
    EXPECT_EQ(sent.type, SwayMessageType::subscribe);
    EXPECT_EQ(QJsonDocument::fromJson(sent.payload).array(), QJsonArray{"binding"});

    const QByteArray event = frame(SwayMessageType::bindingEvent,
                                   R"({"binding": {"command": "nop hopla switch-back"}})");
    write(event.left(10));
    ASSERT_TRUE(readable());
    EXPECT_TRUE(ipc_->readAvailable().empty());
    write(event.mid(10) + event);
    ASSERT_TRUE(readable());
    const auto events = ipc_->readAvailable();
    ASSERT_EQ(events.size(), 2u);
    for (const SwayIpc::Message& m : events)
        EXPECT_EQ(text(bindingCommand(m.payload)), "nop hopla switch-back");
    EXPECT_FALSE(ipc_->closed());

    write(frame(SwayMessageType::bindingEvent, {}).left(6) + QByteArray(4, '\xff') +
          QByteArray(4, '\0'));
    ASSERT_TRUE(readable());
    EXPECT_TRUE(ipc_->readAvailable().empty());
    EXPECT_TRUE(ipc_->closed());
    EXPECT_EQ(ipc_->failure(), SwayIpc::Failure::malformed);
}

TEST(SwayIpcConnect, NamesThePathItCouldNotReach) {
    QString error;
    EXPECT_FALSE(SwayIpc::connect("/tmp/hopla-no-such-folder/ipc.sock", &error));
    EXPECT_TRUE(error.startsWith("/tmp/hopla-no-such-folder/ipc.sock: ")) << error.toStdString();
}

} // namespace
