#include "platform/wayland/wlroots/SwayIpc.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QStringView>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace hopla::wayland {
namespace {

// A message starts with the magic text, then the payload's length and the message type,
// both 32-bit in the machine's own byte order.
constexpr char magic[] = {'i', '3', '-', 'i', 'p', 'c'};
constexpr qsizetype magicSize = sizeof magic;
constexpr qsizetype headerSize = magicSize + 2 * sizeof(std::uint32_t);
// Far beyond any real tree or config; a longer length means the stream is garbage.
constexpr qsizetype maxPayload = qsizetype{16} << 20;
constexpr qsizetype readChunk = 64 * 1024;

QString systemReason(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

int millisecondsLeft(std::chrono::steady_clock::time_point deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

// Waits until the socket is ready for `events`; false on time-out or a poll error.
bool waitFor(int fd, short events, std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        pollfd watched{fd, events, 0};
        const int ready = ::poll(&watched, 1, millisecondsLeft(deadline));
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

} // namespace

QString SwayIpc::description(Failure failure) {
    switch (failure) {
    case Failure::timedOut:
        return QCoreApplication::translate("Hopla", "sway 没有及时回答。");
    case Failure::closed:
        return QCoreApplication::translate("Hopla", "与 sway 的连接断开了。");
    case Failure::malformed:
        return QCoreApplication::translate("Hopla", "sway 发来的消息无法读懂。");
    }
    return {};
}

QString SwayIpc::socketPath() {
    return qEnvironmentVariable("SWAYSOCK");
}

std::optional<SwayIpc> SwayIpc::connect(const QString& socketPath, QString* error) {
    const auto fail = [&](const QString& reason) -> std::optional<SwayIpc> {
        if (error)
            *error = reason;
        return std::nullopt;
    };
    if (socketPath.isEmpty())
        return fail(QCoreApplication::translate("Hopla", "SWAYSOCK 没有设置：这不是 sway 会话。"));
    const QByteArray path = QFile::encodeName(socketPath);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype{sizeof address.sun_path})
        return fail(socketPath + QStringLiteral(": ") + systemReason(ENAMETOOLONG));
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));

    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return fail(socketPath + QStringLiteral(": ") + systemReason(errno));
    SwayIpc ipc(fd);
    // A local stream connects at once or not at all (a full backlog says EAGAIN).
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return fail(socketPath + QStringLiteral(": ") + systemReason(errno));
    return std::optional<SwayIpc>(std::move(ipc));
}

SwayIpc::SwayIpc(int fd)
    : fd_(fd) {}

SwayIpc::SwayIpc(SwayIpc&& other) noexcept
    : fd_(std::exchange(other.fd_, -1))
    , buffer_(std::move(other.buffer_))
    , events_(std::move(other.events_))
    , abandonedReplies_(std::exchange(other.abandonedReplies_, 0))
    , closed_(std::exchange(other.closed_, true))
    , failure_(std::exchange(other.failure_, Failure::closed)) {}

SwayIpc& SwayIpc::operator=(SwayIpc&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = std::exchange(other.fd_, -1);
        buffer_ = std::move(other.buffer_);
        events_ = std::move(other.events_);
        abandonedReplies_ = std::exchange(other.abandonedReplies_, 0);
        closed_ = std::exchange(other.closed_, true);
        failure_ = std::exchange(other.failure_, Failure::closed);
    }
    return *this;
}

SwayIpc::~SwayIpc() {
    if (fd_ >= 0)
        ::close(fd_);
}

std::optional<QByteArray> SwayIpc::request(std::uint32_t type, const QByteArray& payload,
                                           std::chrono::milliseconds limit) {
    const Deadline deadline = std::chrono::steady_clock::now() + limit;
    if (!send(type, payload, deadline))
        return std::nullopt;
    std::optional<QByteArray> reply;
    for (bool open = true;;) {
        for (Message& message : parseBuffered()) {
            if (message.type & SwayMessageType::eventBit)
                events_.push_back(std::move(message));
            else if (!reply && message.type == type)
                reply = std::move(message.payload);
            // Any other reply answers no question of ours.
        }
        if (reply || !open)
            break;
        open = receive(deadline);
    }
    if (reply) {
        if (!closed_)
            failure_.reset();
    } else if (!closed_) {
        ++abandonedReplies_; // its reply may still come, and must not answer the next request
    }
    return reply;
}

