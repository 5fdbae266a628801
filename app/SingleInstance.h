#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

#include <memory>

namespace hopla {

// One Hopla per user and display. The first process listens on a local socket; a later
// launch finds it there, asks it to reopen (show its settings) and quits.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Claim {
        first,   // this process is the one; it now listens for later launches
        another, // a running instance was told to reopen
        failed   // neither: the socket could not be made (the reason is in error())
    };

    // `name`: a socket name (under the runtime folder) or an absolute path.
    explicit SingleInstance(QString name);
    ~SingleInstance() override;

    // The socket for this user on this display, in the user's runtime folder.
    static QString defaultName(const QString& display);

    Claim claim();
    // Hands a press of the switch key to the running instance ("switch", "switch-back",
    // "windows", "windows-back"), as a compositor binding that runs `hopla --switch` does.
    // False when no instance answers or the action is not one of those.
    static bool sendSwitch(const QString& name, const QString& action);
    static bool isSwitchAction(const QString& action);
    QString error() const { return error_; }

signals:
    // On the first instance, whenever a later launch asks it to reopen.
    void reopenRequested();
    // On the first instance, for each switch key press a later launch hands over.
    void switchRequested(const QString& action);

private:
    static bool send(const QString& name, const QByteArray& line);
    bool tellRunningInstance();
    void accept();

    QString name_;
    QString error_;
    std::unique_ptr<QLocalServer> server_;
};

} // namespace hopla
