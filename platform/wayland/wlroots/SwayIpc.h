#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace hopla::wayland {

// The numbers sway's IPC gives its messages. A reply carries its request's number; an
// event has the high bit set.
namespace SwayMessageType {
inline constexpr std::uint32_t runCommand = 0;
inline constexpr std::uint32_t getWorkspaces = 1;
inline constexpr std::uint32_t subscribe = 2;
inline constexpr std::uint32_t getTree = 4;
inline constexpr std::uint32_t getVersion = 7;
inline constexpr std::uint32_t getBindingModes = 8;
inline constexpr std::uint32_t getConfig = 9;
inline constexpr std::uint32_t getBindingState = 12;
inline constexpr std::uint32_t eventBit = 0x80000000u;
inline constexpr std::uint32_t bindingEvent = eventBit | 5u;
} // namespace SwayMessageType

// One connection to sway's IPC socket. Requests wait at most the time they are given; a
// connection subscribed to events is read by the caller's poll loop through fd() and
// readAvailable(). A stream that stops making sense (a wrong magic, an absurd length) or
// that the peer closed is closed() for good.
class SwayIpc {
public:
    struct Message {
        std::uint32_t type = 0;
        QByteArray payload;
    };

    // Why the connection stopped answering.
    enum class Failure { timedOut, closed, malformed };
    // The failure in the user's language, for the readiness card and the log.
    static QString description(Failure failure);

    // $SWAYSOCK; empty when it is not set (not a sway session).
    static QString socketPath();
    // Connects without waiting. Nothing when that fails; `error` then holds the reason, fit
    // to show ("/run/user/1000/sway-ipc.sock: Connection refused").
    static std::optional<SwayIpc> connect(const QString& socketPath, QString* error);

    SwayIpc(SwayIpc&& other) noexcept;
    SwayIpc& operator=(SwayIpc&& other) noexcept;
    SwayIpc(const SwayIpc&) = delete;
    SwayIpc& operator=(const SwayIpc&) = delete;
    ~SwayIpc();

    // Sends one message and waits for its reply at most `limit`. Events that come first are
    // kept for takeEvents() / readAvailable(). Nothing on time-out or a broken connection; a
    // reply that comes after its time-out is recognised later and dropped.
    std::optional<QByteArray> request(std::uint32_t type, const QByteArray& payload,
                                      std::chrono::milliseconds limit);
    // Subscribes to the events named ("binding", "window"); true when sway agreed.
    bool subscribe(const QStringList& events,
                   std::chrono::milliseconds limit = std::chrono::seconds(1));
    // The events a request read past while waiting for its reply, oldest first.
    std::vector<Message> takeEvents();

    // For the caller's poll(); -1 once moved from.
    int fd() const { return fd_; }
    // Whatever complete messages have arrived, without waiting: first the events a request
    // kept, then what the socket holds now. A message cut short stays buffered for the next
    // call.
    std::vector<Message> readAvailable();
    bool closed() const { return closed_; }
    // Why the last request failed or the connection closed; nothing while all is well.
    std::optional<Failure> failure() const { return failure_; }

private:
    explicit SwayIpc(int fd);

    using Deadline = std::chrono::steady_clock::time_point;
    bool send(std::uint32_t type, const QByteArray& payload, Deadline deadline);
    // Reads what the socket holds; with a deadline, first waits until something comes.
    // False when nothing more will come (time-out, closed, broken).
    bool receive(std::optional<Deadline> deadline);
    // Moves the complete messages out of the buffer, dropping replies whose request timed out.
    std::vector<Message> parseBuffered();
    void breakOff(Failure failure);

    int fd_ = -1;
    QByteArray buffer_;
    std::vector<Message> events_;
    int abandonedReplies_ = 0; // requests that timed out whose replies may still come
    bool closed_ = false;
    std::optional<Failure> failure_;
};

// The outcome of each command of a RUN_COMMAND reply, in order.
struct CommandResult {
    bool success = false;
    QString error; // sway's own words when it failed
};
// Empty when the reply is not the expected array.
std::vector<CommandResult> commandResults(const QByteArray& reply);

// The command of a binding event's binding ("nop hopla switch"); nothing when the payload
// is not a binding event.
std::optional<QString> bindingCommand(const QByteArray& eventPayload);

// A view (a window) in sway's tree.
struct SwayWindow {
    qint64 id = 0;  // sway's container id, for [con_id=…] criteria
    qint64 pid = 0; // 0 when sway does not know it
    QString appId;  // Wayland app_id, else the Xwayland class, else empty
    QString title;
    bool focused = false;
    bool inScratchpad = false;
};
// Every window of a GET_TREE reply, most recently focused first: a depth-first walk that
// visits each node's children in the order of its `focus` list (children it does not list
// follow in tree order, floating after tiled). Scratchpad windows come last, marked.
// Empty when the reply is malformed.
std::vector<SwayWindow> windowsByFocus(const QByteArray& treeJson);

// The `config` text of a GET_CONFIG reply; nothing when malformed.
std::optional<QString> configText(const QByteArray& reply);

// The command a `bindsym` / `bindcode` line of the default mode binds to the combination
// ("Mod4+Tab"; modifiers in any order and spelling, key names in any case), after `set`
// variables are replaced; the last such line wins and `unbindsym` / `unbindcode` undo it.
// Bindings inside blocks (modes, bars) are left out. A bindcode line matches only a
// combination naming the same key code ("Mod4+23"). Nothing when the combination is free.
std::optional<QString> boundCommand(const QString& configText, const QString& combo);

} // namespace hopla::wayland