bool SwayIpc::subscribe(const QStringList& events, std::chrono::milliseconds limit) {
    const QByteArray names =
        QJsonDocument(QJsonArray::fromStringList(events)).toJson(QJsonDocument::Compact);
    const auto reply = request(SwayMessageType::subscribe, names, limit);
    return reply && QJsonDocument::fromJson(*reply).object().value(u"success").toBool(false);
}

std::vector<SwayIpc::Message> SwayIpc::takeEvents() {
    return std::exchange(events_, {});
}

std::vector<SwayIpc::Message> SwayIpc::readAvailable() {
    receive(std::nullopt);
    std::vector<Message> messages = takeEvents();
    for (Message& message : parseBuffered())
        messages.push_back(std::move(message));
    return messages;
}

bool SwayIpc::send(std::uint32_t type, const QByteArray& payload, Deadline deadline) {
    if (closed_ || payload.size() > maxPayload)
        return false;
    QByteArray message;
    message.reserve(headerSize + payload.size());
    const auto length = static_cast<std::uint32_t>(payload.size());
    message.append(magic, magicSize);
    message.append(reinterpret_cast<const char*>(&length), sizeof length);
    message.append(reinterpret_cast<const char*>(&type), sizeof type);
    message.append(payload);

    qsizetype sent = 0;
    while (sent < message.size()) {
        const ssize_t written =
            ::send(fd_, message.constData() + sent, static_cast<std::size_t>(message.size() - sent),
                   MSG_NOSIGNAL);
        if (written >= 0) {
            sent += written;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!waitFor(fd_, POLLOUT, deadline)) {
                // Half a message leaves a stream that cannot be resumed.
                if (sent > 0)
                    breakOff(Failure::timedOut);
                else
                    failure_ = Failure::timedOut;
                return false;
            }
        } else if (errno != EINTR) {
            breakOff(Failure::closed);
            return false;
        }
    }
    return true;
}

bool SwayIpc::receive(std::optional<Deadline> deadline) {
    if (closed_)
        return false;
    if (deadline && !waitFor(fd_, POLLIN, *deadline)) {
        failure_ = Failure::timedOut;
        return false;
    }
    // One call reads at most one longest message, so a chatty peer cannot hold it forever.
    for (qsizetype budget = maxPayload + headerSize; budget > 0;) {
        const qsizetype before = buffer_.size();
        buffer_.resize(before + readChunk);
        const ssize_t got =
            ::recv(fd_, buffer_.data() + before, static_cast<std::size_t>(readChunk), 0);
        buffer_.resize(before + std::max<qsizetype>(got, 0));
        if (got > 0) {
            budget -= got;
        } else if (got == 0) {
            breakOff(Failure::closed);
            return false;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return true;
        } else if (errno != EINTR) {
            breakOff(Failure::closed);
            return false;
        }
    }
    return true;
}

std::vector<SwayIpc::Message> SwayIpc::parseBuffered() {
    std::vector<Message> messages;
    qsizetype at = 0;
    while (buffer_.size() - at >= headerSize) {
        const char* header = buffer_.constData() + at;
        std::uint32_t length = 0;
        std::uint32_t type = 0;
        std::memcpy(&length, header + magicSize, sizeof length);
        std::memcpy(&type, header + magicSize + sizeof length, sizeof type);
        if (std::memcmp(header, magic, magicSize) != 0 || qsizetype{length} > maxPayload) {
            breakOff(Failure::malformed);
            buffer_.clear();
            return messages;
        }
        if (buffer_.size() - at - headerSize < qsizetype{length})
            break;
        QByteArray payload = buffer_.mid(at + headerSize, length);
        at += headerSize + length;
        if (!(type & SwayMessageType::eventBit) && abandonedReplies_ > 0) {
            --abandonedReplies_; // the late answer to a request that gave up
            continue;
        }
        messages.push_back({type, std::move(payload)});
    }
    buffer_.remove(0, at);
    return messages;
}

void SwayIpc::breakOff(Failure failure) {
    closed_ = true;
    failure_ = failure;
    // The descriptor stays open until destruction, so its number is never reused under a
    // poll set that still holds it; shutting it down tells sway we are gone.
    ::shutdown(fd_, SHUT_RDWR);
}

// --- Replies and events ---

std::vector<CommandResult> commandResults(const QByteArray& reply) {
    const QJsonDocument document = QJsonDocument::fromJson(reply);
    if (!document.isArray())
        return {};
    std::vector<CommandResult> results;
    for (const QJsonValue& entry : document.array()) {
        const QJsonObject outcome = entry.toObject();
        results.push_back(
            {outcome.value(u"success").toBool(false), outcome.value(u"error").toString()});
    }
    return results;
}

std::optional<QString> bindingCommand(const QByteArray& eventPayload) {
    const QJsonValue command = QJsonDocument::fromJson(eventPayload)
                                   .object()
                                   .value(u"binding")
                                   .toObject()
                                   .value(u"command");
    if (!command.isString())
        return std::nullopt;
    return command.toString();
}

std::optional<QString> configText(const QByteArray& reply) {
    const QJsonValue config = QJsonDocument::fromJson(reply).object().value(u"config");
    if (!config.isString())
        return std::nullopt;
    return config.toString();
}

// --- The tree ---

namespace {

bool isView(const QJsonObject& node) {
    const QString type = node.value(u"type").toString();
    if (type != u"con" && type != u"floating_con")
        return false;
    if (!node.value(u"id").isDouble() || !node.value(u"nodes").toArray().isEmpty() ||
        !node.value(u"floating_nodes").toArray().isEmpty())
        return false;
    return node.value(u"pid").toInteger() > 0 || node.value(u"app_id").isString() ||
           node.value(u"window_properties").isObject();
}

bool isScratchpad(const QJsonObject& node) {
    const QString type = node.value(u"type").toString();
    const QString name = node.value(u"name").toString();
    return (type == u"output" && name == u"__i3") ||
           (type == u"workspace" && name == u"__i3_scratch");
}

// The node's children, tiled then floating, reordered by its focus list.
std::vector<QJsonObject> childrenByFocus(const QJsonObject& node) {
    std::vector<QJsonObject> children;
    for (const auto key : {u"nodes", u"floating_nodes"}) {
        for (const QJsonValue& child : node.value(key).toArray()) {
            if (child.isObject())
                children.push_back(child.toObject());
        }
    }
    std::vector<QJsonObject> ordered;
    ordered.reserve(children.size());
    std::vector<bool> placed(children.size(), false);
    for (const QJsonValue& focused : node.value(u"focus").toArray()) {
        const qint64 id = focused.toInteger(-1);
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (!placed[i] && children[i].value(u"id").toInteger(-2) == id) {
                placed[i] = true;
                ordered.push_back(children[i]);
                break;
            }
        }
    }
    for (std::size_t i = 0; i < children.size(); ++i) {
        if (!placed[i])
            ordered.push_back(children[i]);
    }
    return ordered;
}

void collectWindows(const QJsonObject& node, bool inScratchpad, std::vector<SwayWindow>& windows) {
    if (isView(node)) {
        const QString appId = node.value(u"app_id").toString();
        windows.push_back({
            .id = node.value(u"id").toInteger(),
            .pid = node.value(u"pid").toInteger(),
            .appId = appId.isEmpty()
                         ? node.value(u"window_properties").toObject().value(u"class").toString()
                         : appId,
            .title = node.value(u"name").toString(),
            .focused = node.value(u"focused").toBool(false),
            .inScratchpad = inScratchpad,
        });
        return;
    }
    std::vector<QJsonObject> scratchpads;
    for (const QJsonObject& child : childrenByFocus(node)) {
        if (isScratchpad(child))
            scratchpads.push_back(child);
        else
            collectWindows(child, inScratchpad, windows);
    }
    for (const QJsonObject& scratchpad : scratchpads)
        collectWindows(scratchpad, true, windows);
}

} // namespace

std::vector<SwayWindow> windowsByFocus(const QByteArray& treeJson) {
    const QJsonDocument document = QJsonDocument::fromJson(treeJson);
    std::vector<SwayWindow> windows;
    if (document.isObject())
        collectWindows(document.object(), false, windows);
    return windows;
}

// --- Bindings in the config ---

namespace {

QStringView nextWord(QStringView line, qsizetype& at) {
    while (at < line.size() && line[at].isSpace())
        ++at;
    const qsizetype start = at;
    while (at < line.size() && !line[at].isSpace())
        ++at;
    return line.mid(start, at - start);
}

// Replaces each $name by its value; where names overlap ($m, $mod) the longest wins.
QString substitute(const QString& text, const std::map<QString, QString>& variables) {
    QString result;
    for (qsizetype at = 0; at < text.size();) {
        const QString* value = nullptr;
        qsizetype nameLength = 0;
        if (text[at] == u'$') {
            const QStringView rest = QStringView(text).mid(at);
            for (const auto& [name, replacement] : variables) {
                if (name.size() > nameLength && rest.startsWith(name)) {
                    value = &replacement;
                    nameLength = name.size();
                }
            }
        }
        if (value) {
            result += *value;
            at += nameLength;
        } else {
            result += text[at++];
        }
    }
    return result;
}

// A combination in one spelling: modifiers by their canonical names, then keys, each set
// sorted, all lower case.
QString canonicalCombo(QStringView combo) {
    static const std::map<QString, QString> modifierNames = {
        {"shift", "shift"},  {"caps", "caps"}, {"lock", "caps"},  {"ctrl", "ctrl"},
        {"control", "ctrl"}, {"alt", "alt"},   {"mod1", "alt"},   {"mod2", "mod2"},
        {"mod3", "mod3"},    {"mod4", "mod4"}, {"super", "mod4"}, {"mod5", "mod5"},
    };
    QStringList modifiers;
    QStringList keys;
    for (const QStringView part : combo.split(u'+', Qt::SkipEmptyParts)) {
        const QString name = part.trimmed().toString().toLower();
        const auto modifier = modifierNames.find(name);
        if (modifier != modifierNames.end())
            modifiers << modifier->second;
        else
            keys << name;
    }
    modifiers.sort();
    modifiers.removeDuplicates();
    keys.sort();
    return modifiers.join(u'+') + u'|' + keys.join(u'+');
}

} // namespace

std::optional<QString> boundCommand(const QString& configText, const QString& combo) {
    const QString wanted = canonicalCombo(combo);
    std::map<QString, QString> variables;
    std::optional<QString> bound;
    int blockDepth = 0;
    const QStringList lines = configText.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        QString line = lines[i].trimmed();
        while (line.endsWith(u'\\') && i + 1 < lines.size()) {
            line.chop(1);
            line += u' ' + lines[++i].trimmed();
        }
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'}')) {
            blockDepth = std::max(0, blockDepth - 1);
            continue;
        }
        if (line.endsWith(u'{')) {
            ++blockDepth;
            continue;
        }
        if (blockDepth > 0)
            continue;

        qsizetype at = 0;
        const QString verb = nextWord(line, at).toString().toLower();
        if (verb == u"set") {
            const QString name = nextWord(line, at).toString();
            if (name.startsWith(u'$'))
                variables[name] =
                    substitute(QStringView(line).mid(at).trimmed().toString(), variables);
            continue;
        }
        const bool binds = verb == u"bindsym" || verb == u"bindcode";
        if (!binds && verb != u"unbindsym" && verb != u"unbindcode")
            continue;
        const QString expanded = substitute(QStringView(line).mid(at).toString(), variables);
        at = 0;
        QStringView keys = nextWord(expanded, at);
        while (keys.startsWith(u"--"))
            keys = nextWord(expanded, at);
        if (keys.isEmpty() || canonicalCombo(keys) != wanted)
            continue;
        if (binds)
            bound = QStringView(expanded).mid(at).trimmed().toString();
        else
            bound.reset();
    }
    return bound;
}

} // namespace hopla::wayland
